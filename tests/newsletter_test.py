#!/usr/bin/env python3
# tests/newsletter_test.py - the newsletter of examples/newsletter.cpp, read by Python's email package by
# its strictest policy
import email
import email.policy
import pathlib
import subprocess
import tempfile
import unittest

from support.programs import run


class Newsletter(unittest.TestCase):
    def setUp(self):
        self.data = run('newsletter')
        self.message = email.message_from_bytes(self.data, policy=email.policy.default)

    def test_has_no_defect(self):
        self.assertLessEqual(max(map(len, self.data.split(b'\r\n'))), 998)
        self.assertTrue(self.data.isascii())
        for part in self.message.walk():
            self.assertEqual((part.defects, [(name, value.defects) for name, value in part.items() if value.defects]),
                             ([], []))

    def test_fields(self):
        self.assertEqual(self.message['Subject'], 'Nebel im März 🌊')
        self.assertEqual([(each.display_name, each.addr_spec) for name in ('From', 'To')
                          for each in self.message[name].addresses],
                         [('Der Leuchtturmwärter', 'keeper@harbour.example'), ('山田, 太郎', 'yamada@reader.example')])
        self.assertEqual(self.message['References'].split(),
                         ['<issue.%d@harbour.example>' % number for number in range(60)])
        leave = 'harbour.example/leave?%s>' % ('k' * 550)
        self.assertEqual(self.message['List-Unsubscribe'],
                         '<mailto:leave@harbour.example>, <https://%s, <https://mirror.%s' % (leave, leave))
        self.assertGreaterEqual(len(self.message['List-Unsubscribe']), 1200)

    def test_parts(self):
        parts = list(self.message.walk())
        self.assertEqual([part.get_content_type() for part in parts],
                         ['multipart/mixed', 'multipart/alternative', 'text/plain', 'multipart/related', 'text/html',
                          'image/gif', 'text/csv'])
        self.assertEqual(parts[2].get_content().splitlines(), ['Grüße vom Leuchtturm'])
        self.assertIn('src="cid:dot@harbour.example"', parts[4].get_content())
        self.assertEqual((parts[5]['Content-ID'], len(parts[5].get_content())), ('<dot@harbour.example>', 35))
        self.assertEqual((parts[6].get_filename(), parts[6].get_content_disposition()), ('灯台の年次報告.csv', 'attachment'))
        self.assertEqual(parts[6].get_content().splitlines(), ['月,部数', '3,1200'])

    def test_goes_to_a_file_or_fails(self):
        with tempfile.TemporaryDirectory() as directory:
            path = pathlib.Path(directory, 'out.eml')
            run('newsletter', path)
            for name in (directory, '/dev/full'):
                run('newsletter', name, status=1, stderr=subprocess.STDOUT)
            self.assertEqual(len(path.read_bytes()), len(self.data))


if __name__ == '__main__':
    unittest.main()
