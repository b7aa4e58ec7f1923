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
