#!/usr/bin/env python3
# tests/gateway_test.py - what mimegateway passes on, told by the engine's own calls
#
# The transcripts of a message and of what has become of it have to agree in everything but offsets:
# each field as it stands, the structure, bodies, preambles and epilogues, byte for byte.
import email
import os
import re
import unittest

from support.programs import MAIL, in_mail, run


def passed_on(message):
    return run('mimegateway', '-', message=message)


def transcript(message):
    lines = run('mimetree', '--events', message=message).decode('latin-1').splitlines()
    lines = [re.sub(r'^(RawField \d+) \d+', r'\1', line) for line in lines if not line.startswith('Defect')]
    return [re.sub(r' (part|header|body|lines) \S+(?= |$)', '', line) if line.startswith(('Begin', 'End')) else line
            for line in lines]


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

    def test_binary_bodies_and_fields_that_mail_cannot_hold(self):
        binary = b'Content-Type: image/gif\r\nContent-Transfer-Encoding: binary\r\n\r\na\nb\r\n'
        for message in (binary, b'Subject: a\r\n\r\na\nb'):
            self.assertEqual(passed_on(message), message)
        self.assertEqual(run('mimegateway', '-', message=b'Subject: a\0b\n\n', status=1), b'Subject: a\r\n\r\n')
        long = b'X-Long: ' + b'word ' * 400
        written = passed_on(long + b'\n\n')
        self.assertLess(max(map(len, written.split(b'\r\n'))), 999)
        self.assertEqual(written.replace(b'\r\n', b''), long)

    def test_a_fragment_and_a_message_by_the_letter(self):
        fragment = b'Content-Type: message/partial; id=a; number=1; total=2\nX: 1\n\nSubject: x\n\nhalf'
        self.assertEqual(passed_on(fragment), in_mail(fragment))
        for option in ('--basic', '--redo'):
            written = run('mimegateway', option, '-', message=b'Subject: a\nX-Own: b\n\n')
            self.assertEqual(email.message_from_bytes(written)['X-Own'], 'b')


if __name__ == '__main__':
    unittest.main()
