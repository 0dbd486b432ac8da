# tests/compose_test.py - what mimecompose and mimegateway write, read by Python's email package and by
# the engine itself
import base64
import email
import email.policy
import json
import os
import pathlib
import random
import tempfile
import unittest

from support.programs import MAIL, run


def parts_of(path):
    return json.loads(run('mimetree', '--json', path))['parts']


def bodies_of(path, directory):
    run('mimeextract', path, directory)
    bodies = {name.split('-')[0].split('.')[0]: (directory / name).read_bytes() for name in os.listdir(directory)}
    return {number: body for number, body in bodies.items() if body}


class WithDirectory(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.dir = pathlib.Path(directory.name)

    def file(self, name, content):
        (self.dir / name).write_bytes(content)
        return self.dir / name


class Compose(WithDirectory):
    ADDRESSES = ['--from', 'Frau Müller <m@x.example>', '--to', 'Bob, the "B" <b@y.example>', '--to', 'c@z.example']

    def compose(self, *options):
        data = run('mimecompose', *self.ADDRESSES, *options)
        return email.message_from_bytes(data, policy=email.policy.default)

    def test_text_html_and_attachments(self):
        text = 'Grüße\nFrom here\n.dot\ntrailing \n\nno end'.encode()
        blob = bytes(range(256)) * 300
        message = self.compose('--subject', 'Überraschung 🌊 heute', '--cc', '山田 <y@jp.example>',
                               '--text', self.file('t.txt', text), '--html', self.file('t.html', b'<p>x</p>\n'),
                               '--attach', self.file('flagge-grün.png', blob), '--attach', self.file('empty', b''))
        self.assertEqual(message['Subject'], 'Überraschung 🌊 heute')
        self.assertEqual([(a.display_name, a.addr_spec) for a in message['From'].addresses + message['To'].addresses +
                          message['Cc'].addresses],
                         [('Frau Müller', 'm@x.example'), ('Bob, the "B"', 'b@y.example'), ('', 'c@z.example'),
                          ('山田', 'y@jp.example')])
        self.assertEqual([part.get_content_type() for part in message.walk()],
                         ['multipart/mixed', 'multipart/alternative', 'text/plain', 'text/html', 'image/png',
                          'application/octet-stream'])
        parts = list(message.walk())
        self.assertEqual(parts[2].get_payload(decode=True), text.replace(b'\n', b'\r\n'))
        self.assertEqual(parts[4].get_payload(decode=True), blob)
        self.assertEqual(parts[4].get_filename(), 'flagge-grün.png')
        self.assertEqual(parts[5].get_payload(decode=True), b'')

    def test_every_encoding_keeps_the_text(self):
        for encoding in ('7bit', '8bit', 'quoted-printable', 'base64', 'binary'):
            message = self.compose('--encoding', encoding, '--text', self.file('t', b'a = b\nFrom c\n'))
            self.assertEqual(message['Content-Transfer-Encoding'], encoding)
            self.assertEqual(message.get_payload(decode=True), b'a = b\r\nFrom c\r\n')

    def test_nested_messages(self):
        inner = self.file('inner.eml', b'Subject: in\nFrom: i@n\nContent-Type: multipart/mixed; boundary=b\n\n'
                                       b'--b\n\none\n--b\n\ntwo\n--b--\n')
        bare = self.file('bare.eml', b'From: a@b\n\nhi')
        whole = self.file('whole.eml', run(
            'mimecompose', *self.ADDRESSES, '--subject', 'outer', '--message', inner, '--forward', inner,
            '--forward', bare, '--text', self.file('t', b'text\n')))
        self.assertEqual([(part['message_depth'], part['type']) for part in parts_of(whole)],
                         [(0, 'multipart'), (0, 'text')] +
                         2 * [(0, 'message'), (1, 'multipart'), (1, 'text'), (1, 'text')] +
                         [(0, 'message'), (1, 'text')])
        subjects = [value for part in parts_of(whole) for name, value in part['fields'] if name == 'Subject']
        self.assertEqual(subjects, ['outer', 'in', 'in'])

    def test_values_cannot_add_fields(self):
        message = self.compose('--subject', 'a\r\nBcc: evil@x', '--cc', 'n\nX-Evil: 1 <e\r\nX-Evil: 2@x>')
        self.assertNotIn('Bcc', message)
        self.assertNotIn('X-Evil', message)

    def test_the_character_set_is_the_one_named(self):
        for charset, name, text in [('cp1252', 'windows-1252', 'café'), ('koi8-r', 'koi8-r', 'мир'),
                                    ('ISO-2022-jp', 'ISO-2022-JP', '山田')]:
            options = ['--charset', charset, '--text', self.file('t', text.encode())]
            message = self.compose(*options)
            self.assertEqual((message.get_param('charset'), message.get_content()), (name, text))
        self.assertEqual(self.compose('--encoding', '7bit', *options).get_content(), text)  # in its set it has 7

    def test_ids_within_a_split_message(self):
        nested = b'--x\nContent-Type: message/rfc822\n\nMessage-Id: <leaf@x>\n\n--x\n\ntext\n' * 1200
        inner = self.file('f', b'Message-Id: <in@x>\nContent-Type: multipart/mixed; boundary=x\n\n' + nested)
        out = self.dir / 'out'
        run('mimecompose', *self.ADDRESSES, '--forward', inner, '--split', 40000, '--out', out)
        contents = [(out / name).read_bytes() for name in sorted(os.listdir(out))]
        self.assertGreater(len(contents), 10)
        self.assertLess(max(map(len, contents)), 40000 + 4096)
        self.assertEqual(len({email.message_from_bytes(each)['Message-Id'] for each in contents}), len(contents))
        whole = email.message_from_bytes(b''.join(each.split(b'\r\n\r\n', 1)[1] for each in contents))
        ids = [part.get_payload(0)['Message-Id'] for part in whole.walk() if part.get_content_type() == 'message/rfc822']
        self.assertEqual(ids, ['<in@x>'] + ['<leaf@x>'] * 1200)

    def test_fragments_come_home(self):
        options = [*self.ADDRESSES, '--subject', 'Grüße', '--attach', self.file('blob', bytes(range(256)) * 600)]
        (self.dir / 'whole.eml').write_bytes(run('mimecompose', *options))
        for number in range(5):  # of one sender, within a second or so
            run('mimecompose', *options, '--split', 40000, '--out', self.dir / str(number))
        names = sorted(file.name for file in (self.dir / '0').iterdir())
        self.assertEqual(names, ['%03d.eml' % (i + 1) for i in range(len(names))])
        fragments = [self.dir / str(number) / name for number in range(5) for name in names]
        random.Random(1).shuffle(fragments)
        store = self.dir / 'store'
        told = [json.loads(line) for line in run('mimetree', '--json', '--partial-dir', store, *fragments).splitlines()]
        whole = [each['parts'] for each in told if each['result'] == 'complete']
        self.assertEqual([each['parts'] for each in told if each['result'] == 'fragment_stored'],
                         [[]] * (len(fragments) - 5))
        essence = [[(part['type'], part['subtype'], part['file_name'], part['decoded_size']) for part in parts]
                   for parts in (*whole, parts_of(self.dir / 'whole.eml'))]
        self.assertEqual(essence, essence[:1] * 6)
        self.assertEqual(list(store.iterdir()), [])
        unstorable = self.file('f', b'Content-Type: message/partial; number=1; total=2; id=' + b'x' * 1_100_000 + b'\n\n\nhalf')
        self.assertIn(b'message/partial', run('mimetree', '--partial-dir', store, unstorable, status=1))
        store.rmdir()
        store.symlink_to('/dev/null')
        run('mimetree', '--partial-dir', store, fragments[0], status=1)

    def test_a_failed_run_leaves_no_fragment_and_changes_no_file(self):
        split = [*self.ADDRESSES, '--split', 40000, '--out', self.dir / 'out']
        (self.dir / 'out').mkdir()
        (self.dir / 'out' / '003.eml').write_bytes(b'old')
        run('mimecompose', *split, '--attach', self.file('a', b'x' * 200_000), status=1)
        run('mimecompose', *split, '--text', '/proc/self/mem', status=1)
        self.assertEqual([(file.name, file.read_bytes()) for file in (self.dir / 'out').iterdir()],
                         [('003.eml', b'old')])

    def test_an_attached_text_is_looked_at(self):
        for content, expected in [(b'a', ('text/plain', 'us-ascii')), ('ü'.encode() * 40000, ('text/plain', 'utf-8')),
                                  (b'caf\xe9', ('text/plain', 'unknown-8bit')), (b'\xc3', ('text/plain', 'unknown-8bit')),
                                  (b'a\0b\0', ('application/octet-stream', None))]:
            part = self.compose('--attach', self.file('a.txt', content)).get_payload(0)
            self.assertEqual((part.get_content_type(), part.get_content_charset()), expected)
            self.assertEqual(part.get_payload(decode=True), content)

    def test_a_message_of_8_bits_is_written_anew(self):
        inner = self.file('m', b'Subject: s\nX-\xc3\xbc: 1\n\n\xc3\xbc\n')
        for option in ('--message', '--forward'):
            data = run('mimecompose', *self.ADDRESSES, option, inner)
            self.assertTrue(data.split(b'\r\n\r\n', 1)[1].isascii())
            nested = email.message_from_bytes(data).get_payload(0).get_payload(0)
            self.assertEqual((nested['Subject'], nested.get_payload(decode=True)), ('s', b'\xc3\xbc\r\n'))

    def test_what_cannot_be_done_is_told(self):
        eight, nul, pipe = self.file('8', b'\xc3\xbc'), self.file('0', b'a\0'), self.dir / 'pipe'
        os.mkfifo(pipe)
        for option in ('--forward', '--text'):
            run('mimecompose', *self.ADDRESSES, option, pipe, status=1)
        for encoding, file in [('7bit', eight), ('7bit', nul), ('8bit', nul)]:
            run('mimecompose', *self.ADDRESSES, '--encoding', encoding, '--text', file, status=1)


class Gateway(WithDirectory):
    KEPT = ('message_depth', 'multipart_depth', 'type', 'subtype', 'file_name')
    # Addresses and dates are written anew; these come from the engine itself.
    OWN = {'content-type', 'content-transfer-encoding', 'content-disposition', 'content-id', 'mime-version', 'date',
           'from', 'to', 'cc', 'sender', 'reply-to', 'message-id', 'received', 'content-description'}

    OTHER_SHAPE = {
        'no-boundary',  # a multipart that is data is written as data
        'second-type-is-multipart',  # the type at BeginPart and the one that its body follows differ
        'digest', 'message-in-message',  # a message of no byte at all becomes one with an empty text
    }

    def test_keeps_structure_bodies_and_fields(self):
        self.assertTrue(MAIL)
        for number, path in enumerate(map(pathlib.Path, MAIL)):
            with self.subTest(path.name):
                out = self.file('%d.eml' % number, run('mimegateway', '--redo', path))
                before, after = parts_of(path), parts_of(out)
                shape = lambda parts: [[(part[key] or '') if key == 'subtype' else part[key] for key in self.KEPT]
                                       for part in parts]
                if path.stem not in self.OTHER_SHAPE:
                    self.assertEqual(shape(before), shape(after))
                bodies = [bodies_of(each, self.dir / ('%s%d' % (side, number)))
                          for side, each in (('a', path), ('b', out))]
                for part in before:  # what isn't encoded gets the line ends of mail
                    key = str(part['part_number'])
                    if part['type'] in ('text', 'message') and key in bodies[0]:
                        bodies = [{**each, key: each[key].replace(b'\r\n', b'\n')} for each in bodies]
                self.assertEqual(*bodies)
                for name, value in before[0]['fields']:
                    if name and name.lower() not in self.OWN:
                        self.assertIn([name.lower(), value],
                                      [[other.lower(), text] for other, text in after[0]['fields']])

    def pass_on(self, message):
        return run('mimegateway', '--redo', self.file('in.eml', message))

    def test_fields_that_are_easily_lost(self):
        written = self.pass_on(b'X-To-ZR700Fax: <123>\nContent-Type: multipart/mixed; boundary=o\n\n--o\n'
                               b'Content-Type: multipart/related; boundary=i\nContent-Location: x\n\n--i\n\na\n--i--\n--o--\n')
        message = email.message_from_bytes(written)
        self.assertEqual((message['X-To-ZR700Fax'], message.get_payload(0)['Content-Location']), ('<123>', 'x'))

    def test_no_body_can_foretell_a_boundary(self):
        message = b'Content-Type: multipart/mixed; boundary=q\n\n--q\n\nhi\n--q--\n'
        written = [run('mimegateway', '--basic', '-', message=message) for _ in range(4)]
        self.assertEqual(len({email.message_from_bytes(each).get_boundary() for each in written}), 4)

    def test_what_lies_too_deep_is_not_lost(self):
        whole = b''.join(b'Content-Type: multipart/mixed; boundary=b%d\n\n--b%d\n' % (n, n) for n in range(5000))
        data = self.pass_on(whole + b'\ndeep\n').split(b'base64\r\n\r\n')[1].split(b'--=_')[0]
        self.assertIn(b'deep', base64.b64decode(data))

    def test_a_fragment_is_copied(self):
        fragment = b'Content-Type: message/partial; id=a; number=1; total=2\nX: 1\n\nSubject: x\n\nhalf'
        self.assertEqual(self.pass_on(fragment), fragment)
        self.assertFalse(list(pathlib.Path().glob('MailPart*')))


if __name__ == '__main__':
    unittest.main()
