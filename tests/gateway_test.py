#!/usr/bin/env python3
# tests/gateway_test.py - what mimegateway passes on, told by the engine's own calls
#
# The transcripts of a message and of what has become of it have to agree in everything but offsets:
# each field as it stands, the structure, bodies, preambles and epilogues, byte for byte.
import email
import glob
import os
import re
import subprocess
import unittest

BIN = os.environ['VELLUM_BIN_DIR']
MAIL = sorted(glob.glob('../examples/mail/*.eml') + glob.glob('cases/*.eml'))


def run(program, *options, stdin=b'', **streams):
    return subprocess.run([os.path.join(BIN, program), *options], input=stdin, stderr=subprocess.PIPE, timeout=60,
                          **{'stdout': subprocess.PIPE, **streams})


def passed_on(message):
    done = run('mimegateway', '-', stdin=message)
    assert (done.returncode, done.stderr) == (0, b''), done
    return done.stdout


def transcript(message):
    lines = run('mimetree', '--events', stdin=message).stdout.decode('latin-1').splitlines()
    lines = [re.sub(r'^(RawField \d+) \d+', r'\1', line) for line in lines if not line.startswith('Defect')]
    return [re.sub(r' (part|header|body|lines) \S+(?= |$)', '', line) if line.startswith(('Begin', 'End')) else line
            for line in lines]


def in_mail(text):
    return re.sub(rb'(?<!\r)\n', b'\r\n', text)


class Gateway(unittest.TestCase):
    EXCEPTIONS = {
        'ends-in-header.eml',  # its last field gets a line end
        'header-oddities.eml',  # a field without a name, which no mail may have, is left out and told
        'digest.eml', 'message-in-message.eml',  # a message of no byte at all gets the end of its header
    }

    def test_loses_nothing(self):
        self.assertTrue(MAIL)
        for name in MAIL:
            with self.subTest(name), open(name, 'rb') as file:
                message = in_mail(file.read())
                if os.path.basename(name) not in self.EXCEPTIONS:
                    self.assertEqual(transcript(passed_on(message)), transcript(message))
                if 'examples' in name and 'broken' not in name:
                    self.assertEqual(passed_on(message), message)
                    self.assertEqual(passed_on(message.replace(b'\r\n', b'\n')), message)

    def test_what_is_written_anew(self):
        inner = b'Content-Type: multipart/mixed; boundary=i\n\n--i\n\none\n--i--'
        signed = b'Content-Type: multipart/signed; boundary=o\n\n--o\n' + inner + b'\n--o\n\n--o--\n'
        binary = b'Content-Type: image/gif\nContent-Transfer-Encoding: binary\n\na\nb\r\n'
        long = b'X-Long: ' + b'word ' * 400
        cases = [  # the message; what comes of it, if not the same in the line ends of mail
            (signed, None),
            (b'Content-Type: multipart/mixed; boundary=o\n\npre\n\n--o\n' + inner + b'\n--o--\n\nepi', (b'--i--\n', b'--i--\n\n')),
            (b'Content-Type: multipart/mixed; boundary=o\n\n--o \n\none\n--o\n\ncut', None),
            (b'Received: a\nReceived: b\nResent-To: G: a@b;\nX: \xe9\nSubject: (c)\n\n', None),
            (b'X\xe9 : x\ry\n \nTo:\n a@b\n\nbody', (b'X\xe9 : x\ry\n \n', b'X?: x y\n')),
            (b'From x\nSubject: a\nno field\nTo: b\n\nbody', (b'From x\nSubject: a\nno field\n', b'Subject: a\n')),
            (b'Subject: a\nbody', (b'\nbody', b'\n\nbody')),
            (b'Content-Type: multipart/mixed\n\n--b\n\nx\n', None),
            (b'\n\nTo: nobody\n', (b'\n\n', b'\n\n')),
        ]
        for message, change in cases:
            with self.subTest(message):
                expected = in_mail(message.replace(*change, 1) if change else message)
                self.assertEqual(passed_on(message), expected)
        self.assertEqual(passed_on(binary), in_mail(binary[:-5]) + binary[-5:])
        self.assertEqual(passed_on(b'Subject: a\r\n\r\na\nb'), b'Subject: a\r\n\r\na\nb')
        written = passed_on(long + b'\n\n')
        self.assertLess(max(map(len, written.split(b'\r\n'))), 999)
        self.assertEqual(written.replace(b'\r\n', b''), long)

    def test_a_fragment_and_a_message_by_the_letter(self):
        fragment = b'Content-Type: message/partial; id=a; number=1; total=2\r\nX: 1\r\n\r\nSubject: x\r\n\r\nhalf'
        self.assertEqual(passed_on(fragment), fragment)
        for option in ('--basic', '--redo'):
            written = run('mimegateway', option, '-', stdin=b'Subject: a\nX-Own: b\n\n').stdout
            self.assertEqual(email.message_from_bytes(written)['X-Own'], 'b')

    def test_what_cannot_be_done_is_told(self):
        full = os.open('/dev/full', os.O_WRONLY)
        for options, streams, status in [((MAIL[0],), {'stdout': full}, 1), (('no-such-file',), {}, 1), ((), {}, 2),
                                         (('--unknown', '-'), {}, 2), (('-', '-'), {}, 2), (('cases/header-oddities.eml',), {}, 1)]:
            done = run('mimegateway', *options, **streams)
            self.assertEqual((done.returncode, done.stderr != b''), (status, True))
        os.close(full)
        self.assertEqual(run('mimegateway', '-', stdin=b'Subject: a\0b\n\n').stdout, b'Subject: a\r\n\r\n')


if __name__ == '__main__':
    unittest.main()
