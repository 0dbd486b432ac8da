#!/usr/bin/env python3
# tests/examples_test.py - what the example programs print and write, seen from outside
#
# The structure and the bodies of the messages in examples/mail are compared with what another
# reader of mail, Python's own, makes of them.
import email
import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from support.programs import MAIL, bytes_of, in_mail, run, runs, sections


def text_of(name):
    return pathlib.Path(name).read_text("utf-8")


def rows(title):
    return [line.split(" -> ") for line in dict(sections("examples.case"))[title].splitlines()]


def is_leaf(part):
    # Python takes a delivery status apart, the engine delivers it.
    return not part.is_multipart() or part.get_content_type() == "message/delivery-status"


def parts_of(message, message_depth=0, multipart_depth=0):
    """Each part of a message in the order in which they begin, with its depths."""
    yield message, message_depth, multipart_depth
    for part in [] if is_leaf(message) else message.get_payload():
        if message.get_content_maintype() == "multipart":
            yield from parts_of(part, message_depth, multipart_depth + 1)
        else:
            yield from parts_of(part, message_depth + 1, 0)


class Structure(unittest.TestCase):
    # Python takes a line that is no header field for the start of the body.
    MAIL = [name for name in MAIL if "examples" in name and "broken" not in name]

    def read(self, name):
        with open(name, "rb") as file:
            parts = list(parts_of(email.message_from_binary_file(file)))
        return parts, json.loads(run("mimetree", "--json", name))

    def test_agrees_with_another_reader(self):
        self.assertTrue(self.MAIL)
        for name in self.MAIL:
            with self.subTest(name):
                expected, ours = self.read(name)
                self.assertEqual((ours["file"], ours["result"]), (name, "complete"))
                self.assertEqual(len(ours["parts"]), len(expected))
                for number, (part, (other, *depths)) in enumerate(zip(ours["parts"], expected), 1):
                    self.assertEqual(part["part_number"], number)
                    self.assertEqual([part["message_depth"], part["multipart_depth"]], depths)
                    self.assertEqual(f'{part["type"]}/{part["subtype"]}'.lower(),
                                     other.get_content_type())
                    self.assertEqual([name.lower() for name, _ in part["fields"]],
                                     [name.lower() for name in other.keys()])

    def test_each_leaf_is_written_whole(self):
        for name in self.MAIL:
            with self.subTest(name), tempfile.TemporaryDirectory() as directory:
                expected, ours = self.read(name)
                run("mimeextract", name, directory)
                files = {int(re.match(r"\d+", file)[0]): file for file in os.listdir(directory)}
                leaves = [n for n, (part, *_) in enumerate(expected, 1) if is_leaf(part)]
                self.assertEqual(sorted(files), leaves)
                for number in leaves:
                    with open(os.path.join(directory, files[number]), "rb") as file:
                        data = file.read()
                    part, other = ours["parts"][number - 1], expected[number - 1][0]
                    self.assertEqual(len(data), part["decoded_size"])
                    if other.is_multipart():
                        continue
                    body = other.get_payload(decode=True)
                    if other.get_content_maintype() == "text":
                        body = body.decode(other.get_content_charset("us-ascii")).encode()
                    # Quoted-printable text is delivered with the line ends of mail.
                    self.assertEqual(data.replace(b"\r\n", b"\n"), body.replace(b"\r\n", b"\n"))


class Printed(unittest.TestCase):
    def expect_values(self, expected, printed):
        """A row is the name of a value of the whole, or else of each part, and what it is."""
        for row in expected.splitlines():
            name, value = row.split(" = ", 1)
            values = printed[name] if name in printed else [part.get(name) for part in printed["parts"]]
            self.assertEqual(values, json.loads(value), name)

    def test_sections_say_what_a_message_becomes(self):
        for command, message, expected in runs("examples.case"):
            with self.subTest(command, message=message):
                printed = run(*command, message=message)
                if command[0] == "mimegateway":
                    self.assertEqual(printed, in_mail(bytes_of(expected)))
                elif "--json" in command:
                    self.expect_values(expected, json.loads(printed))
                else:
                    self.assertEqual(printed.decode(), expected)


