"""aurora on real and made-up sound: usage: aurora_test.py PROGRAM SPEECH_FOLDER WORDS_FOLDER [unittest options]

WORDS_FOLDER is one that examples/recognise/make_words has made.
"""
import array
import csv
import math
import os
import random
import struct
import subprocess
import sys
import unittest
import wave
import xml.etree.ElementTree as ElementTree

sys.dont_write_bytecode = True
from feature_reference import made_up, read_csv, read_htk, read_npy, write_pcm16
from program_test_case import ProgramTestCase, run_program

PROGRAM, SPEECH, WORDS = (os.path.abspath(sys.argv.pop(1)) for _ in range(3))
NAMES = ("english_gb", "english_us", "french", "finnish", "german", "spanish", "swedish", "whisper")
SENTENCE = os.path.join(SPEECH, "english_us.flac")
SVG = "{http://www.w3.org/2000/svg}"


def run(*arguments, **options):
    return run_program([PROGRAM, *arguments], **options)


def phrases_of(name):
    with open(os.path.join(SPEECH, name + ".txt")) as file:
        return [tuple(float(x) for x in line.split()) for line in file if line.strip()]


def read_wave(path):
    with wave.open(path, "rb") as file:
        data = file.readframes(file.getnframes())
        return file.getframerate(), [x for x, in struct.iter_unpack("<h", data)]


def read_marks(path):
    with open(path) as file:
        rows = list(csv.reader(file))
    assert rows[0] == ["seconds", "mark"]
    return [(float(seconds), mark) for seconds, mark in rows[1:]]


def power(samples):
    return sum(x * x for x in samples) / len(samples)


def decibels(ratio):
    return 10 * math.log10(ratio)


