"""What an export must hold, taken from a store's description and from nothing that the export makes."""

import base64
import dataclasses
import datetime
import email.header
import re
import urllib.parse

ZONE = datetime.timezone(datetime.timedelta(hours=9))

RECEIVED_FILE, SENT_FILE, FORWARDED_FILE = (19, 29, 30), (23,), (17,)
RECEIVED_MIME, SENT_MIME = (34,), (32, 33, 39)
MIME_KINDS = RECEIVED_MIME + SENT_MIME
# Which column holds the recipient of a mail that the owner sent.
RECIPIENT_COLUMNS = {17: "AdditionalIDList", 22: "ToField", 23: "RecipientList", 24: "SysopeID", 25: "CenterCode",
                     26: "ToField", 27: "ShopMasterID", 28: "RespID", 38: "ToField"}
LISTED_KINDS = set(RECIPIENT_COLUMNS) | set(MIME_KINDS) | {19, 20, 21, 29, 30}


@dataclasses.dataclass
class Mail:
    """A mail as a reader should see it. Texts have line ends LF."""
    folder: str
    position: int
    note: str = ""
    status: str = "written"  # or incomplete, failed, skipped
    raw: bytes | None = None  # all bytes of a mail that is passed through
    has_own_header: bool = False
    is_declared: bool = True  # no 8-bit text whose charset nothing tells
    subject: str | None = None
    is_sent: bool = False  # by the store's owner
    sender: str | None = None  # None: not known, or the owner
    recipient: str | None = None
    carbon_copy: str | None = None
    instant: float | None = None
    date_text: str | None = None  # of a mail with a header of its own
    texts: list[str] = dataclasses.field(default_factory=list)
    htmls: list[str] = dataclasses.field(default_factory=list)
    attachments: list[tuple[str | None, bytes]] = dataclasses.field(default_factory=list)


def escape_name(name):
    """A cabinet's or folder's name as it is shown."""
    return (name or "").replace("\\", "%5c").replace("/", "%2f").replace("#", "%23")


def unfold(text):
    return re.sub(r"\r?\n(?=[ \t])", "", text).strip()


def lines_of(text):
    return text.replace("\r\n", "\n")


def contents(node):
    """Text, or bytes where the description gives bytes."""
    if isinstance(node, str):
        return node
    if "lines" in node:
        return "".join(line + node.get("eol", "\r\n") for line in node["lines"])
    if "repeat" in node:
        return contents(node["repeat"]) * node["times"]
    if "concat" in node:
        return "".join(contents(piece) for piece in node["concat"])
    return base64.b64decode(node["base64"]) if "base64" in node else bytes.fromhex(node["hex"])


def file_bytes(node):
    value = contents(node)
    return value.encode() if isinstance(value, str) else value


def column_instant(text):
    """The instant of a date that is kept as local time."""
    if text is None:
        return None
    local = datetime.datetime.fromisoformat(text)
    return local.replace(microsecond=0, tzinfo=ZONE).timestamp()


def text_or_none(text):
    return text.strip() or None if text is not None else None


class Entity:
    """A MIME entity, read from a description's lines, in which encoded words stand in clear."""

    def __init__(self, lines):
        self.fields = []
        self.is_declared = True
        body_at = next((i for i, line in enumerate(lines) if line == ""), len(lines))
        for line in lines[:body_at]:
            self.add_header_line(line)
        self.body = lines[body_at + 1:]

    def add_header_line(self, line):
        if isinstance(line, str):
            if not line.isascii():
                self.is_declared = False
            if line[0] in " \t":
                self.fields[-1][1] += line
            else:
                name, _, value = line.partition(":")
                decoded = str(email.header.make_header(email.header.decode_header(value.strip())))
                self.fields.append([name.strip(), decoded])
        elif "header" in line:
            clear = line.get("before", "") + line["text"] + line.get("after", "")
            self.fields.append([line["header"], clear])
        else:
            self.is_declared = False
            self.add_header_line(contents(line["body"]))

    def get(self, name):
        return next((value for key, value in self.fields if key.lower() == name.lower()), None)

    def content_type(self):
        return re.split(r"[;\s]", self.get("Content-Type") or "text/plain")[0].lower()

    def parameter(self, field, name):
        for key, value in re.findall(r';\s*([\w*-]+)=("[^"]*"|[^;\s]*)', self.get(field) or ""):
            value = value.strip('"')
            if key.lower() == name + "*":
                charset, _, text = value.split("'", 2)
                return urllib.parse.unquote_to_bytes(text).decode(charset)
            if key.lower() == name:
                return value
        return None

    def file_name(self):
        return self.parameter("Content-Disposition", "filename") or self.parameter("Content-Type", "name")

    def parts(self):
        """The leaves of the mail, in order."""
        if not self.content_type().startswith("multipart/"):
            return [self]
        mark = "--" + self.parameter("Content-Type", "boundary")
        sections, is_inside = [], False
        for line in self.body:
            if isinstance(line, str) and line in (mark, mark + "--"):
                is_inside = line == mark
                if is_inside:
                    sections.append([])
            elif is_inside:
                sections[-1].append(line)
        return [leaf for section in sections for leaf in Entity(section).parts()]

    def is_shown_text(self):
        disposition = self.get("Content-Disposition") or ""
        return self.content_type().startswith("text/") and not disposition.lower().startswith("attachment")

    def text(self):
        pieces = [contents(line["body"]) if isinstance(line, dict) else line for line in self.body]
        return lines_of("\n".join(pieces))

    def declares_its_text(self):
        if all(not isinstance(line, str) or line.isascii() for line in self.body):
            return True
        return self.parameter("Content-Type", "charset") is not None

    def file(self):
        encoded = [line for line in self.body if isinstance(line, str)]
        clear = [file_bytes(line["body"]) for line in self.body if isinstance(line, dict)]
        if clear:
            return clear[0]
        if (self.get("Content-Transfer-Encoding") or "").lower() == "base64":
            return base64.b64decode("".join(encoded))
        return "\r\n".join(encoded).encode()


