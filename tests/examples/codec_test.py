"""codec on real and made-up sound: usage: codec_test.py PROGRAM SPEECH_FOLDER [unittest options]"""
import array
import cmath
import math
import os
import random
import re
import struct
import subprocess
import sys
import unittest
import wave
import xml.etree.ElementTree as ElementTree

sys.dont_write_bytecode = True
from feature_reference import write_pcm16
from program_test_case import ProgramTestCase, run_program

PROGRAM, SPEECH = os.path.abspath(sys.argv.pop(1)), os.path.abspath(sys.argv.pop(1))
BOOK = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../examples/codec/speech.book")
FRAME = 160
HEAD, END = 16, 10  # bytes of a stream before and behind its frames
SVG = "{http://www.w3.org/2000/svg}"


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


def transform(values):
    if len(values) == 1:
        return values
    even, odd = transform(values[::2]), transform(values[1::2])
    turned = [cmath.exp(-2j * math.pi * k / len(values)) * x for k, x in enumerate(odd)]
    return [x + y for x, y in zip(even, turned)] + [x - y for x, y in zip(even, turned)]


def band_levels(samples, start, length=2048):
    """Of the octaves from 350, 700 and 1400 Hz, in dB."""
    window = [0.5 - 0.5 * math.cos(2 * math.pi * i / length) for i in range(length)]
    spectrum = transform([x * w for x, w in zip(samples[start:start + length], window)])
    return [10 * math.log10(sum(abs(x) ** 2 for x in spectrum[low * length // 8000:2 * low * length // 8000]))
            for low in (350, 700, 1400)]


def bits_of(frame):
    number = int.from_bytes(frame, "big")
    fields = {}
    for name, bits in (("change", 4), ("level", 6), ("bands", 4), ("pitch", 7), ("third", 9), ("second", 9),
                       ("first", 9)):
        fields[name] = number & (1 << bits) - 1
        number >>= bits
    return fields


def fnv(data):
    value = 0xcbf29ce484222325
    for byte in data:
        value = (value ^ byte) * 0x100000001b3 & 0xFFFFFFFFFFFFFFFF
    return value


class CodecTest(ProgramTestCase):
    def run_codec(self, *arguments, **options):
        return run_program([PROGRAM, *arguments], **options)

    def piped(self, *arguments, input):
        return subprocess.run([PROGRAM, *arguments], input=input, capture_output=True, timeout=60)

    def done(self, *arguments, **options):
        result = self.run_codec(*arguments, **options)
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stderr)
        return result.stdout

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

    # The stream

    def test_layout_and_rate(self):
        for count in (1, 159, 160, 161, 320, 8000):
            coded = self.encoded(self.sound(vowel(120, 1)[:count]))
            frames = -(-count // FRAME)
            self.assertEqual(len(coded), HEAD + 6 * frames + END, count)
            self.assertEqual(coded[:8], b"zlpc\1\0\0\0")
            self.assertEqual(struct.unpack("<Q", coded[8:16])[0], fnv(content_of(BOOK)))
            end = bits_of(coded[-END:-4])
            self.assertEqual((end["pitch"], end["bands"]), (0, 15))
            samples = end["change"] << 6 | end["level"]
            for part in ("first", "second", "third"):
                samples = samples << 9 | end[part]
            self.assertEqual(samples, count)
            check = fnv(coded[:-4])
            self.assertEqual(struct.unpack("<I", coded[-4:])[0], (check ^ check >> 32) & 0xFFFFFFFF)
            self.assertEqual(len(self.decoded(coded)), count)
        coded = self.encoded(sentence("german"))
        self.assertEqual((len(coded) - HEAD - END) * 8 / 48, -(-5.70625 // 0.02))  # 48 bits each 20 ms

    def test_runs_and_blocks_change_nothing(self):
        samples = vowel(140, 0.7) + noise(0.3) + [0] * 1000 + vowel(230, 0.4)
        path = self.sound(samples)
        coded = self.encoded(path)
        for block in (1, 7, 160, 4095, 1 << 20):
            self.assertEqual(self.encoded(path, f"--block={block}"), coded, block)
        raw = array.array("h", samples).tobytes()
        for options in ([], ["--block=33"]):
            piped = self.piped("encode", "-", "-", *options, input=raw)
            self.assertEqual((piped.returncode, piped.stderr, piped.stdout), (0, b"", coded))
        expected = self.decoded(coded)
        self.assertEqual(self.decoded(coded), expected)
        piped = self.piped("decode", "-", "-", input=coded)
        self.assertEqual((piped.returncode, piped.stderr), (0, b""))
        self.assertEqual(array.array("h", piped.stdout).tolist(), expected)
        self.done("both", path, "-o", self.path("out"))
        self.assertEqual(read_wave(self.path("out/made.wav")), (8000, expected))

    def test_blocks_round_alike(self):
        # Little on a large offset: what the offset filter rounds off would show.
        path = self.sound([32000 + x for x in noise(4, deviation=1.2)])
        coded = self.encoded(path)
        for block in (1, 100, 161):
            self.assertEqual(self.encoded(path, f"--block={block}"), coded, block)

    def test_live_sound_leaves_as_it_comes(self):
        raw = array.array("h", vowel(150, 2)).tobytes()
        encoder = subprocess.Popen([PROGRAM, "encode", "-", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        decoder = subprocess.Popen([PROGRAM, "decode", "-", "-"], stdin=encoder.stdout, stdout=subprocess.PIPE)
        encoder.stdout.close()
        encoder.stdin.write(raw[:16000])
        encoder.stdin.flush()
        # Of the first second more than half comes out while the input stays open.
        self.assertEqual(len(decoder.stdout.read(8000)), 8000)
        encoder.stdin.write(raw[16000:])
        encoder.stdin.close()
        self.assertEqual(len(decoder.stdout.read()), len(raw) - 8000)
        self.assertEqual((encoder.wait(), decoder.wait()), (0, 0))
        decoder.stdout.close()

    def test_rates_and_channels(self):
        samples = vowel(125, 0.8, rate=16000)
        expected = self.encoded(self.sound(samples, 16000))
        self.assertEqual(len(expected), HEAD + 6 * 40 + END)
        # The same on both channels, at twice the level on one and none on the other.
        write_pcm16(self.path("stereo.wav"), [samples, samples], 16000)
        self.assertEqual(self.encoded(self.path("stereo.wav")), expected)
        write_pcm16(self.path("left.wav"), [[2 * x for x in samples], [0] * len(samples)], 16000)
        self.assertEqual(self.encoded(self.path("left.wav")), expected)
        piped = self.piped("encode", "-", "-", "--rate=16000", input=array.array("h", samples).tobytes())
        self.assertEqual(piped.stdout, expected)
        for rate in (8001, 11025, 44100, 192000):
            coded = self.encoded(self.sound(vowel(125, 0.5, rate), rate))
            self.assertEqual(len(coded), HEAD + 6 * 25 + END, rate)
        self.fails(1, "made.wav: has 7999 samples a second; from 8000", "encode", self.sound(samples, 7999),
                   self.path("x.lpc"))

    # What is kept of the sound

    def test_pitch_of_pulses(self):
        for pitch in (57, 75, 100, 133, 180, 237.5, 310, 390):
            path = self.sound(vowel(pitch, 1), name="pulses.wav")
            row = self.report(path)["pulses.wav"]
            self.assertGreater(row["voiced"], 94)
            self.assertLess(abs(row["pitch"] / pitch - 1), 0.017, pitch)
            # Decoded, it is still there.
            self.decoded(self.encoded(path), name="again.wav")
            again = self.report(self.path("again.wav"))["again.wav"]
            self.assertGreater(again["voiced"], 94)
            self.assertLess(abs(again["pitch"] / pitch - 1), 0.025, pitch)

    def test_gliding_pitch(self):
        phase, samples = 0.0, []
        for i in range(12000):
            phase += (100 + 100 * i / 12000) / 8000
            samples.append(round(4000 * sum(math.cos(2 * math.pi * k * phase) / k for k in range(1, 12))))
        coded = self.encoded(self.sound(samples))
        for n in range(3, 70):
            code = bits_of(coded[HEAD + 6 * n:HEAD + 6 * n + 6])["pitch"]
            lag = 20 * (147 / 20) ** ((code - 1) / 126)
            wanted = 100 + 100 * (n + 1) * FRAME / 12000
            self.assertLess(abs(8000 / lag / wanted - 1), 0.03, n)

    def test_levels_of_the_stream(self):
        for peak in (3, 40, 1000, 30000):
            samples = [round(peak * math.sin(2 * math.pi * 800.3 * i / 8000)) for i in range(8000)]
            coded = self.encoded(self.sound(samples))
            for at in range(HEAD + 60, len(coded) - END - 60, 6):
                frame = bits_of(coded[at:at + 6])
                self.assertLess(abs(2 + 1.4 * (frame["level"] - 1) - level(samples)), 1.3)
                self.assertIn(frame["change"], (7, 8))
        silence = self.encoded(self.sound([0] * 1600))
        for at in range(HEAD, HEAD + 60, 6):
            frame = bits_of(silence[at:at + 6])
            self.assertEqual((frame["level"], frame["change"], frame["pitch"]), (0, 0, 0))
        # A start between the two measurements of a frame: the second is the higher one by all that there is.
        coded = self.encoded(self.sound([0] * 1560 + noise(0.5)))
        self.assertEqual(bits_of(coded[HEAD + 54:HEAD + 60])["change"], 15)

    def test_envelope_of_the_stream(self):
        with open(BOOK, encoding="ascii") as file:
            lines = file.read().split("\n")
        parts = [[list(map(float, row.split()[1:])) for row in lines[2 + 513 * p:514 + 513 * p]] for p in range(3)]
        self.assertEqual([(len(part), len(part[0])) for part in parts], [(512, 3), (512, 3), (512, 4)])
        coded = self.encoded(self.sound(vowel(110, 1)))
        for at in range(HEAD + 60, len(coded) - END - 60, 6):
            frame = bits_of(coded[at:at + 6])
            spectrum = parts[0][frame["first"]] + parts[1][frame["second"]] + parts[2][frame["third"]]
            self.assertEqual(spectrum, sorted(spectrum))
            for peak in (500, 1500, 2500):  # between two lines that are close
                near = [b - a for a, b in zip(spectrum, spectrum[1:]) if a - 60 < peak < b + 60]
                self.assertTrue(near and min(near) < 250, (peak, spectrum))

    def test_noise_has_no_voice(self):
        row = self.report(self.sound(noise(2)))["made.wav"]
        self.assertLess(row["voiced"], 5)
        whisper = self.report(sentence("whisper"))["whisper.flac"]
        self.assertLess(whisper["voiced"], 8)

    def test_bands_of_voice(self):
        # Pulses below 1 kHz, noise above.
        generator = random.Random(3)
        samples = []
        before = 0.0
        for i in range(16000):
            voice = sum(math.cos(2 * math.pi * k * 120 * i / 8000) for k in range(1, 9))
            fresh = generator.gauss(0, 1)
            high, before = fresh - before, fresh  # rises with the frequency
            samples.append(round(2000 * (0.35 * voice + 0.8 * high)))
        coded = self.encoded(self.sound(samples))
        frames = [bits_of(coded[at:at + 6]) for at in range(HEAD + 30, len(coded) - END - 30, 6)]
        self.assertTrue(all(frame["pitch"] > 0 for frame in frames))
        voiced = [sum(frame["bands"] >> b & 1 for frame in frames) / len(frames) for b in range(4)]
        self.assertGreater(voiced[0], 0.9)
        self.assertLess(max(voiced[2:]), 0.1)
        pulses = self.encoded(self.sound(vowel(125, 1)))
        frames = [bits_of(pulses[at:at + 6])["bands"] for at in range(HEAD + 30, len(pulses) - END - 30, 6)]
        self.assertGreater(frames.count(15) / len(frames), 0.9)

    def test_spectral_distortion(self):
        names = [name[:-5] for name in sorted(os.listdir(SPEECH)) if name.endswith(".flac")]
        rows = self.report(SPEECH)
        self.assertEqual(set(rows), {name + ".flac" for name in names} | {"all of them"})
        for name, row in rows.items():
            self.assertLess(row["distortion"], 1.5, name)
            self.assertGreater(row["distortion"], 0.8, name)
            self.assertLess(row["above2"], 16, name)
            self.assertLess(row["above4"], 0.5, name)
            self.assertLess(row["level"], 0.8, name)
            self.assertLess(abs(row["rate"] - 2450), 15)
        for name, low, high in (("english_us", 190, 250), ("finnish", 60, 90), ("swedish", 180, 240)):
            self.assertTrue(low < rows[name + ".flac"]["pitch"] < high, name)

    def test_levels_follow(self):
        loud = noise(0.5, deviation=8000), vowel(110, 0.5, peak=30000)
        samples = []
        for factor in (1, 0.1, 0.01):
            for part in loud:
                samples += [round(factor * x) for x in part]
        found = self.decoded(self.encoded(self.sound(samples)))
        for at in range(0, len(samples), 4000):
            inner = slice(at + 480, at + 3520)
            self.assertLess(abs(level(found[inner]) - level(samples[inner])), 1.6, at)

    def test_spectrum_of_a_vowel(self):
        for pitch in (80, 100, 125, 250):
            samples = vowel(pitch, 1)
            found = self.decoded(self.encoded(self.sound(samples)))
            for wanted, band in zip(band_levels(samples, 2000), band_levels(found, 2000)):
                self.assertLess(abs(band - wanted), 4.5, pitch)

    def test_time_stays(self):
        # A click of noise in silence comes out where it was.
        samples = [0] * 24000
        samples[11000:12000] = noise(0.125)
        found = self.decoded(self.encoded(self.sound(samples)))
        heard = [i for i in range(0, 24000, 80) if level(found[i:i + 80]) > 50]
        self.assertTrue(10700 <= heard[0] <= 11080, heard[0])
        self.assertTrue(11850 <= heard[-1] <= 12160, heard[-1])

    def test_silence_and_extremes(self):
        self.assertEqual(set(self.decoded(self.encoded(self.sound([0] * 5000)))), {0})
        row = self.report(self.sound([0] * 5000))["made.wav"]
        self.assertEqual((row["distortion"], row["voiced"], row["pitch"]), (None, None, None))
        square = [32767 if i // 40 % 2 else -32768 for i in range(8000)]
        result = self.run_codec("encode", self.sound(square), self.path("square.lpc"))
        self.assertEqual(result.returncode, 0)
        self.assertRegex(result.stderr, "samples at full scale: the sound is clipped")
        found = self.decoded(self.path("square.lpc"))
        self.assertGreater(level(found[800:-800]), 82)
        self.assertEqual(len(found), 8000)
        impulse = [0] * 3000
        impulse[1500] = 32767
        self.assertEqual(len(self.decoded(self.encoded(self.sound(impulse)))), 3000)
        for tone in (50, 1000, 3990):
            wanted = [round(20000 * math.sin(2 * math.pi * tone * i / 8000)) for i in range(8000)]
            self.assertEqual(len(self.decoded(self.encoded(self.sound(wanted)))), 8000)

    def test_not_a_number(self):
        data = array.array("f", [math.nan, math.inf, 3e38, -1e5] + [x / 32768 for x in vowel(120, 0.5)])
        fields = struct.pack("<HHIIHH", 3, 1, 8000, 32000, 4, 32)
        path = self.write("odd.wav", struct.pack("<4sI4s4sI", b"RIFF", 36 + 4 * len(data), b"WAVE", b"fmt ", 16) +
                          fields + struct.pack("<4sI", b"data", 4 * len(data)) + data.tobytes())
        result = self.run_codec("encode", path, self.path("odd.lpc"))
        self.assertEqual(result.returncode, 0)
        self.assertRegex(result.stderr, "odd.wav: 3 samples not a number")
        self.assertGreater(level(self.decoded(self.path("odd.lpc"))[1000:]), 60)

    # Damage

    def test_cut_streams(self):
        coded = self.encoded(self.sound(vowel(120, 0.5)))
        whole = self.decoded(coded)
        for length in range(len(coded)):
            path = self.write("cut.lpc", coded[:length])
            wanted = ("is empty" if length == 0 else "is cut short in its head" if length < HEAD
                      else "is cut short behind 0.00 s$" if length < HEAD + 6 else
                      "is cut short behind 0.[0-9]+ s; --salvage keeps what comes before")
            if length < 30 or length > len(coded) - 20:
                self.fails(1, wanted, "decode", path, self.path("cut.wav"))
                self.assertFalse(os.path.exists(self.path("cut.wav")))
        self.write("cut.lpc", coded[:HEAD + 6 * 10 + 3])
        result = self.run_codec("decode", self.path("cut.lpc"), self.path("cut.wav"), "--salvage")
        self.assertEqual(result.returncode, 0)
        self.assertRegex(result.stderr, r"^codec: .*cut.lpc: is cut short behind 0.20 s\n$")
        kept = read_wave(self.path("cut.wav"))[1]
        self.assertEqual(len(kept), 1600)
        self.assertEqual(kept[:1500], whole[:1500])
        self.fails(1, "is cut short", "decode", self.write("cut.lpc", coded[:HEAD]), self.path("no.wav"),
                   "--salvage")

    def test_damaged_streams(self):
        coded = self.encoded(self.sound(vowel(120, 0.3)))
        out = self.path("out.wav")
        for at in range(len(coded)):
            damaged = bytearray(coded)
            damaged[at] ^= 0x10
            wanted = ("is no coded speech" if at < 4 else "version" if at < 8 else "another codebook" if at < 16
                      else "damaged|cut short|behind its end")
            self.fails(1, wanted, "decode", self.write("d.lpc", bytes(damaged)), out)
        self.assertFalse(os.path.exists(out))
        self.fails(1, "goes on behind its end", "decode", self.write("d.lpc", coded + b"x"), out)
        self.fails(1, "check sum", "decode", self.write("d.lpc", coded[:HEAD] + coded[HEAD + 6:]), out)
        # No voice, but a voiced band: no encoder writes that.
        frame = bytes.fromhex("000000000400")
        self.assertEqual(bits_of(frame)["bands"], 1)
        self.fails(1, "is damaged at 0.02 s", "decode", self.write("d.lpc", coded[:HEAD + 6] + frame), out)
        generator = random.Random(5)
        for _ in range(20):
            rubbish = coded[:HEAD] + bytes(generator.randrange(256) for _ in range(600))
            self.fails(1, "damaged|cut short|behind its end", "decode", self.write("d.lpc", rubbish), out)
            result = self.run_codec("decode", self.path("d.lpc"), self.path("kept.wav"), "--salvage")
            self.assertIn(result.returncode, (0, 1))

    # Codebooks

    def test_training(self):
        book = self.path("own.book")
        names = [sentence(name) for name in ("english_us", "german", "finnish", "french")]
        text = self.done("train", *names, "-o", book)
        self.assertRegex(text, "own.book: 512 codewords for each of 3 parts, from [0-9]+ frames of 4 files")
        first = content_of(book)
        self.done("train", *names, "-o", book)
        self.assertEqual(content_of(book), first)
        self.assertEqual(first.count(b"\n"), 1 + 3 * 513)
        # It knows what it was trained on better than the program's own.
        own = self.report(sentence("german"))["german.flac"]["distortion"]
        trained = self.report(sentence("german"), "--book", book)["german.flac"]["distortion"]
        self.assertLess(trained, own - 0.1)
        coded = self.encoded(sentence("german"), "--book", book)
        self.fails(1, "another codebook than the program's own", "decode", self.path("coded.lpc"),
                   self.path("x.wav"))
        self.assertGreater(level(self.decoded(coded, "--book", book)), 40)
        self.fails(1, "too few or too much alike", "train", self.sound(vowel(100, 1)), "-o", book)
        self.fails(1, "too few or too much alike", "train", self.sound([0] * 200000), "-o", book)
        self.assertEqual(content_of(book), first)
        for text in ("", "codec_book 2\n", "codec_book 1\npart 3\nw 1 2\n", "codec_book 1\npart 3\nw 1 2 4001\n",
                     first.decode() + "w 1 2 3 4\n", first.decode()[:-20]):
            self.fails(1, "bad.book: ", "decode", self.path("coded.lpc"), self.path("x.wav"), "--book",
                       self.write("bad.book", text))

    # Folders, reports, use

    def test_folders(self):
        os.makedirs(self.path("in/a/b"))
        os.makedirs(self.path("nothing"))
        self.sound(vowel(120, 0.3), name="in/one.wav")
        self.sound(vowel(130, 0.2), name="in/a/two.wav")
        os.link(sentence("finnish"), self.path("in/a/b/three.flac"))
        self.write("in/a/words.txt", "no sound")
        self.assertEqual(self.done("both", self.path("in"), "-o", self.path("out")), "3 of 3 files\n")
        found = sorted(os.path.relpath(os.path.join(folder, name), self.path("out"))
                       for folder, _, names in os.walk(self.path("out")) for name in names)
        self.assertEqual(found, ["a/b/three.flac", "a/two.wav", "one.wav"])
        self.assertEqual(len(read_wave(self.path("out/a/two.wav"))[1]), 1600)
        self.assertEqual(content_of(self.path("out/a/b/three.flac"))[:4], b"fLaC")
        # One that fails does not keep the others.
        self.write("in/a/broken.wav", "no sound")
        text = self.fails(1, "broken.wav: not a sound file", "both", self.path("in"), "-o", self.path("again"))
        self.assertEqual(text, "3 of 4 files\n")
        self.assertFalse(os.path.exists(self.path("again/a/broken.wav")))
        self.assertEqual(content_of(self.path("again/one.wav")), content_of(self.path("out/one.wav")))
        self.fails(1, "nothing: holds no sound files", "both", self.path("nothing"), "-o", self.path("x"))
        self.fails(1, "would be overwritten", "both", self.path("in/one.wav"), "-o", self.path("in"))
        self.fails(1, "would both become", "both", self.path("in/one.wav"), self.path("out/one.wav"), "-o",
                   self.path("x"))
        text = self.fails(1, "broken.wav: not a sound file", "report", self.path("in"))
        self.assertEqual(len(text.splitlines()), 2 + 3 + 1)

    def test_picture(self):
        picture = self.path("p.svg")
        self.done("report", sentence("english_us"), "--picture", picture)
        root = ElementTree.parse(picture).getroot()
        groups = [group.get("class") for group in root.iter(SVG + "g")]
        self.assertEqual(groups.count("panel"), 4)
        self.assertEqual(sum("no voice" in (text.text or "") for text in root.iter(SVG + "text")), 2)
        self.assertTrue(all(re.match(r"[-0-9. MLZz,]*$", path.get("d")) for path in root.iter(SVG + "path")))
        self.done("report", self.sound([0] * 900), "--picture", picture)
        ElementTree.parse(picture)
        self.fails(2, "--picture is of one", "report", sentence("german"), sentence("finnish"), "--picture",
                   picture)

    def test_wrong_use_and_bad_files(self):
        self.assertIn("usage: codec encode", self.done("--help"))
        for words in ([], ["shrink"], ["encode"], ["encode", "a.wav"], ["encode", "a", "b", "c"], ["decode", "a"],
                      ["both", "a.wav"], ["both", "-o", "x"], ["report"], ["train", "a.wav"],
                      ["encode", "a", "b", "--quick"], ["encode", "a", "b", "--block", "0"],
                      ["encode", "a", "b", "--rate", "8000"],
                      ["encode", "-", "b", "--rate", "x"], ["decode", "a", "b", "--block", "3"]):
            result = self.run_codec(*words)
            self.assertEqual(result.returncode, 2, words)
            self.assertIn("usage: codec encode", result.stderr)
        out = self.path("out.lpc")
        for path, reason in ((self.path("missing.wav"), "no such file"), (self.folder, "directory"),
                             (self.write("text.wav", "words"), "not a sound file"),
                             (self.write("none.wav", ""), "empty"),
                             (self.sound([], name="short.wav"), "holds no samples")):
            self.fails(1, os.path.basename(path) + ": .*" + reason, "encode", path, out)
        self.fails(1, "standard input: holds no samples", "encode", "-", out, input=b"")
        for path, reason in ((self.path("missing.lpc"), "no such file"), (self.folder, "directory"),
                             (sentence("german"), "no coded speech"), (self.write("none.lpc", ""), "empty")):
            self.fails(1, reason, "decode", path, self.path("out.wav"))
        self.assertEqual(sorted(os.listdir(self.folder)), ["none.lpc", "none.wav", "short.wav", "text.wav"])
        same = self.sound(vowel(120, 0.1), name="same.wav")
        before = content_of(same)
        self.fails(2, "would be overwritten", "encode", same, same)
        self.fails(1, "cannot write", "encode", same, self.path("no/such/out.lpc"))
        self.assertEqual(content_of(same), before)
        half = self.piped("encode", "-", "-", input=b"\1\2\3")
        self.assertEqual((half.returncode, half.stderr), (0, b"codec: -: the last byte is half a sample\n"))


if __name__ == "__main__":
    unittest.main()
