"""Reads mails made of the cases of i18n_mime_test.cpp with Python's email package.

A line of the file that is named as the argument is a case, its texts as hexadecimal digits:

    header VALUE TEXT
    body KIND CHARSET ENCODED TEXT

Prints what differs, and "N cases agree" at the end when nothing does.
"""
import email
import email.header
import email.policy
import re
import sys

ENCODINGS = ["8bit", "quoted-printable", "base64"]
LONGEST = [998, 76, 76]


def lines_of(data, longest):
    lines = data.split(b"\r\n")
    for line in lines:
        assert len(line) <= longest, f"a line of {len(line)} bytes"
        assert not re.search(rb"[^\t\x1b -~]", line), f"a byte that is not for mail in {line}"
    return lines


def check_header(value, text):
    value, text = bytes.fromhex(value), bytes.fromhex(text).decode()
    line = b"Subject: " + value
    for part in lines_of(line, 76)[1:]:
        assert part[:1] in b" \t" and part.strip(), f"not a folded line: {part}"
    for word in re.findall(rb"=\?\S*\?=", value):
        assert len(word) <= 75, f"an encoded word of {len(word)} characters"
    source = line + b"\r\nX-Next: here\r\n\r\n"
    mail = email.message_from_bytes(source, policy=email.policy.default)
    assert mail.keys() == ["Subject", "X-Next"], mail.keys()
    assert mail["subject"] == text, f"{mail['subject']!r} is not {text!r}"
    older = email.header.make_header(email.header.decode_header(email.message_from_bytes(source)["subject"]))
    unfolded = re.sub(r"\r\n", "", str(older))
    assert unfolded == text, f"{unfolded!r} is not {text!r} to the older reader"


def check_body(kind, charset, encoded, text):
    kind, encoded, text = int(kind), bytes.fromhex(encoded), bytes.fromhex(text).decode()
    for line in lines_of(encoded, LONGEST[kind]):
        assert not line.startswith(b"."), "a line begins with a dot"
    arrives = re.sub(r"\r\n|\r|\n", "\r\n", text)
    if kind != 2 and not arrives.endswith("\r\n"):
        arrives += "\r\n"
    head = f"Content-type: text/plain;charset={charset}\r\nContent-Transfer-Encoding: {ENCODINGS[kind]}\r\n\r\n"
    mail = email.message_from_bytes(head.encode() + encoded + b"\r\n", policy=email.policy.default)
    read = mail.get_payload(decode=True).decode(charset)
    assert not mail.defects, mail.defects
    assert read == arrives, f"{read[:200]!r} is not {arrives[:200]!r}"


CHECKS = {"header": check_header, "body": check_body}
failed = cases = 0
with open(sys.argv[1]) as listed:
    for cases, case in enumerate(listed, 1):
        check, *values = case.split(" ")
        try:
            CHECKS[check](*(value.strip() for value in values))
        except (AssertionError, UnicodeError) as reason:
            failed += 1
            print(f"case {cases}, {check}: {reason}")
if not failed:
    print(f"{cases} cases agree")