class AuroraTest(ProgramTestCase):
    command = [PROGRAM]

    def bytes_of(self, *arguments, name="out.npy"):
        self.done(*arguments[:1], self.path(name), *arguments[1:])
        return self.content(name)

    def features(self, sound, *options):
        self.done(sound, self.path("out.csv"), *options)
        return read_csv(self.path("out.csv"))

    def at_8000(self, name):
        path = self.path(name + ".wav")
        if not os.path.exists(path):
            subprocess.run(["sox", "-D", os.path.join(SPEECH, name + ".flac"), "-r", "8000", "-b", "16", path, "gain",
                            "-3"], check=True, capture_output=True)
        return path

    def noisy(self, name, snr, seed=1):
        """The sentence at 8 kHz with white noise, and it alone: paths and samples. snr: over the phrases."""
        rate, speech = read_wave(self.at_8000(name))
        generator = random.Random(seed)
        spoken = [x for first, last in phrases_of(name) for x in speech[int(first * rate):int(last * rate)]]
        deviation = math.sqrt(power(spoken) / 10 ** (snr / 10))
        mixed = [round(max(-32768, min(32767, x + generator.gauss(0, deviation)))) for x in speech]
        path = self.path(f"{name}_{snr}.wav")
        write_pcm16(path, [mixed], rate)
        return path, mixed, speech

    # Shape

    def test_frames_and_columns(self):
        for rate in (8000, 16000):
            # From the first frame's samples on; one fewer; a shift more.
            for samples, frames in ((rate, 98), (rate // 40 + rate // 100 * 120 - 1, 120), (rate // 40 + rate // 100 * 120, 121)):
                write_pcm16(self.path("a.wav"), [made_up(rate, samples / rate)[:samples]], rate)
                for path in ([], ["--fixed"]):
                    names, rows = self.features(self.path("a.wav"), *path)
                    self.assertEqual((len(rows), {len(row) for row in rows}), (frames, {39}), (rate, path))
                    self.assertEqual([names[k] for k in (0, 11, 12, 13, 25, 26, 38)],
                                     ["c1", "c12", "energy", "d_c1", "d_energy", "dd_c1", "dd_energy"])
                    self.assertTrue(all(math.isfinite(x) for row in rows for x in row))

    # The last frames of a sound come at its end, all of them where it has few.
    def test_short_sounds(self):
        sound = made_up(16000, 0.2)
        for rate in (8000, 16000):
            for samples, frames in ((759, None), (760, 8), (839, 8), (840, 9), (1079, 11), (1080, 12), (1160, 13)):
                write_pcm16(self.path("a.wav"), [sound[:samples * (rate // 8000)]], rate)
                for path in ([], ["--fixed"], ["--block=1"]):
                    arguments = [self.path("a.wav"), self.path("out.npy"), "--marks", self.path("marks.csv"), *path]
                    if frames is None:
                        self.refused(1, "too short: 7 frames, derivatives need 8", *arguments)
                        continue
                    self.done(*arguments)
                    self.assertEqual(len(read_npy(self.path("out.npy"))[1]), frames, (rate, samples, path))
                    self.assertEqual(len(read_marks(self.path("marks.csv"))), frames, (rate, samples, path))
                    for name in ("out.npy", "marks.csv"):
                        os.remove(self.path(name))
        for samples in (1, 2, 79, 80, 200):
            write_pcm16(self.path("a.wav"), [sound[:samples]], 8000)
            for path in ([], ["--fixed"]):
                self.refused(1, "too short: ", self.path("a.wav"), self.path("out.npy"), *path)

    def test_formats_hold_the_same_values(self):
        for path in ([], ["--fixed"]):
            # Texts are the shortest that read back as the same single.
            rows = [array.array("f", row).tolist() for row in self.features(SENTENCE, *path)[1]]
            self.done(SENTENCE, self.path("out.npy"), *path)
            code, values = read_npy(self.path("out.npy"))
            self.assertEqual(code, "h" if path else "f")
            scale = 128 if path else 1
            self.assertTrue([[x / scale for x in row] for row in values] == rows)
            self.done(SENTENCE, self.path("out.htk"), *path)
            kind, period, values = read_htk(self.path("out.htk"))
            self.assertEqual(period, 100000)
            self.assertTrue([list(row) for row in values] == rows)

    def test_derivatives_are_the_definition(self):
        rows = self.features(self.at_8000("french"))[1]
        weights = [1, 0.25, -0.285714, -0.607143, -0.714286, -0.607143, -0.285714, 0.25, 1]
        for t in (0, 3, 100, len(rows) - 1):
            around = [rows[min(max(t + k, 0), len(rows) - 1)] for k in range(-4, 5)]
            for c in range(13):
                delta = sum((k / 4) * row[c] for k, row in zip(range(-4, 5), around))
                second = sum(weight * row[c] for weight, row in zip(weights, around))
                self.assertAlmostEqual(rows[t][13 + c], delta, delta=1e-3)
                self.assertAlmostEqual(rows[t][26 + c], second, delta=1e-3)

    # Streaming

    def test_any_block_size_gives_the_same_bits(self):
        for sound in (self.at_8000("finnish"), SENTENCE):
            for options in ([], ["--fixed"]):
                def outputs(*more):
                    extra = ["--marks", self.path("marks.csv"), "--cleaned", self.path("cleaned.wav"), "--picture",
                             self.path("picture.svg")]
                    content = [self.bytes_of(sound, *options, *extra, *more)]
                    for name in ("marks.csv", "cleaned.wav", "picture.svg"):
                        with open(self.path(name), "rb") as file:
                            content.append(file.read())
                    return content
                whole = outputs("--block=1000000")
                self.assertTrue(outputs("--block=1000000") == whole)
                for block in (("1",) if sound != SENTENCE else ()) + ("79", "80", "161", "4001"):
                    self.assertTrue(outputs("--block", block) == whole, (sound, options, block))

    # 16 bits

    # The samples between the stages are integers: in clean speech the rounding of three stages is what the faintest mel
    # bands hold. The weights of the pitch periods and their reach are other numbers, too.
    def test_sixteen_bits_are_near(self):
        for name in NAMES:
            for sound in (self.at_8000(name), os.path.join(SPEECH, name + ".flac")):
                single, fixed = (self.features(sound, *path)[1] for path in ([], ["--fixed"]))
                self.assertEqual(len(single), len(fixed))
                spoken = [t for t in range(len(single))
                          if any(a <= 0.01 * t and 0.01 * t + 0.025 <= b for a, b in phrases_of(name))]
                for c in range(13):
                    error = math.sqrt(power([single[t][c] - fixed[t][c] for t in spoken]))
                    self.assertLess(error, CLEAN_ERROR, (sound, c))
        path = self.noisy("english_gb", 20)[0]
        single, fixed = (self.features(path, *path_of)[1] for path_of in ([], ["--fixed"]))
        for c in range(13):
            error = math.sqrt(power([a[c] - b[c] for a, b in zip(single, fixed)]))
            self.assertLess(error, NOISY_ERROR, c)

    # Marks

    def check_marks(self, sound, name, before, behind):
        """Frames of phrases, and of the 30 ms before them, without a mark; marks that lie farther than `before` and
        `behind` seconds from all phrases; all frames."""
        marks = read_marks(self.path("marks.csv"))
        phrases = phrases_of(name)
        missed = [t for t, mark in marks if mark != "speech" and
                  any(a - 0.03 <= t <= b for a, b in phrases)]
        outside = [t for t, mark in marks if mark == "speech" and
                   not any(a - before <= t <= b + behind for a, b in phrases)]
        return missed, outside, len(marks)

    def test_marks_cover_the_speech(self):
        for name in NAMES:
            for sound in (self.at_8000(name), os.path.join(SPEECH, name + ".flac")):
                for path in ([], ["--fixed"]):
                    self.done(sound, self.path("out.npy"), "--marks", self.path("marks.csv"), *path)
                    missed, outside, frames = self.check_marks(sound, name, 0.1, 0.5)
                    self.assertEqual(missed, [], (sound, path))
                    self.assertLess(len(outside) / frames, 0.12, (sound, path, outside))
                    self.assertEqual(frames, len(read_npy(self.path("out.npy"))[1]))
                    self.assertEqual([mark for _, mark in read_marks(self.path("marks.csv"))[:3]],
                                     ["undecided"] * 3)

    # Noise reduction

    def test_noise_is_reduced_and_speech_stays(self):
        for snr, least, loss in ((20, 21, 2.2), (10, 21, 4), (5, 21, 5.3)):
            for path in ([], ["--fixed"]):
                sound, mixed, speech = self.noisy("german", snr)
                self.done(sound, self.path("out.npy"), "--cleaned", self.path("cleaned.wav"), *path)
                rate, cleaned = read_wave(self.path("cleaned.wav"))
                self.assertEqual((rate, len(cleaned)), (8000, len(mixed)))
                pause = slice(int(3.45 * rate), int(3.85 * rate))
                spoken = [i for a, b in phrases_of("german") for i in range(int(a * rate), int(b * rate))]
                reduced = decibels(power(mixed[pause]) / power(cleaned[pause]))
                kept = decibels(power([cleaned[i] for i in spoken]) / power([speech[i] for i in spoken]))
                self.assertGreater(reduced, least, (snr, path))
                self.assertLess(abs(kept), loss, (snr, path))

    def test_clean_speech_passes(self):
        for path in ([], ["--fixed"]):
            self.done(self.at_8000("spanish"), self.path("out.npy"), "--cleaned", self.path("cleaned.wav"), *path)
            rate, speech = read_wave(self.at_8000("spanish"))
            cleaned = read_wave(self.path("cleaned.wav"))[1]
            self.assertEqual(len(cleaned), len(speech))
            spoken = [i for a, b in phrases_of("spanish") for i in range(int(a * rate), int(b * rate))]
            difference = power([cleaned[i] - speech[i] for i in spoken]) / power([speech[i] for i in spoken])
            # Sample n stands for sample n: a shift by one would leave some 5 dB.
            self.assertGreater(-decibels(difference), CLEAN_DISTANCE, path)

    def test_an_offset_is_taken_off(self):
        rate, speech = read_wave(self.at_8000("french"))
        write_pcm16(self.path("offset.wav"), [[x // 2 + 4000 for x in speech]], rate)
        for path in ([], ["--fixed"]):
            self.done(self.path("offset.wav"), self.path("out.npy"), "--cleaned", self.path("cleaned.wav"), *path)
            tail = read_wave(self.path("cleaned.wav"))[1][rate:]
            self.assertLess(abs(sum(tail) / len(tail)), 60, path)

    # Picture

    def test_picture(self):
        self.done(SENTENCE, self.path("out.npy"), "--picture", self.path("a.svg"))
        root = ElementTree.parse(self.path("a.svg")).getroot()
        groups = {group.find(SVG + "title").text.split(",")[0]: group for group in root.iter(SVG + "g")
                  if group.find(SVG + "title") is not None}
        self.assertEqual(sorted(groups), ["As recorded", "Behind noise reduction"])
        for group in groups.values():
            self.assertEqual(len(list(group.iter(SVG + "image"))), 1)
            bars = [box for box in group.iter(SVG + "rect") if box.get("class") == "speech"]
            self.assertGreaterEqual(len(bars), 3)
            self.assertLess(len(bars), 6)

    def test_memory_does_not_grow_with_the_sound(self):
        def peak(seconds):
            write_pcm16(self.path("long.wav"), [made_up(8000, 4) * (seconds // 4)], 8000)
            result = run_program(["/usr/bin/env", "python3", "-c",
                                  "import resource, subprocess, sys; subprocess.run(sys.argv[1:], check=True, "
                                  "capture_output=True); "
                                  "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)",
                                  PROGRAM, self.path("long.wav"), self.path("out.npy"), "--marks",
                                  self.path("marks.csv"), "--cleaned", self.path("cleaned.wav")])
            self.assertEqual(result.returncode, 0, result.stderr)
            return int(result.stdout)
        self.assertLess(peak(240) - peak(20), 1000)  # KiB; the sound alone has 3400 more

    # Input

    def refused(self, status, words, *arguments):
        result = run(*arguments)
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertEqual(result.stdout, "")
        line = result.stderr.split("\n")[0]
        self.assertTrue(line.startswith("aurora: "), result.stderr)
        self.assertIn(words, line)
        if status == 1:
            self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        for name in ("out.npy", "marks.csv", "a.svg"):
            self.assertFalse(os.path.exists(self.path(name)))

    def test_bad_input_is_one_line(self):
        out = self.path("out.npy")
        more = ["--marks", self.path("marks.csv"), "--picture", self.path("a.svg")]
        for rate in (11025, 22050, 44100, 48000):
            write_pcm16(self.path("a.wav"), [made_up(rate, 0.3)], rate)
            self.refused(1, f"{rate} Hz", self.path("a.wav"), out, *more)
        write_pcm16(self.path("none.wav"), [[]], 8000)
        self.refused(1, "none.wav: ", self.path("none.wav"), out, *more)
        self.refused(1, "missing.wav: ", self.path("missing.wav"), out)
        self.refused(1, "text.wav: ", self.write("text.wav", "no sound\n" * 100), out)
        self.refused(1, "empty.wav: ", self.write("empty.wav", ""), out)
        self.refused(1, self.folder + ": ", self.folder, out)
        self.refused(1, "", SENTENCE, self.path("no/such/folder.npy"))

    def test_wrong_use(self):
        out = self.path("out.npy")
        for arguments, words in (([], "no sound file"), ([SENTENCE], "one output"), ([SENTENCE, out, "x"], "one output"),
                                 ([SENTENCE, self.path("out.txt")], "format"),
                                 ([SENTENCE, out, "--picture", self.path("a.png")], ".svg"),
                                 ([SENTENCE, out, "--cleaned", self.path("a.xyz")], "no sound file"),
                                 ([SENTENCE, out, "--cleaned=-"], "no sound file"),
                                 ([SENTENCE, out, "--speed"], "--speed"), ([SENTENCE, out, "--block=0"], "--block"),
                                 ([SENTENCE, out, "--marks", out], "two outputs"),
                                 (["compare"], "one folder"), (["compare", "a", "--noise", "red"], "red")):
            self.refused(2, words, *arguments)
        write_pcm16(self.path("a.npy"), [made_up(8000, 1)], 8000)
        with open(self.path("a.npy"), "rb") as file:
            before = file.read()
        self.refused(2, "overwritten", self.path("a.npy"), self.path("a.npy"))
        with open(self.path("a.npy"), "rb") as file:
            self.assertEqual(file.read(), before)
        self.assertIn("usage: aurora", self.done("--help"))

    def test_nothing_is_written_over_by_a_failure(self):
        self.write("out.npy", "kept")
        self.assertEqual(run(self.path("missing.wav"), self.path("out.npy")).returncode, 1)
        with open(self.path("out.npy")) as file:
            self.assertEqual(file.read(), "kept")
        self.assertEqual(os.listdir(self.folder), ["out.npy"])

    def test_extremes_pass(self):
        square = [32767 if i // 8 % 2 else -32768 for i in range(12000)]
        for name, samples in (("silence", [0] * 12000), ("loudest", square), ("offset", [-32768] * 12000),
                              ("click", [0] * 6000 + [32767] + [0] * 6000),
                              ("high", [32767 * (-1) ** i for i in range(12000)]),
                              ("sudden", [0] * 6000 + square)):
            for rate in (8000, 16000):
                write_pcm16(self.path(name + ".wav"), [samples], rate)
                for path in ([], ["--fixed"]):
                    rows = self.features(self.path(name + ".wav"), *path)[1]
                    self.assertTrue(all(math.isfinite(x) for row in rows for x in row), (name, rate, path))
        # Every mel band and the energy count as 1, and no bias is learned from that.
        write_pcm16(self.path("silence.wav"), [[0] * 8000], 8000)
        for path in ([], ["--fixed"]):
            rows = self.features(self.path("silence.wav"), *path)[1]
            self.assertEqual({x for row in rows for x in row}, {0})

    def test_samples_that_are_no_numbers(self):
        samples = [x / 32768 for x in made_up(8000, 1)]
        samples[3000:3003] = [math.nan, math.inf, -1e30]
        data = b"".join(struct.pack("<f", x) for x in samples)
        self.write("a.wav", struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + len(data), b"WAVE", b"fmt ", 16, 3, 1, 8000,
                                        32000, 4, 32, b"data", len(data)) + data)
        for path in ([], ["--fixed"]):
            rows = self.features(self.path("a.wav"), *path)[1]
            self.assertTrue(all(math.isfinite(x) for row in rows for x in row))
        self.assertIn("note: ", self.done(self.path("a.wav"), self.path("out.npy")))

    def test_channels(self):
        left, right = made_up(8000, 1), made_up(8000, 1, seed=2)
        write_pcm16(self.path("left.wav"), [left], 8000)
        write_pcm16(self.path("both.wav"), [left, right], 8000)
        wanted = self.bytes_of(self.path("left.wav"))
        self.assertEqual(self.bytes_of(self.path("both.wav"), "--channel=first"), wanted)
        self.assertNotEqual(self.bytes_of(self.path("both.wav")), wanted)

    # Words in noise

    def test_words_in_noise(self):
        results = [run("compare", WORDS, "--noise=white", "--snr", snr, "--threads", threads)
                   for snr, threads in (("10", "2"), ("5", "1"))]
        accuracy = {}
        for result in results:
            self.assertEqual(result.returncode, 0, result.stderr)
            for line in result.stdout.splitlines():
                cells = line.rsplit(maxsplit=4)
                if cells and cells[-1][-2:-1] == ".":
                    row = [float(cell) for cell in cells[1:]]
                    # The clean words come in both runs, with other numbers of threads.
                    self.assertEqual(accuracy.setdefault(cells[0].strip(), row), row)
        plain, front_end, fixed, dropped = accuracy["clean"]
        self.assertGreater(min(plain, front_end, fixed, dropped), 90)
        for condition in ("white, 10 dB", "white, 5 dB"):
            plain, *others = accuracy[condition]
            self.assertGreater(min(others), plain + 15, accuracy)

    def test_compare_refuses_bad_folders(self):
        for folder, words in ((self.path("missing"), "missing"), (self.folder, "train")):
            result = run("compare", folder)
            self.assertEqual((result.returncode, result.stderr.count("\n")), (1, 1), result.stderr)
            self.assertIn(words, result.stderr)


# Root mean squares of the differences of a value: in phrases of clean speech, in all frames of a noisy sentence.
CLEAN_ERROR, NOISY_ERROR = 1, 0.5
CLEAN_DISTANCE = 10  # dB

if __name__ == "__main__":
    unittest.main()
