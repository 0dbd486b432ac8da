#!/usr/bin/env python3
# tests/strip_test.py - what mimestrip takes out of a message, and that it leaves all else as it was
import os
import subprocess
import unittest

from support.programs import MAIL, bytes_of, run, runs

STRIP = os.path.join(os.environ['VELLUM_BIN_DIR'], 'mimestrip')
BLOCK = 1 << 16  # as much as it reads at a time


def stripped(message, *options):
    return run('mimestrip', *options, message=message)


def note(kind, body, name=b''):
    return (b'This part of the message was removed.\n' + name +
            b'Type: %s\nSize in the message: %d bytes' % (kind, len(body)))


class Strip(unittest.TestCase):
    FRAME = (b'From: a@b\nContent-Type: multipart/%s; boundary=b\n\npre\n--b\nContent-Type: text/html\n\nhi\n--b\n'
             b'%s\n--b--\nepi\n')
    FIELDS = b'Content-Type: text/plain; charset=us-ascii\nContent-Transfer-Encoding: 7bit\n'
    PDF = b'X-1: a\nContent-Type: application/pdf;\n name=a.pdf\nX-2: b\n (c) content-MD5 (d) : x\nX-3: c\n\n'

    def test_nothing_changes_where_no_rule_matches(self):
        self.assertTrue(MAIL)
        for name in MAIL:
            with self.subTest(name), open(name, 'rb') as file:
                message = file.read()
                self.assertEqual(stripped(message), message)
                self.assertEqual(stripped(message, '--above', '1000000', '--type', 'x/*'), message)
                self.assertEqual(stripped(b'', name), message)

    def test_what_stands_in_the_place_of_a_part(self):
        for (_, *rules), part, expected in runs('strip.case'):
            with self.subTest(part):
                whole = [self.FRAME % (b'mixed', each.removesuffix(b'\n')) for each in (part, bytes_of(expected))]
                self.assertEqual(stripped(whole[0], *rules), whole[1])

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
                    b'Content-Type: application/pdf;\n name=a.pdf\n', self.FIELDS) + note(b'application/pdf', body, b'Name: a.pdf\n'))
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

    def test_a_directory_is_no_message(self):
        directory = os.open('.', os.O_RDONLY)
        run('mimestrip', message=None, stdin=directory, status=1)
        os.close(directory)


if __name__ == '__main__':
    unittest.main()
