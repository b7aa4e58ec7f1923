"""What the tests of codec share: the program, and sound for it; takes both from the command line."""
import array
import math
import os
import random
import struct
import subprocess
import sys
import wave

from feature_reference import write_pcm16
from program_test_case import ProgramTestCase, run_program

PROGRAM, SPEECH = os.path.abspath(sys.argv.pop(1)), os.path.abspath(sys.argv.pop(1))
BOOK = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../examples/codec/speech.book")
FRAME = 160
HEAD, END = 16, 10  # bytes of a stream before and behind its frames


def sentence(name):
    return os.path.join(SPEECH, name + ".flac")


def read_wave(path):
    with wave.open(path, "rb") as file:
        assert (file.getnchannels(), file.getsampwidth()) == (1, 2)
        return file.getframerate(), array.array("h", file.readframes(file.getnframes())).tolist()


def content_of(path):
    with open(path, "rb") as file:
        return file.read()


def level(samples):
    """In dB of root mean square over one unit."""
    return 10 * math.log10(max(sum(x * x for x in samples) / len(samples), 1e-3))


def vowel(pitch, seconds, rate=8000, peak=12000):
    """A train of pulses of this pitch, in Hz, through resonances at 500, 1500 and 2500 Hz."""
    count = round(seconds * rate)
    signal = [0.0] * count
    for k in range(int(seconds * pitch)):
        place, part = divmod(k * rate / pitch, 1)
        signal[int(place)] += 1 - part
        signal[min(int(place) + 1, count - 1)] += part
    for frequency, width in ((500, 60), (1500, 90), (2500, 120)):
        r = math.exp(-math.pi * width / rate)
        b, c = 2 * r * math.cos(2 * math.pi * frequency / rate), -r * r
        y1 = y2 = 0.0
        for i, x in enumerate(signal):
            signal[i] = y = x + b * y1 + c * y2
            y1, y2 = y, y1
    top = max(abs(x) for x in signal)
    return [round(peak * x / top) for x in signal]


def noise(seconds, seed=1, deviation=3000):
    generator = random.Random(seed)
    return [round(max(-32768, min(32767, generator.gauss(0, deviation)))) for _ in range(round(8000 * seconds))]


FIELDS = {"first": 9, "second": 9, "third": 9, "pitch": 7, "bands": 4, "level": 6, "change": 4}


def bits_of(frame):
    number = int.from_bytes(frame, "big")
    fields = {}
    for name, bits in reversed(FIELDS.items()):
        fields[name] = number & (1 << bits) - 1
        number >>= bits
    return fields


def frame_of(**fields):
    """The other way round; what is not named is 0."""
    number = 0
    for name, bits in FIELDS.items():
        number = number << bits | fields.get(name, 0)
    return number.to_bytes(6, "big")


def fnv(data):
    value = 0xcbf29ce484222325
    for byte in data:
        value = (value ^ byte) * 0x100000001b3 & 0xFFFFFFFFFFFFFFFF
    return value


def codewords():
    """Of the three parts, in Hz."""
    with open(BOOK, encoding="ascii") as file:
        lines = file.read().split("\n")
    return [[list(map(float, row.split()[1:])) for row in lines[2 + 513 * p:514 + 513 * p]] for p in range(3)]


def stream_of(frames):
    """Coded speech of these frames, whole."""
    count = FRAME * len(frames)
    first, second, third = (count >> shift & 511 for shift in (18, 9, 0))
    content = b"".join([b"zlpc\1\0\0\0", struct.pack("<Q", fnv(content_of(BOOK))), *frames,
                        frame_of(first=first, second=second, third=third, bands=15, level=count >> 27 & 63)])
    check = fnv(content)
    return content + struct.pack("<I", (check ^ check >> 32) & 0xFFFFFFFF)


class CodecTestCase(ProgramTestCase):
    command = [PROGRAM]

    def run_codec(self, *arguments, **options):
        return run_program([PROGRAM, *arguments], **options)

    def piped(self, *arguments, input):
        return subprocess.run([PROGRAM, *arguments], input=input, capture_output=True, timeout=60)

    def fails(self, status, pattern, *arguments, **options):
        result = self.run_codec(*arguments, **options)
        self.assertEqual(result.returncode, status, result.stderr)
        lines = result.stderr.splitlines()
        self.assertRegex(lines[0], "^codec: .*" + pattern)
        if status == 1:
            self.assertEqual(len(lines), 1, result.stderr)
        return result.stdout

    def encoded(self, sound, *options, name="coded.lpc"):
        self.done("encode", sound, self.path(name), *options)
        return content_of(self.path(name))

    def decoded(self, coded, *options, name="decoded.wav"):
        path = coded if isinstance(coded, str) else self.write("given.lpc", coded)
        self.done("decode", path, self.path(name), *options)
        rate, samples = read_wave(self.path(name))
        self.assertEqual(rate, 8000)
        return samples

    def sound(self, samples, rate=8000, name="made.wav"):
        write_pcm16(self.path(name), [samples], rate)
        return self.path(name)

    def report(self, *arguments):
        """The rows of the table by the files' last names."""
        rows = {}
        for line in self.done("report", *arguments).splitlines()[2:]:
            values = line.split(None, 8)
            rows[os.path.basename(values[8])] = dict(zip(
                ("seconds", "rate", "distortion", "above2", "above4", "level", "voiced", "pitch"),
                (float(x) if x != "-" else None for x in values[:8])))
        return rows
