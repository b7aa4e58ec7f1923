"""What the tests of the examples share: a program run in a folder of its own."""
import array
import os
import struct
import subprocess
import tempfile
import unittest


def run_program(command, **options):
    """What subprocess.run() answers, with both outputs as text."""
    result = subprocess.run(command, capture_output=True, timeout=120, **options)
    result.stdout, result.stderr = (text.decode(errors="replace") for text in (result.stdout, result.stderr))
    return result


def npy(rows, descr="<f4", order="False", shape=None):
    """A NumPy file of the rows, or one whose header says otherwise."""
    shape = shape or f"({len(rows)}, {len(rows[0])})"
    header = f"{{'descr': '{descr}', 'fortran_order': {order}, 'shape': {shape}, }}".ljust(117) + "\n"
    code = {"<f4": "f", "<f8": "d", "<i2": "h"}[descr]
    return (b"\x93NUMPY\x01\x00" + struct.pack("<H", len(header)) + header.encode() +
            array.array(code, (x for row in rows for x in row)).tobytes())


class ProgramTestCase(unittest.TestCase):
    command = []  # the program, and the words that stand before every test's own
    old = "old"  # what an output that was there before is called

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())
        return self.path(name)

    def content(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def contents(self):
        """Of all regular files; of others, that they are there."""
        return {name: self.content(name) if os.path.isfile(self.path(name)) else None
                for name in os.listdir(self.folder)}

    def done(self, *arguments, **options):
        """What a run puts out that does what it should and complains of nothing."""
        result = run_program([*self.command, *arguments], **options)
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stderr)
        return result.stdout

    def refused(self, *arguments, status=1, **options):
        """What it complains of: one line (and the usage, if it was used wrong); nothing is put out or written."""
        before = self.contents()
        result = run_program([*self.command, *arguments], **options)
        self.assertEqual((result.returncode, result.stdout), (status, ""), (arguments, result.stderr))
        name = os.path.basename(self.command[0])
        usage = r"usage:.*\n(?: .*\n)*" if status == 2 else ""
        self.assertRegex(result.stderr, rf"\A{name}: .*\n{usage}\Z")
        self.assertEqual(self.contents(), before)
        return result.stderr.split("\n")[0]

    def check_refused(self, *arguments, reason=".", **options):
        """The same where an output may be there before."""
        self.write(self.old, "kept")
        self.assertRegex(self.refused(*arguments, **options), reason)