def describe_mime(mail, lines, raw):
    entity = Entity(lines)
    mail.raw, mail.has_own_header = raw, True
    mail.subject, mail.date_text = text_or_none(entity.get("Subject")), entity.get("Date")
    mail.sender, mail.recipient = entity.get("From"), entity.get("To")
    mail.is_declared = entity.is_declared
    for part in entity.parts():
        mail.is_declared = mail.is_declared and part.is_declared
        if not part.is_shown_text():
            mail.attachments.append((part.file_name(), part.file()))
            continue
        mail.is_declared = mail.is_declared and part.declares_its_text()
        (mail.htmls if part.content_type() == "text/html" else mail.texts).append(part.text())


def describe_whole_mail(mail, text):
    """A mail whose header stands in the text, unencoded."""
    mail.has_own_header = True
    header, _, body = lines_of(text).partition("\n\n")
    fields = [[name.strip().lower(), value.strip()]
              for name, _, value in (line.partition(":") for line in header.split("\n"))]
    get = lambda wanted: next((value for name, value in fields if name == wanted), None)
    mail.subject, mail.sender, mail.recipient = get("subject"), get("from"), get("to")
    mail.date_text, mail.texts = get("date"), [body]


class StoreDescription:
    """The mails of a description of mkstore, folder by folder."""

    def __init__(self, description, store):
        self.description = description
        self.store = store
        self.mails = []
        self.owner = description["accountId"]
        self.linked_files = []  # (MailID, stored file), in the order of the rows

    def read(self):
        folders = []
        for cabinet in self.description["cabinets"]:
            number = cabinet.get("number")
            own = list(cabinet.get("folders", []))
            own += [folder for folder in self.description.get("folders", []) if folder["cabinet"] == (number or 0)]
            folders += [(escape_name(cabinet.get("name")), folder) for folder in own]
        for _, folder in folders:
            for mail in folder.get("mails", []):
                if mail["kind"] in RECEIVED_FILE:
                    self.linked_files.append((mail.get("columns", {}).get("MailID"), mail.get("storedFile")))
        for cabinet_name, folder in folders:
            name = f"{cabinet_name}/{escape_name(folder.get('name'))}"
            listed = [m for m in folder.get("mails", []) if m["kind"] in LISTED_KINDS and m.get("inDataTable", True)]
            self.mails += [self.describe(name, position, mail) for position, mail in enumerate(listed)]
        return self

    def describe(self, folder, position, source):
        mail = Mail(folder, position, source.get("note", source.get("title") or ""))
        kind, columns = source["kind"], source.get("columns", {})
        if kind in MIME_KINDS:
            self.describe_mime_mail(mail, source)
        elif kind == 20 and columns.get("EmailMode") == 1:
            text = columns.get("TextData")
            if text:
                describe_whole_mail(mail, contents(text))
            else:
                mail.status = "skipped"
        elif source.get("noFamilyRow") and kind != 22:
            mail.status = "failed"
        else:
            self.describe_columns(mail, source, kind, columns)
        return mail

    def describe_mime_mail(self, mail, source):
        mime = source.get("mime")
        if not mime or "lines" not in mime:
            mail.status = "failed"
            return
        raw = (self.store / "c/NIFTY/Data/Mime" / mime["file"]).read_bytes()
        describe_mime(mail, mime["lines"], re.sub(rb"(?<!\r)\n", b"\r\n", raw))

    def describe_columns(self, mail, source, kind, columns):
        mail.subject = text_or_none(source.get("title"))
        mail.instant = column_instant(source.get("date"))
        name, number = columns.get("OriginatorName"), columns.get("OriginatorID")
        if kind == 20:
            mail.sender = text_or_none(f"{name or ''} {number or ''}")
        elif kind in RECEIVED_FILE + (21,):
            mail.sender = text_or_none(f"{number or ''} {name or ''}")
        mail.carbon_copy = text_or_none(columns.get("CcField"))
        if kind in RECIPIENT_COLUMNS:
            mail.recipient = text_or_none(columns.get(RECIPIENT_COLUMNS[kind]))
            mail.is_sent = mail.recipient is not None
        if kind in RECEIVED_FILE + SENT_FILE + FORWARDED_FILE:
            self.describe_file(mail, source, kind)
            return
        text = columns.get("BodyText" if kind == 25 else "TextData")
        forwarded = columns.get("ForwardText") if kind == 38 else None
        mail.texts = [lines_of((contents(text) if text else "") + (contents(forwarded) if forwarded else ""))]

    def describe_file(self, mail, source, kind):
        stored = source.get("storedFile")
        if kind in FORWARDED_FILE:
            wanted = source.get("columns", {}).get("MailID")
            stored = next((file for number, file in self.linked_files
                           if wanted and number and number.startswith(wanted)), None)
        if stored and "contents" in stored:
            mail.attachments = [(stored["path"].rsplit("\\", 1)[1], file_bytes(stored["contents"]))]
        else:
            mail.status = "incomplete"