class Events(unittest.TestCase):
    # Calls that stand beside parts and fields, which the transcripts leave out, and the text of theirs.
    BESIDE = ("RawField ", "Defect ", "BeginPreamble ", "EndPreamble ", "BeginEpilogue ", "EndEpilogue ",
              "text ")

    def test_every_call_in_its_order(self):
        for case in ("digest", "multipart-smallest"):
            events = run("mimetree", "--events", "--basic", f"cases/{case}.eml").decode()
            lines = [line for line in events.splitlines(True) if not line.startswith(self.BESIDE)]
            self.assertEqual("".join(lines), text_of(f"cases/{case}.txt"))


class Reading(unittest.TestCase):
    MESSAGE = b"Content-Type: multipart/mixed; boundary=x\n\n--x \n\none\n--x--\n"

    def test_every_program_reads_both_ways(self):
        with tempfile.TemporaryDirectory() as directory:
            for options, files in [((), ["2.txt"]), (("--basic",), [])]:
                target = os.path.join(directory, str(len(options)))
                run("mimeextract", *options, "-", target, message=self.MESSAGE)
                self.assertEqual(os.listdir(target), files)
                written = run("mimegateway", *options, "-", message=self.MESSAGE)
                self.assertEqual(b"\none\r\n" in written, files != [])

    def test_each_rule_is_explained(self):
        for header, page in [("header/reading_rules.hpp", "TOLERANCES.md"), ("send/writing_rules.hpp", "WRITING.md")]:
            rules = re.findall(r"^ +bool (\w+);", text_of("../mime/" + header), re.M)
            self.assertGreater(len(rules), 10)
            section = text_of("../docs/" + page).split("wo ways of ", 1)[1]
            self.assertEqual([rule for rule in re.findall(r"^\| `(\w+)` \|", section, re.M) if rule in rules], rules)


class Programs(unittest.TestCase):
    def test_exit_status(self):
        for command, status in rows("exit status"):
            with self.subTest(command):
                run(*command.split(), status=int(status))
        self.assertFalse(os.path.exists("no-directory"))


    def test_output_that_fails_is_told(self):
        read_end, write_end = os.pipe()
        os.close(read_end)
        messages = b"Content-Type: message/partial\n\nhalf", b"Content-Type: image/gif\n\n" + b"x" * 200_000
        for output in (os.open("/dev/full", os.O_WRONLY), write_end):
            for command, in rows("programs that write a message"):
                for message in messages:
                    with self.subTest(command):
                        run(*command.split(), message=message, status=1, stdout=output)
            os.close(output)


class Extract(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.top = pathlib.Path(directory.name)

    def test_names_are_safe(self):
        for number, (name, expected) in enumerate(rows("names of files")):
            with self.subTest(name):
                top = self.top / str(number)
                message = f"Content-Disposition: attachment; {name}\n\ntext".encode()
                printed = run("mimeextract", "-", top / "deep" / "target", message=message)
                self.assertEqual(printed.decode(), f"{top}/deep/target/{expected}\n")
                self.assertEqual([files for _, _, files in os.walk(top)], [[], [], [expected]])

    def test_nothing_is_overwritten(self):
        message = b"Content-Type: multipart/mixed; boundary=x\n\n--x\n\nnew\n--x\n\nnew\n--x--\n"
        outside, old, link = (self.top / name for name in ("outside", "2.txt", "3.txt"))
        old.write_text("old")
        link.symlink_to(outside)
        told = run("mimeextract", "-", self.top, message=message, status=1, stderr=subprocess.STDOUT)
        self.assertEqual(len(told.splitlines()), 2)
        self.assertFalse(outside.exists())
        self.assertEqual(old.read_text(), "old")


if __name__ == "__main__":
    unittest.main()
