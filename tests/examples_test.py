#!/usr/bin/env python3
# tests/examples_test.py - what the example programs print and write, seen from outside
#
# The structure and the bodies of the messages in examples/mail are compared with what another
# reader of mail, Python's own, makes of them.
import base64
import email
import glob
import json
import os
import re
import subprocess
import tempfile
import unittest

BIN = os.environ.get("VELLUM_BIN_DIR", "../build/dev/bin")
MAIL = sorted(glob.glob("../examples/mail/*.eml"))


def run(program, *arguments, stdin=b""):
    return subprocess.run([os.path.join(BIN, program), *arguments], input=stdin,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)


def text_of(name):
    with open(name, encoding="utf-8") as file:
        return file.read()


def tree(message, *options):
    return run("mimetree", *options, stdin=message).stdout.decode("utf-8")


def as_json(message, *options):
    return json.loads(tree(message, "--json", *options))


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
    MAIL = [name for name in MAIL if "broken" not in name]

    def read(self, name):
        with open(name, "rb") as file:
            parts = list(parts_of(email.message_from_binary_file(file)))
        return parts, json.loads(run("mimetree", "--json", name).stdout)

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
                self.assertEqual(run("mimeextract", name, directory).returncode, 0)
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


class Json(unittest.TestCase):
    def test_fields_once_in_order_and_decoded(self):
        message = ("To: =?utf-8?Q?J=C3=B6?= <j@x>, b@y\n"
                   "Subject: =?ISO-2022-JP?B?GyRCOzNFRBsoQg==?= =?iso-8859-1?q?_caf=E9?=\n"
                   "subject: =?no-such-set?q?a?=\n"
                   "X-Own: =?koi8-r?b?78zYx8E=?=\n"
                   "Keywords: =?utf-8?q?=C3=A9t=C3=A9?=\n"
                   "From:\n"
                   "Message-Id: <a@b>\n"
                   "Disposition-Notification-To: \"J\" <j@x>\n"
                   "CC: undisclosed:;\n"
                   ": nameless\n"
                   "Content-Type: text/html; name=\"=?utf-8?Q?=C3=A9?=\"\n"
                   "Content-Disposition: attachment; filename=\"=?utf-8?Q?=C3=BC?=\"\n"
                   "\n").encode()
        part = as_json(message)["parts"][0]
        self.assertEqual(part["fields"], [
            ["To", "Jö <j@x>, b@y"],
            ["Subject", "山田 café"],
            ["Subject", "=?no-such-set?q?a?="],
            ["X-Own", "Ольга"],
            ["Keywords", "été"],
            ["From", ""],
            ["Message-Id", "a@b"],
            ["Disposition-notification-to", "J <j@x>"],
            ["cc", "undisclosed:;"],
            ["", "nameless"],
            ["Content-Type", "text/html; name=\"é\""],
            ["Content-Disposition", "attachment; filename=\"ü\""]])
        self.assertEqual((part["type"], part["file_name"], part["charset"]), ("text", "ü", None))
        self.assertIsNone(part["transfer_encoding"])

    def test_any_bytes_make_valid_json(self):
        pieces = [bytes(range(1, 10)) + bytes(range(14, 32)), b"\"\\/", b"\x7f\xc2\x80",
                  b"\xe2\x82\xac \xf0\x9f\x8c\x8a", b"\xe2\x82", b"\xe2\x82\xe2\x82\xac",
                  b"\xc0\x80 \xed\xa0\x80 \xf4\x90\x80\x80 \xf8\x88\xff", b"\xf0\x9f\x8c"]
        for piece in pieces:
            with self.subTest(piece):
                value = as_json(b"X: a" + piece + b"z\n\n", "--basic")["parts"][0]["fields"][0][1]
                self.assertEqual(value, "a" + piece.decode("utf-8", "replace") + "z")

    def test_what_is_not_there_is_null(self):
        message = b"Content-Type: multipart/mixed; boundary=x\n\n--x\n\none\n--x--\n"
        whole = as_json(message)["parts"]
        self.assertEqual([part["decoded_size"] for part in whole], [None, 3])
        header = as_json(message, "--headers-only")
        self.assertEqual(header["result"], "not_finished")
        self.assertEqual([part["part_number"] for part in header["parts"]], [1])
        keys = ("body_start", "body_end", "body_start_line", "decoded_size")
        self.assertEqual([header["parts"][0][key] for key in keys], [None] * 4)

    def test_the_last_type_counts_whole(self):
        message = b"Content-Type: text/html; charset=a\nContent-Type: text/plain\n\n"
        part = as_json(message)["parts"][0]
        self.assertEqual((part["subtype"], part["charset"]), ("plain", None))


