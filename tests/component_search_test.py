# tests/component_search_test.py - where the engine looks for the conversion component, and where not
import os
import pathlib
import shutil
import tempfile
import unittest

from support.programs import run

BUILD = pathlib.Path(os.environ['VELLUM_BIN_DIR']).parent
ENGINE = 'libvellum.so.0.1'
COMPONENT = 'librwqfmp13.so'
MODULE = BUILD / 'bin' / 'component_client_module.so'


class ComponentSearch(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.dir = pathlib.Path(directory.name).resolve()

    def place(self, directory, *names, mode=0o755):
        (self.dir / directory).mkdir(parents=True)
        for name in names:
            shutil.copy(BUILD / name, self.dir / directory / name)
        (self.dir / directory).chmod(mode)

    def found(self, engine, working_directory='.', library_path=''):
        """The directory of the component that an engine finds, loaded by a client in another directory."""
        library_path = ':'.join(str(self.dir / place) if place else '' for place in library_path.split(':'))
        path = run('component_client', engine, self.dir / working_directory, MODULE, cwd=self.dir,
                   env={**os.environ, 'LD_LIBRARY_PATH': library_path}).decode().strip()
        return str(pathlib.Path(path).parent.relative_to(self.dir)) if path else None

    def test_beside_the_engine(self):
        self.place('lib', ENGINE, COMPONENT)
        self.place('links')
        (self.dir / 'links' / ENGINE).symlink_to(self.dir / 'lib' / ENGINE)
        self.place('program/bin', ENGINE)
        self.place('program/lib', COMPONENT)
        self.place('work/lib', ENGINE, COMPONENT)
        self.assertEqual(self.found(f'lib/{ENGINE}', 'work'), 'lib')  # not that of the same relative name
        self.assertEqual(self.found(self.dir / 'links' / ENGINE), 'lib')
        self.assertEqual(self.found(ENGINE, library_path='program/bin'), 'program/lib')

    def test_in_no_unsafe_place(self):
        self.place('alone', ENGINE)
        self.place('work', COMPONENT)
        self.place('open', ENGINE, COMPONENT, mode=0o1777)
        self.assertIsNone(self.found(f'alone/{ENGINE}', 'work'))
        self.assertIsNone(self.found(f'alone/{ENGINE}', 'work', 'alone:'))
        self.assertEqual(self.found(f'alone/{ENGINE}', library_path='work'), 'work')
        self.assertIsNone(self.found(f'open/{ENGINE}'))


if __name__ == '__main__':
    unittest.main()
