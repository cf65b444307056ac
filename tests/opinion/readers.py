"""Exports, read with other programs' parsers: Python's mailbox and email, and npm's mailparser."""

import base64
import codecs
import dataclasses
import datetime
import email
import email.header
import email.policy
import encodings
import json
import mailbox
import re

from opinion.harness import NpmReader

MAILPARSER_PROGRAM = """
import fs from "fs";
import { simpleParser } from "mailparser";
const OPTIONS = { skipHtmlToText: true, skipImageLinks: true, skipTextToHtml: true, skipTextLinks: true };
const mailboxes = (field) => (field?.value ?? []).map((one) => [one.name, one.address]);
for (const file of JSON.parse(fs.readFileSync(0, "utf-8"))) {
  const mail = await simpleParser(fs.readFileSync(file), OPTIONS);
  process.stdout.write(JSON.stringify({
    subject: mail.subject ?? null, senders: mailboxes(mail.from), recipients: mailboxes(mail.to), carbonCopies: mailboxes(mail.cc),
    instant: mail.headerLines.some((line) => line.key === "date") ? mail.date?.getTime() / 1000 : null,
    texts: mail.text ? [mail.text] : [], htmls: mail.html ? [mail.html] : [],
    attachments: mail.attachments.map((one) => [one.filename ?? null, one.content.toString("base64")]),
    original: Object.fromEntries(["from", "to", "cc"].map((key) => [key, mail.headers.get("x-nimport-" + key) ?? null])),
  }) + "\\n");
}
"""

CP932 = codecs.lookup("cp932")


def decode_iso2022jp(data, errors="strict"):
    """ISO-2022-JP with the characters of NEC and IBM and single-byte katakana, which Python's own codec refuses."""
    raw, escape = bytearray(), b"\x1b(B"
    for piece in re.split(rb"(\x1b\$[@B]|\x1b\([BIJ])", bytes(data)):
        if piece.startswith(b"\x1b"):
            escape = piece
        elif escape.startswith(b"\x1b("):
            raw += bytes(byte | 0x80 for byte in piece) if escape == b"\x1b(I" else piece
        else:
            for row, cell in zip(piece[::2], piece[1::2]):
                place = (row - 0x21) * 94 + cell - 0x21
                lead, trail = divmod(place, 188)
                raw += bytes((lead + (0x81 if lead < 31 else 0xC1), trail + (0x40 if trail < 63 else 0x41)))
    return bytes(raw).decode("cp932", errors), len(data)


def find_microsoft_codec(name):
    """What Japanese charset names mean in mail."""
    decoders = {"iso_2022_jp": decode_iso2022jp, "shift_jis": CP932.decode}
    name = name.replace("-", "_").lower()
    return codecs.CodecInfo(CP932.encode, decoders[name], name=name) if name in decoders else None


def teach_microsoft_charsets():
    codecs.unregister(encodings.search_function)
    codecs.register(find_microsoft_codec)
    codecs.register(encodings.search_function)


@dataclasses.dataclass
class Reading:
    """A mail as one reader sees it."""
    subject: str | None
    senders: list
    recipients: list
    carbonCopies: list
    instant: float | None
    texts: list
    htmls: list
    attachments: list
    original: dict  # texts of the X-Nimport- fields: "from", "to", "cc"


class PythonEmail:
    name = "email"
    problem = None

    def __init__(self):
        teach_microsoft_charsets()

    def read(self, paths):
        for path in paths:
            mail = email.message_from_bytes(path.read_bytes(), policy=email.policy.default)
            yield self.describe(mail)

    @staticmethod
    def describe(mail):
        mailboxes = lambda name: [[a.display_name, a.addr_spec] for a in mail[name].addresses] if mail[name] else []
        date = mail["date"].datetime if mail["date"] is not None else None
        if date is not None and date.tzinfo is None:
            date = date.replace(tzinfo=datetime.timezone.utc)
        reading = Reading(None if mail["subject"] is None else str(mail["subject"]), mailboxes("from"),
                          mailboxes("to"), mailboxes("cc"), date and date.timestamp(), [], [], [],
                          {key: mail["x-nimport-" + key] and str(mail["x-nimport-" + key]) for key in ("from", "to", "cc")})
        PythonEmail.add_parts(mail, reading)
        return reading

    @staticmethod
    def add_parts(part, reading):
        kind = part.get_content_type()
        if kind == "message/rfc822":
            enclosed = part.get_payload(0).as_bytes(policy=email.policy.compat32.clone(max_line_length=0))
            reading.attachments.append((part.get_filename(), enclosed))
        elif part.is_multipart():
            for piece in part.get_payload():
                PythonEmail.add_parts(piece, reading)
        elif part.get_content_maintype() == "text" and part.get_content_disposition() != "attachment":
            contents = part.get_payload(decode=True) or b""
            text = contents.decode(part.get_content_charset("ascii"), "replace")
            (reading.htmls if kind == "text/html" else reading.texts).append(text)
        else:
            reading.attachments.append((part.get_filename(), part.get_payload(decode=True) or b""))


class MailParser(NpmReader):
    name = "mailparser"
    program = MAILPARSER_PROGRAM

    def read(self, paths):
        for line in self.output(input=json.dumps([str(path) for path in paths]).encode()).split("\n"):
            if line:
                reading = Reading(**json.loads(line))
                reading.original = {key: value and str(email.header.make_header(email.header.decode_header(value)))
                                    for key, value in reading.original.items()}
                reading.attachments = [(name, base64.b64decode(data)) for name, data in reading.attachments]
                yield reading


def find_mails(form, root):
    """Folder beneath `root`, name, time of last change and bytes of each mail of an export, in order. The bytes are those
    of a mail that travels: with CR LF, and without what an mbox adds."""
    if form == "mbox":
        for path in sorted(root.rglob("*.mbox")):
            box = mailbox.mbox(path, create=False)
            for key in sorted(box.keys()):
                mail = unquote(box.get_bytes(key)).removeprefix(b"Status: RO\n")
                yield path.relative_to(root).with_suffix(""), str(key), None, with_line_ends(mail)
        return
    for path in sorted(root.rglob("cur/*" if form == "maildir" else "*.eml")):
        folder = path.parent.parent if form == "maildir" else path.parent
        raw = path.read_bytes()
        yield folder.relative_to(root), path.name, path.stat().st_mtime, with_line_ends(raw) if form == "maildir" else raw


def with_line_ends(raw):
    """Only files of formats whose lines end with LF come here: a CR in them is the mail's own."""
    return raw.replace(b"\n", b"\r\n")


def unquote(raw):
    """Takes the quoting of mboxrd away."""
    lines = raw.split(b"\n")
    return b"\n".join(line[1:] if line[:1] == b">" and line.lstrip(b">").startswith(b"From ") else line
                      for line in lines)
