#!/usr/bin/env python3
"""Prints the mails of an export as JSON, read with Python's own mail modules.

Usage: read_mail.py maildir|mbox|eml DIR

Answers a list of {"folder", "file", "mtime", "raw" (base64), "headers" (decoded, in order), "from"
and "to" ([name, address] pairs), "date" (seconds since 1970), "parts" ([{"type", "name",
"disposition", "text" or "base64"}]), "defects"}. `folder` is the path beneath DIR.
"""
import base64
import email
import email.policy
import json
import pathlib
import sys

sys.dont_write_bytecode = True  # the source tree stays as it is
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))

from opinion.readers import find_mails


def clean(text):
    """Without the bytes that raw 8-bit headers leave in a text."""
    return str(text).encode("utf-8", "replace").decode()


def describe_part(part):
    answer = {"type": part.get_content_type(), "name": part.get_filename(),
              "disposition": part.get_content_disposition()}
    contents = part.get_payload(decode=True) or b""
    if part.get_content_maintype() == "text" and answer["disposition"] != "attachment":
        answer["text"] = contents.decode(part.get_content_charset("ascii"), "replace")
    else:
        answer["base64"] = base64.b64encode(contents).decode()
    return answer


def addresses_of(mail, name):
    if mail[name] is None:
        return []
    return [[clean(a.display_name), clean(a.addr_spec)] for a in mail[name].addresses]


def describe(folder, name, mtime, raw):
    mail = email.message_from_bytes(raw, policy=email.policy.default)
    parts = [part for part in mail.walk() if not part.is_multipart()]
    defects = [type(d).__name__ for part in mail.walk() for d in part.defects]
    defects += [type(d).__name__ for value in mail.values() for d in value.defects]
    date = mail["date"].datetime if mail["date"] is not None else None
    return {"folder": str(folder), "file": name, "mtime": mtime,
            "raw": base64.b64encode(raw).decode(),
            "headers": [[key, clean(value)] for key, value in mail.items()],
            "from": addresses_of(mail, "from"), "to": addresses_of(mail, "to"),
            "date": date and date.timestamp(), "zone": date and date.strftime("%z"),
            "parts": [describe_part(part) for part in parts], "defects": defects}


def main():
    form, root = sys.argv[1], pathlib.Path(sys.argv[2])
    mails = [describe(*found) for found in find_mails(form, root)]
    json.dump(mails, sys.stdout, ensure_ascii=False, indent=1)


if __name__ == "__main__":
    main()
