"""Brings messages into the outlines of hostile_values_test.cpp, as Python's email package reads them.

hostile_values.py DIR: for each DIR/NAME.eml an outline in DIR/NAME.outline.
"""
import email
import email.policy
import pathlib
import sys


def words(key, values):
    return " ".join([key, *values])


def outline(part):
    yield words("fields", part.keys())
    yield words("part", [part.get_content_maintype()])
    yield words("params", [name for name, _ in (part.get_params() or [])[1:]])
    disposition = part.get_params(header="content-disposition") or []
    yield words("params", [name for name, _ in disposition[1:]])
    for name in ("from", "to", "cc"):
        if part[name] is not None:
            yield words("address", [address.addr_spec.replace(" ", "_") for address in part[name].addresses])
    yield words("last", [str(part["X-Last"])])
    if isinstance(part.get_payload(), list):
        for child in part.get_payload():
            yield from outline(child)
    else:
        body = part.get_payload(decode=True).decode("latin-1")
        yield words("body", [body.strip() or "empty"])


for path in sorted(pathlib.Path(sys.argv[1]).glob("*.eml")):
    message = email.message_from_bytes(path.read_bytes(), policy=email.policy.default)
    text = "".join(line + "\n" for line in outline(message))
    path.with_suffix(".outline").write_bytes(text.encode("utf-8", "surrogateescape"))
