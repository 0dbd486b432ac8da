#!/usr/bin/env python3
# tests/strip_test.py - what mimestrip takes out of a message, and that it leaves all else as it was
import base64
import glob
import os
import subprocess
import unittest

STRIP = os.path.join(os.environ['VELLUM_BIN_DIR'], 'mimestrip')
MAIL = sorted(glob.glob('../examples/mail/*.eml') + glob.glob('cases/*.eml'))
BLOCK = 1 << 16  # as much as it reads at a time


def run(message, *options, **streams):
    given = {} if 'stdin' in streams else {'input': message}
    return subprocess.run([STRIP, *options], stderr=subprocess.PIPE, timeout=60,
                          **{'stdout': subprocess.PIPE, **given, **streams})


def stripped(message, *options):
    done = run(message, *options)
    assert (done.returncode, done.stderr) == (0, b''), done
    return done.stdout


def note(kind, body, name=None):
    lines = [b'This part of the message was removed.', *([b'Name: ' + name] if name else []), b'Type: ' + kind,
             b'Size in the message: %d bytes' % len(body)]
    return b'\n'.join(lines)


class Strip(unittest.TestCase):
    FRAME = (b'From: a@b\nContent-Type: multipart/%s; boundary=b\n\npre\n--b\nContent-Type: text/html\n\nhi\n--b\n'
             b'%s\n--b--\nepi\n')
    FIELDS = b'Content-Type: text/plain; charset=us-ascii\nContent-Transfer-Encoding: 7bit\n'
    PDF = b'X-1: a\nContent-Type: application/pdf;\n name=a.pdf\nX-2: b\n (c) content-MD5 (d) : x\nX-3: c\n\n'
    RFC822 = b'Content-Type: message/rfc822\n%s\n'

    def test_nothing_changes_where_no_rule_matches(self):
        self.assertTrue(MAIL)
        for name in MAIL:
            with self.subTest(name), open(name, 'rb') as file:
                message = file.read()
                self.assertEqual(stripped(message), message)
                self.assertEqual(stripped(message, '--above', '1000000', '--type', 'x/*'), message)
                self.assertEqual(stripped(b'', name), message)

    def test_what_stands_in_the_place_of_a_part(self):
        inner = b'Subject: s\nContent-Type: application/x\n\ninner\n'
        encoded = base64.b64encode(inner)
        above, gif = ('--above', '5'), ('--type', 'IMAGE/*')
        quoted = self.FIELDS.replace(b'us-ascii', b'utf-8').replace(b'7bit', b'quoted-printable')
        cases = [  # header and body of the part, rules, what becomes of them (None: nothing)
            (self.PDF, b'AAAAAA', above,
             b'X-1: a\n' + self.FIELDS + b'X-2: b\n (c) content-MD5 (d) : x\nX-3: c\n\n' +
             note(b'application/pdf', b'AAAAAA', b'a.pdf')),
            (self.PDF, b'AAAAA', above, None),
            (b'Content-Type: image/gif\n\n', b'.', gif, self.FIELDS + b'\n' + note(b'image/gif', b'.')),
            (b'(c) Content-Type : image/gif\n\n', b'.', gif, self.FIELDS + b'\n' + note(b'image/gif', b'.')),
            (b'Content-Type: image/gif\n', b'', gif, None),
            (b'\n', b'.', ('--type', 'text/plain'), self.FIELDS + b'\n' + note(b'text/plain', b'.')),
            (b'\n', b'a long text', above, None),
            (b'no field\n', b'', ('--type', 'text/plain'), self.FIELDS + b'\n' + note(b'text/plain', b'no field\n')),
            (b'Content-Disposition: attachment; filename="=?utf-8?q?=C3=BC?="\n\n', b'a file', above,
             quoted + b'\n' + note(b'text/plain', b'a file', b'=C3=BC')),
            (self.RFC822 % b'', inner, ('--above', '4'),
             self.RFC822 % b'' + b'Subject: s\n' + self.FIELDS + b'\n' + note(b'application/x', b'inner\n')),
            (self.RFC822 % b'', inner, ('--type', 'message/rfc822'),
             self.FIELDS + b'\n' + note(b'message/rfc822', inner)),
            (self.RFC822 % b'Content-Transfer-Encoding: base64\n', encoded, ('--type', 'application/x'), None),
            (self.RFC822 % b'Content-Transfer-Encoding: base64\n', encoded, above,
             self.FIELDS + b'\n' + note(b'message/rfc822', encoded)),
        ]
        for header, body, rules, expected in cases:
            with self.subTest(header + body):
                whole = self.FRAME % (b'mixed', header + body)
                self.assertEqual(stripped(whole, *rules),
                                 whole if expected is None else self.FRAME % (b'mixed', expected))

    def test_a_message_of_one_part_and_its_line_ends(self):
        message = b'Subject: s\r\nContent-Type: image/gif\r\n\r\nGIF\r\n'
        self.assertEqual(stripped(message, '--above', '4'),
                         (b'Subject: s\n' + self.FIELDS + b'\n' + note(b'image/gif', b'GIF\r\n') + b'\n').replace(b'\n', b'\r\n'))
        for field in (b'Content-Type: application/pkcs7-mime\n\nx', self.FRAME % (b'signed', self.PDF + b'AAAAAA')):
            self.assertEqual(stripped(field, '--above', '0'), field)
            self.assertNotEqual(stripped(field, '--above', '0', '--signed'), field)

    def test_a_block_may_end_anywhere(self):
        for place in range(-40, 40, 3):
            for size in (0, BLOCK, 9 * BLOCK):
                body = b'x' * (size + place + 100) + b'\r\n'
                whole = self.FRAME % (b'mixed', self.PDF + body)
                expected = self.FRAME % (b'mixed', self.PDF.replace(
                    b'Content-Type: application/pdf;\n name=a.pdf\n', self.FIELDS) + note(b'application/pdf', body, b'a.pdf'))
                self.assertEqual(stripped(whole, '--above', str(len(body))), whole)
                for above in (len(body) - 1, len(body) // 2):
                    self.assertEqual(stripped(whole, '--above', str(above)), expected)

    def test_memory_stays_the_same(self):
        def peak(size, *options):
            with subprocess.Popen([STRIP, *options], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL) as child:
                child.stdin.write(b'Content-Type: application/x\n\n')
                for _ in range(size // BLOCK):
                    child.stdin.write(b'0123456789ABCDE\n' * (BLOCK // 16))
                child.stdin.close()
                _, status, usage = os.wait4(child.pid, 0)
                child.returncode = os.waitstatus_to_exitcode(status)
            return usage.ru_maxrss
        small = peak(0)
        for options in ([], ['--above', '1000000'], ['--above', str(1 << 30)]):
            self.assertLess(peak(1 << 26, *options), small + 1024)

    def test_what_cannot_be_done_is_told(self):
        big = self.FRAME % (b'mixed', self.PDF + b'x' * BLOCK)
        read_end, write_end = os.pipe()
        os.close(read_end)
        for out in (os.open('/dev/full', os.O_WRONLY), write_end):
            done = run(big, stdout=out)
            self.assertEqual((done.returncode, done.stderr != b''), (1, True))
            os.close(out)
        for options, status in [(['.'], 1), (['no-such-file'], 1), (['--above', '1x'], 2), (['--above'], 2),
                                (['--above', '9' * 20], 2), (['--type', 'image'], 2), (['a', 'b'], 2), (['--help'], 0)]:
            with self.subTest(options):
                done = run(b'', *options)
                self.assertEqual((done.returncode, done.stderr != b''), (status, status != 0))
        directory = os.open('.', os.O_RDONLY)
        self.assertEqual(run(None, stdin=directory).returncode, 1)
        os.close(directory)


if __name__ == '__main__':
    unittest.main()
