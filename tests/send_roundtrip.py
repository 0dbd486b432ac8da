"""Reads messages with Python's email package and writes down what it sees.

send_roundtrip.py DIR: for each DIR/NAME.eml an outline in DIR/NAME.python, in the form that
send_roundtrip_test.cpp expects: a line for each field and part, values and bodies escaped. For a fragment, the parameters that make it one.
"""
import email
import email.policy
import pathlib
import sys


ESCAPED = [chr(c) if 0x21 <= c <= 0x7E and c != 0x25 else f"%{c:02X}" for c in range(256)]


def escape(value):
    return "".join(ESCAPED[c] for c in value.encode("utf-8", "surrogateescape"))


def addresses(message, name):
    field = message[name]
    for address in field.addresses if field else ():
        yield f"{name} {escape(address.display_name)} {escape(address.addr_spec)}"


def header(part, is_message):
    """The outline's lines for a header, sorted by their first word."""
    lines = [f"part {part.get_content_type()}", f"id {escape(part['Content-Id'].strip())}"]
    if is_message:
        lines += fields(part)
    if part.get_filename() is not None:
        lines.append(f"file {escape(part.get_filename())}")
        lines.append(f"disposition {part.get_content_disposition()}")
    if part["Content-Description"] is not None:
        lines.append(f"description {escape(str(part['Content-Description']))}")
    return sorted(lines, key=lambda line: line.split()[0])


def fields(message):
    if message["Subject"] is not None:
        yield f"subject {escape(str(message['Subject']))}"
    for name in ("from", "to", "cc"):
        yield from addresses(message, name)
    for name, value in message.items():
        if name.startswith("X-Test"):
            yield f"{name} {escape(str(value))}"


def outline(part, is_message):
    kind = part.get_content_type()
    if kind == "message/partial":
        parameters = (f"{name}={escape(part.get_param(name) or '')}" for name in ("number", "total", "id"))
        yield "partial " + " ".join(parameters)
        yield from fields(part)
        return
    yield from header(part, is_message)
    if part.get_content_maintype() == "multipart":
        for child in part.get_payload():
            yield from outline(child, False)
    elif kind == "message/rfc822":
        yield from outline(part.get_payload(0), True)
    else:
        body = part.get_payload(decode=True)
        yield "body " + "".join(ESCAPED[c] for c in body)
    yield "end"


for path in sorted(pathlib.Path(sys.argv[1]).glob("*.eml")):
    message = email.message_from_bytes(path.read_bytes(), policy=email.policy.default)
    text = "".join(line + "\n" for line in outline(message, True))
    path.with_suffix(".python").write_text(text)