class Events(unittest.TestCase):
    # Calls that stand beside parts and fields, which the transcripts leave out, and the text of theirs.
    BESIDE = ("RawField ", "Defect ", "BeginPreamble ", "EndPreamble ", "BeginEpilogue ", "EndEpilogue ",
              "text ")

    def test_every_call_in_its_order(self):
        for case in ("digest", "multipart-smallest"):
            events = run("mimetree", "--events", "--basic", f"cases/{case}.eml").stdout.decode()
            lines = [line for line in events.splitlines(True) if not line.startswith(self.BESIDE)]
            self.assertEqual("".join(lines), text_of(f"cases/{case}.txt"))

    def test_bodies_are_cut_by_their_lines(self):
        def body(text, *options):
            message = b"Content-Transfer-Encoding: quoted-printable\n\n" + text
            return [line.split(" ", 1)[1] for line in tree(message, "--events", *options).splitlines()
                    if line.startswith("data ") or line.startswith("raw ")]
        self.assertEqual(body(b"a=\nb=00=FF\"\nc"), [r'"ab\x00\xC3\xBF\"\r\n"', '"c"'])
        self.assertEqual(body(b"a=41\n", "--raw"), [r'"\n"', r'"a=41\n"'])
        self.assertEqual(body(b"x" * 65), ['"' + "x" * 64 + '"', '"x"'])


class Reading(unittest.TestCase):
    MESSAGE = (b"From: A <a@b>\nTo: team: x@y, \"Z\" <z@y>;, q@r\nDate: 29-Apr-2010 12:30 +02:00\n"
               b"Content-Type: multipart/mixed; boundary=x\n\npre\n--x \n\none\n--x--\nepi")
    BASIC = """\
      From     A <a@b>
      To       x@y, Z <z@y>, q@r
      Date     29-Apr-2010 12:30 +02:00
   1  multipart/mixed
        preamble, 13 bytes
        epilogue, 3 bytes
"""
    EXTENDED = """\
      From     A <a@b>
      To       team: x@y, Z <z@y>;, q@r
      Date     Thu, 29 Apr 2010 12:30:00 +0200
   1  multipart/mixed
        preamble, 3 bytes
   2    text/plain                                 3 bytes
        epilogue, 3 bytes
"""

    def test_the_tree_of_both_ways(self):
        for options, expected in [((), self.EXTENDED), (("--basic",), self.BASIC)]:
            with self.subTest(options):
                self.assertEqual(tree(self.MESSAGE, *options), expected)
        self.assertEqual(tree(self.MESSAGE, "--defects"),
                         self.EXTENDED + "      part 1 at 123: blanks behind a delimiter\n")

    def test_json_of_both_ways(self):
        keys = ("date", "preamble_size", "epilogue_size")
        extended = as_json(self.MESSAGE, "--defects")
        self.assertEqual([[part[key] for key in keys] for part in extended["parts"]],
                         [["2010-04-29T12:30:00+02:00", 3, 3], [None] * 3])
        self.assertEqual(extended["defects"],
                         [{"part_number": 1, "offset": 123, "text": "blanks behind a delimiter"}])
        basic = as_json(self.MESSAGE, "--basic")
        self.assertEqual([[part[key] for key in keys] for part in basic["parts"]], [[None, 13, 3]])
        self.assertNotIn("defects", basic)
        halves = b"From: =?utf-8?q?=C3?= =?utf-8?q?=A9?= <a@b>\n\n"
        for options, name in [((), "é"), (("--basic",), "\ufffd\ufffd")]:
            self.assertEqual(as_json(halves, *options)["parts"][0]["fields"], [["From", name + " <a@b>"]])

    def test_places_in_an_encoded_message(self):
        message = (b"Content-Type: message/rfc822\nContent-Transfer-Encoding: base64\n\n" +
                   base64.b64encode(b"Subject: in\n\xe9\n\nx"))
        self.assertEqual([(part["decoded_depth"], part["part_start"]) for part in as_json(message)["parts"]],
                         [(0, 0), (1, 0)])
        self.assertIn("part 2 at 12 of the decoded message: no blank line", tree(message, "--defects"))

    def test_every_program_reads_both_ways(self):
        with tempfile.TemporaryDirectory() as directory:
            for options, files in [((), ["2.txt"]), (("--basic",), [])]:
                target = os.path.join(directory, str(len(options)))
                self.assertEqual(run("mimeextract", *options, "-", target, stdin=self.MESSAGE).returncode, 0)
                self.assertEqual(os.listdir(target), files)
                written = run("mimegateway", *options, "-", stdin=self.MESSAGE).stdout
                self.assertEqual(b"\none\r\n" in written, files != [])

    def test_each_rule_is_explained(self):
        rules = re.findall(r"^ +bool (\w+);", text_of("../mime/header/reading_rules.hpp"), re.M)
        self.assertIn("delimiter_blanks", rules)
        section = text_of("../docs/TOLERANCES.md").split("## Two ways of reading\n")[1].split("\n## ")[0]
        self.assertEqual(re.findall(r"^\| `(\w+)` \|", section, re.M), rules)