class SampleAnswers:
    """The mails of a sample store with the answers that belong to it."""

    def __init__(self, expected):
        self.expected = expected
        tables = expected["databases"]["Cabdata.mdb"]["tables"]
        self.rows = {name: {row["DataNo"]: row for row in table["rows"]}
                     for name, table in tables.items() if any(c["name"] == "DataNo" for c in table["columns"])}
        self.owner = expected["settings"]["accountId"]
        self.mails = []

    def read(self):
        folders = self.expected["folders"]
        for entry in self.expected["mails"]:
            folder = folders[entry["folderIndex"]]
            cabinet = folders[folder["parentIndex"]]
            self.mails.append(self.describe(f"{cabinet['shownName']}/{folder['shownName']}", entry))
        return self

    def describe(self, folder, entry):
        mail = Mail(folder, entry["position"], entry["note"])
        answers, kind = entry["answers"], entry["dataType"]
        source = base64.b64decode(answers["source"].get("base64") or "")
        if kind in MIME_KINDS:
            self.describe_mime_mail(mail, entry, source)
        elif entry.get("emailMode") == 1:
            if source:
                describe_whole_mail(mail, source.decode("cp932"))
            else:
                mail.status = "skipped"
        elif answers["subject"]["code"] == -3 and answers["source"]["code"] == -3:
            mail.status = "failed"
        else:
            self.describe_columns(mail, entry, answers, source.decode("cp932"))
        return mail

    @staticmethod
    def describe_mime_mail(mail, entry, source):
        if "mime" not in entry:
            mail.status = "failed"
            return
        mime = entry["mime"]
        mail.raw, mail.has_own_header = source, True
        mail.subject, mail.sender, mail.recipient = mime["subject"], mime["from"], mime["to"]
        mail.date_text = mime["date"]
        for part in mime["mainParts"]:
            if "base64" in part:
                mail.attachments.append((None, base64.b64decode(part["base64"])))
            else:
                mail.is_declared = mail.is_declared and (part["text"].isascii() or "charset" in part)
                texts = mail.htmls if part["contentType"] == "text/html" else mail.texts
                texts.append(lines_of(part["text"]))
        mail.attachments += [(part.get("name"), base64.b64decode(part["base64"]))
                             for part in mime["relatedParts"] + mime["attachments"]]

    def describe_columns(self, mail, entry, answers, source):
        kind, number = entry["dataType"], entry["dataNo"]
        known = lambda name: None if answers[name]["code"] or answers[name]["text"] == "DEFAULT" else \
            text_or_none(answers[name]["text"])
        mail.subject, mail.sender, mail.recipient = known("subject"), known("from"), known("to")
        mail.is_sent = kind in RECIPIENT_COLUMNS and mail.recipient is not None
        row = self.rows["DataTBL"][number]
        if row["DataTime"] is None:
            row = next((rows[number] for name, rows in self.rows.items()
                        if number in rows and rows[number].get("DataTime")), row)
        mail.instant = column_instant(row["DataTime"])
        row = next((rows[number] for name, rows in self.rows.items() if name != "DataTBL" and number in rows), {})
        # The plug-in answers no sender where one of the two columns is empty.
        mail.sender = mail.sender or text_or_none(row.get("OriginatorID")) or text_or_none(row.get("OriginatorName"))
        mail.carbon_copy = text_or_none(row.get("CcField"))
        if answers["attachedCount"].get("value") == 1:
            self.describe_file(mail, answers["attached"][0], kind, number)
            return
        if kind == 38:
            row = self.rows["EmSMail"][number]
            source = (row["TextData"] or "") + (row["ForwardText"] or "")
        mail.texts = [lines_of(source.removeprefix("\r\n") if kind != 38 else source)]

    def describe_file(self, mail, answer, kind, number):
        if answer["code"] != 0:
            mail.status = "incomplete"
            return
        path = self.rows["EmUpload" if kind == 23 else "EmRcvBin"].get(number, {})
        if kind == 17:
            wanted = self.rows["EmFWBin"][number]["MailID"]
            path = next(r for r in self.rows["EmRcvBin"].values() if (r["MailID"] or "").startswith(wanted))
        name = (path.get("RcvFilePath") or path.get("UploadFilePath")).rsplit("\\", 1)[1]
        mail.attachments = [(name, base64.b64decode(answer["base64"]))]
