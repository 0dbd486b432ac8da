# tests/support/programs.py - the example programs, as the tests run them
import glob
import os
import pathlib
import re
import subprocess

MAIL = sorted(glob.glob('../examples/mail/*.eml') + glob.glob('cases/*.eml'))


def run(program, *arguments, message=b'', status=0, **streams):
    """What a program prints that reads `message`. It has to end with that status, and to say why it failed."""
    done = subprocess.run([os.path.join(os.environ['VELLUM_BIN_DIR'], program), *map(str, arguments)], timeout=60,
                          **{'input': message, 'stdout': subprocess.PIPE, 'stderr': subprocess.PIPE, **streams})
    assert (done.returncode, done.stderr != b'') == (status, status != 0), done
    return done.stdout


def sections(name):
    """Title and text of each section of a .case file."""
    text = pathlib.Path(name).read_text('utf-8')
    return [section.split('\n', 1) for section in re.split('^=== ', text, flags=re.M)[1:]]


def bytes_of(text):
    r"""\xHH is a byte, and a line end behind a backslash isn't part of the text."""
    return text.encode().decode('unicode_escape').encode('latin-1')


def runs(name):
    """The sections with the title of a command: the command, the message for it, and behind "--" what it prints."""
    for title, text in sections(name):
        if title.startswith('mime'):
            message, printed = re.split('^--\n', text, flags=re.M)
            yield title.split(), bytes_of(message), printed


def in_mail(text):
    """With the line ends of mail."""
    return re.sub(rb'(?<!\r)\n', b'\r\n', text)