class Tree(unittest.TestCase):
    def test_shows_each_message_and_part(self):
        self.assertEqual(run("mimetree", "../examples/mail/4-nested.eml").stdout.decode(),
                         text_of("tree.expected"))

    def test_nothing_reaches_the_terminal_but_text(self):
        shown = tree(b"Subject: a\x1b[31m\x07b\xe2\x80\xaec\xff\td\n"
                     b"To: a@b, c@d, e@f, g@h, i@j\n\n", "--basic")
        self.assertIn("Subject  a\ufffd[31m\ufffdb\ufffdc\ufffd d\n", shown)
        self.assertIn("To       a@b, c@d, e@f and 2 more\n", shown)

    def test_exit_status(self):
        for command, status in [(f"mimetree {MAIL[0]}", 0), (f"mimetree no-such-file {MAIL[0]}", 1),
                                ("mimetree .", 1), ("mimetree --unknown", 2), ("mimetree --help", 0),
                                ("mimetree -- -", 0), ("mimeextract", 2), (f"mimeextract {MAIL[0]} {MAIL[0]}", 1),
                                ("mimeextract no-such-file no-directory", 1)]:
            with self.subTest(command):
                result = run(*command.split())
                self.assertEqual((result.returncode, result.stderr != b""), (status, status != 0))
        self.assertFalse(os.path.exists("no-directory"))


class Extract(unittest.TestCase):
    NAMES = [
        ("report.pdf", "1-report.pdf"),
        ("../../up", "1-up"),
        ("/etc/passwd", "1-passwd"),
        ("C:\\\\dir\\\\con.txt", "1-_con.txt"),
        ("COM7", "1-_COM7"),
        ("..", "1.txt"),
        ("dir/", "1.txt"),
        (".hidden. ", "1-hidden"),
        ("-rf *?", "1-rf __"),
        ("=?utf-8?q?a=0Ab=1Bc=E2=80=AEd=FF.txt?=", "1-a_b_c_d_.txt"),
        ("=?utf-8?q?ok/=2E=2E=2Fnull=00.txt?=", "1-null"),
        ("a" * 300 + ".pdf", "1-" + "a" * 96 + ".pdf"),
        ("ü" * 300, "1-" + "ü" * 50),
        ("a" + "ü" * 300 + ".gz", "1-a" + "ü" * 48 + ".gz"),
    ]

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.top = directory.name
        self.target = os.path.join(self.top, "new", "target")

    def extract(self, message):
        return run("mimeextract", "-", self.target, stdin=message)

    def test_names_are_safe(self):
        for number, (name, expected) in enumerate(self.NAMES):
            with self.subTest(name):
                self.target = os.path.join(self.top, str(number), "deep", "target")
                message = f'Content-Disposition: attachment; filename="{name}"\n\ntext'.encode()
                result = self.extract(message)
                written = os.path.join(self.target, expected)
                self.assertEqual((result.returncode, result.stdout.decode()), (0, written + "\n"))
                self.assertEqual([files for _, _, files in os.walk(os.path.join(
                    self.top, str(number)))], [[], [], [expected]])

    def test_nothing_is_overwritten(self):
        message = b"Content-Type: multipart/mixed; boundary=x\n\n--x\n\nnew\n--x\n\nnew\n--x--\n"
        os.makedirs(self.target)
        outside = os.path.join(self.top, "outside")
        with open(os.path.join(self.target, "2.txt"), "w") as file:
            file.write("old")
        os.symlink(outside, os.path.join(self.target, "3.txt"))
        result = self.extract(message)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(len(result.stderr.splitlines()), 2)
        self.assertFalse(os.path.exists(outside))
        with open(os.path.join(self.target, "2.txt")) as file:
            self.assertEqual(file.read(), "old")


if __name__ == "__main__":
    unittest.main()
