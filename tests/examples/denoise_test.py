"""denoise on real and made-up sound: usage: denoise_test.py PROGRAM SPEECH_FOLDER [unittest options]"""
import array
import base64
import csv
import math
import os
import random
import re
import resource
import signal
import subprocess
import sys
import unittest
import zlib
import xml.etree.ElementTree as ElementTree

sys.dont_write_bytecode = True
from feature_reference import made_up, write_pcm16
from program_test_case import ProgramTestCase, run_program
from wave_files import peak_memory, read_floats, read_wave, rounded, tone, write_floats, write_silence

PROGRAM, SPEECH = os.path.abspath(sys.argv.pop(1)), os.path.abspath(sys.argv.pop(1))
SENTENCE = os.path.join(SPEECH, "english_us.flac")
SVG = "{http://www.w3.org/2000/svg}"
WAYS = [["--gain", rule, *fixed] for rule in ("ephraim-malah", "wiener") for fixed in ([], ["--fixed"])]
UNCHANGED = ["--floor", "0"]


def run(*arguments, **options):
    return run_program([PROGRAM, *arguments], **options)


def run_binary(*arguments, input=None):
    """Exit status and both outputs, as bytes."""
    result = subprocess.run([PROGRAM, *arguments], input=input, capture_output=True, timeout=120)
    return result.returncode, result.stdout, result.stderr


def noise(count, deviation, seed=1):
    generator = random.Random(seed)
    return [generator.gauss(0, deviation) for _ in range(count)]


def pixels_of(address):
    """The bytes of a picture of 256 colours, each row behind its filter's number, 0."""
    content = base64.b64decode(address.split(",")[1])
    at, packed = 8, b""
    while at < len(content):
        size, kind = int.from_bytes(content[at:at + 4], "big"), content[at + 4:at + 8]
        packed += content[at + 8:at + 8 + size] if kind == b"IDAT" else b""
        at += size + 12
    return zlib.decompress(packed)


def level(samples):
    """Mean square in dB."""
    return 10 * math.log10(max(sum(x * x for x in samples) / len(samples), 1e-12))


class DenoiseTest(ProgramTestCase):
    command = [PROGRAM]
    old = "old.wav"

    def bytes_of(self, sound, *options, name="out.wav"):
        self.done(sound, self.path(name), *options)
        return self.content(name)

    def cleaned(self, samples, *options, rate=8000):
        """16-bit samples through the program."""
        write_pcm16(self.path("a.wav"), [samples], rate)
        self.done(self.path("a.wav"), self.path("b.wav"), *options)
        (found,) = read_wave(self.path("b.wav"))[2]
        self.assertEqual(len(found), len(samples))
        return found

    # Where nothing is to be removed

    def test_samples_come_back_without_delay(self):
        samples = made_up(8000, 0.7)
        for rate in (8000, 16000, 44100, 192000):
            self.assertEqual(self.cleaned(samples, *UNCHANGED, rate=rate), samples)
            self.assertEqual(self.cleaned(samples, *UNCHANGED, "--gain=wiener", rate=rate), samples)
            found = self.cleaned(samples, *UNCHANGED, "--fixed", rate=rate)
            self.assertLessEqual(max(abs(x - y) for x, y in zip(samples, found)), 1, rate)

    def test_single_precision_comes_back_within_its_rounding(self):
        samples = [x / 32768 for x in made_up(8000, 0.7)]
        write_floats(self.path("a.wav"), samples, 8000)
        self.done(self.path("a.wav"), self.path("b.wav"), *UNCHANGED)
        (found,) = read_floats(self.path("b.wav"))
        self.assertLess(max(abs(x - y) for x, y in zip(samples, found)), 2e-7)

    def test_the_loudest_and_the_faintest_samples_come_back(self):
        loud = [32767 if i // 20 % 2 else -32768 for i in range(3000)]
        # Faint frames fill the bits of fixed point, too: nothing is lost there.
        faint = [(i * i // 7) % 41 - 20 for i in range(3000)]
        for samples, tolerance in ((loud, 1), ([32767] * 3000, 1), (faint, 0)):
            self.assertEqual(self.cleaned(samples, *UNCHANGED), samples)
            found = self.cleaned(samples, *UNCHANGED, "--fixed")
            self.assertLessEqual(max(abs(x - y) for x, y in zip(samples, found)), tolerance)

    def test_any_number_of_samples(self):
        for count in (1, 2, 63, 64, 65, 255, 256, 257, 3999, 4000, 4001):
            samples = made_up(8000, 0.6)[:count]
            self.assertEqual(self.cleaned(samples, *UNCHANGED), samples)
            for way in WAYS:
                self.cleaned(samples, *way)

    # What is removed

    def test_segmental_snr_rises_by_5_db(self):
        self.done("measure", *(os.path.join(SPEECH, name + ".flac") for name in ("english_us", "german", "finnish")),
                  "--csv", self.path("m.csv"))
        with open(self.path("m.csv"), newline="") as file:
            rows = list(csv.DictReader(file))
        table = {(row["noise"], int(row["snr"]), row["way"]): row for row in rows}
        ours = ["ephraim-malah", "wiener", "ephraim-malah --fixed", "wiener --fixed"]
        self.assertEqual(sorted({key[0] for key in table}), ["babble", "pink", "tone", "white"])
        self.assertEqual(len(rows), 16 * len({key[2] for key in table}))
        gained = lambda *key: float(table[key]["after"]) - float(table[key]["before"])
        for way in ours:
            for kind in ("white", "pink", "tone"):
                self.assertGreater(gained(kind, 5, way), 5, (kind, way))
                self.assertGreater(float(table[kind, 5, way]["pauses"]), 14, (kind, way))
            for kind in ("white", "pink", "tone", "babble"):
                for snr in (15, 10, 5, 0):
                    self.assertGreater(gained(kind, snr, way), -0.5 if kind == "babble" else 0, (kind, snr, way))
                    other = way.replace(" --fixed", "")
                    self.assertLess(abs(gained(kind, snr, way) - gained(kind, snr, other)), 0.1, (kind, snr, way))
                    if other != way:  # and measured by itself
                        self.assertNotEqual(table[kind, snr, way]["pauses"], table[kind, snr, other]["pauses"])
        # Mixed as stated: segmental values lie below the mean, and fall with it.
        for kind in ("white", "pink"):
            before = [float(table[kind, snr, ours[0]]["before"]) for snr in (15, 10, 5, 0)]
            for first, second in zip(before, before[1:]):
                self.assertTrue(3.5 < first - second < 5.5, before)

    def test_noise_alone_falls_to_the_floor(self):
        for rate in (8000, 44100):
            samples = rounded(noise(2 * rate, 300))
            for way in WAYS:
                for floor in (10, 20):
                    found = self.cleaned(samples, *way, f"--floor={floor}", rate=rate)
                    lost = level(samples[rate:]) - level(found[rate:])
                    self.assertTrue(floor - 5 < lost < floor + 0.1, (rate, way, floor, lost))

    def test_fixed_point_follows_levels(self):
        # Close to the rounding of 16 bits, and to full scale.
        for deviation in (3, 30, 300, 3000, 9000):
            samples = rounded(max(-32768, min(32767, x)) for x in noise(16000, deviation))
            single, fixed = (self.cleaned(samples, *way)[8000:] for way in ([], ["--fixed"]))
            self.assertGreater(level(samples[8000:]) - level(single), 14, deviation)
            self.assertLess(abs(level(single) - level(fixed)), 1, deviation)

    def test_fixed_point_finds_noise_that_changes_a_lot(self):
        deviations = (3, 6000, 1, 0, 4000)
        samples = rounded(x for seed, deviation in enumerate(deviations) for x in noise(32000, deviation, seed))
        for way in ([], ["--fixed"]):
            found = self.cleaned(samples, *way)
            for part, deviation in enumerate(deviations):
                last = slice(32000 * part + 28000, 32000 * part + 31500)
                if deviation == 0:
                    self.assertEqual(set(found[last]), {0}, way)
                else:
                    self.assertGreater(level(samples[last]) - level(found[last]), 12, (way, part))

    def test_fixed_point_is_close_to_single_precision(self):
        speech = self.sentence()
        samples = rounded(x + y for x, y in zip(speech, noise(len(speech), 1500)))
        for way, closest in ([], 38), (["--gain=wiener"], 42):
            single, fixed = (self.cleaned(samples, *way, *more, rate=16000) for more in ([], ["--fixed"]))
            difference = level([x - y for x, y in zip(single, fixed)])
            self.assertGreater(level(single) - difference, closest, way)

    def sentence(self):
        self.done(SENTENCE, self.path("s.wav"), *UNCHANGED)
        (speech,) = read_wave(self.path("s.wav"))[2]
        return speech

    def test_speech_without_noise_stays(self):
        speech = self.sentence()
        for way in WAYS:
            found = self.cleaned(speech, *way, rate=16000)
            self.assertGreater(level(speech) - level([x - y for x, y in zip(speech, found)]), 18, way)

    def test_a_tone_that_begins_late_is_no_noise(self):
        samples = rounded(x + y for x, y in zip(noise(16000, 100), [0] * 8000 + tone(1000, 8000, 8000, 5000)))
        for way in WAYS:
            found = self.cleaned(samples, *way)
            self.assertLess(abs(level(found[8100:12000]) - level(samples[8100:12000])), 0.5, way)

    def test_silence_stays(self):
        for way in WAYS:
            self.assertEqual(set(self.cleaned([0] * 9000, *way)), {0})

    def test_channels_do_not_mix(self):
        left, right = made_up(8000, 1), rounded(noise(8000, 500))
        write_pcm16(self.path("both.wav"), [left, right, [0] * 8000], 8000)
        for way in ([], ["--fixed"]):
            self.done(self.path("both.wav"), self.path("out.wav"), *way)
            rate, width, found = read_wave(self.path("out.wav"))
            self.assertEqual((rate, width), (8000, 2))
            for samples, alone in zip((left, right, [0] * 8000), found):
                self.assertEqual(self.cleaned(samples, *way), alone)

    # Streaming

    def test_any_block_size_gives_the_same_bits(self):
        write_pcm16(self.path("a.wav"), [made_up(8000, 1.3), made_up(8000, 1.3, seed=2)], 8000)
        for way in ([], ["--fixed"]):
            whole = self.bytes_of(self.path("a.wav"), "--block=1000000", *way)
            for block in ("1", "64", "777", "4000", "4001"):
                self.assertEqual(self.bytes_of(self.path("a.wav"), "--block", block, *way), whole)

    def test_pipes_carry_the_same_samples(self):
        # Three channels of 16 bits: what a pipe hands over at once ends within a sample of them.
        channels = [made_up(11025, 1.3, seed) for seed in (1, 2)] + [rounded(noise(14332, 500))]
        write_pcm16(self.path("a.wav"), channels, 11025)
        raw = array.array("h", (x for samples in zip(*channels) for x in samples)).tobytes()
        options = ["--rate=11025", "--channels=3"]
        for way in ([], ["--fixed"]):
            wanted = self.bytes_of(self.path("a.wav"), *way)
            for block in ("--block=1000", "--block=100000"):
                result = run_binary("-", "-", *options, block, *way, input=raw)
                self.assertEqual((result[0], result[2]), (0, b""))
                self.assertEqual(result[1], wanted[44:])
            status, output, _ = run_binary("-", self.path("c.wav"), *options, *way, input=raw)
            self.assertEqual((status, self.content("c.wav")), (0, wanted))
            self.assertIn(b"c.wav: 14332 samples of 11025 Hz, 3 channels; WAV", output)
            self.assertEqual(run_binary(self.path("a.wav"), "-", *way)[1], wanted[44:])

    def test_memory_does_not_grow_with_the_sound(self):
        def peak(seconds, *options):
            found, status = peak_memory([PROGRAM, write_silence(self.path("long.wav"), seconds), self.path("out.wav"),
                                         *options], "denoise")
            self.assertEqual(status, 0)
            self.assertEqual(os.path.getsize(self.path("out.wav")), 44 + 2 * 8000 * seconds)
            self.assertGreater(found, 1000)
            return found

        # Twenty minutes: 19 MB in 16 bits, twice as much in single precision.
        for options in ([], ["--fixed"], ["--picture", self.path("p.svg")]):
            self.assertLess(peak(1200, *options) - peak(150, *options), 3000, options)

    def test_long_sound_shows_progress(self):
        result = run(write_silence(self.path("long.wav"), 70), self.path("out.wav"))
        self.assertEqual((result.returncode, result.stderr.count("\n")), (0, 1))
        self.assertIn("long.wav: 70 of 70 s (100 %)", result.stderr)

    # Pictures

    def tracks_of(self, path):
        """The lines of levels: pairs of seconds and dB, by name."""
        root = ElementTree.parse(path).getroot()
        group, = (g for g in root.iter(SVG + "g") if g.get("class") == "tracks")
        scale = {"x": [], "y": []}
        for text in group.findall(SVG + "text"):
            if text.get("class") == "tick" and re.fullmatch(r"-?[\d.]+", text.text):
                axis = "y" if text.get("text-anchor") == "end" else "x"
                scale[axis].append((float(text.get(axis)) - (4 if axis == "y" else 0), float(text.text)))
        def value(axis, place):
            (a, va), (b, vb) = scale[axis][0], scale[axis][-1]
            return va + (place - a) / (b - a) * (vb - va)
        lines = {}
        for line in group.iter(SVG + "path"):
            places = [float(x) for x in re.findall(r"-?[\d.]+", line.get("d"))]
            lines[line.get("class")] = [(value("x", x), value("y", y)) for x, y in zip(places[::2], places[1::2])]
        return lines

    def spectrograms_of(self, path):
        images = list(ElementTree.parse(path).getroot().iter(SVG + "image"))
        self.assertEqual(len(images), 2)
        return [pixels_of(image.get("{http://www.w3.org/1999/xlink}href")) for image in images]

    def test_picture_has_the_noise_estimate(self):
        # 4 s, with tones from the second to the third.
        hiss, sine = noise(32000, 328), tone(700, 8000, 8000, 6000)
        write_pcm16(self.path("a.wav"), [rounded(x + (sine[i - 16000] if 16000 <= i < 24000 else 0)
                                                 for i, x in enumerate(hiss))], 8000)
        for way in ([], ["--fixed"]):
            with_picture = self.bytes_of(self.path("a.wav"), "--picture", self.path("p.svg"), *way)
            self.assertEqual(with_picture, self.bytes_of(self.path("a.wav"), *way))
            lines = self.tracks_of(self.path("p.svg"))
            self.assertEqual(sorted(lines), ["cleaned", "noise", "sound"])
            for seconds, decibels in lines["noise"]:
                # A little of the tone's skirts counts as noise.
                self.assertLess(abs(decibels + 40), 4 if 2 < seconds < 3.5 else 2, (way, seconds))
            at = lambda name, time: min(lines[name], key=lambda point: abs(point[0] - time))[1]
            self.assertLess(abs(at("sound", 2.5) - 20 * math.log10(6000 / 32768) + 3), 0.5)
            self.assertLess(abs(at("cleaned", 2.5) - at("sound", 2.5)), 0.5)
            self.assertLess(at("cleaned", 1.5), -52)
            self.assertLess(abs(lines["sound"][-1][0] - 4), 0.05)
            before, after = self.spectrograms_of(self.path("p.svg"))
            # 40 dB and 60 dB below the tone, of 70 that are shown.
            self.assertLess(3 * sum(after), sum(before))
            self.assertEqual(max(before), 255)
            self.assertGreater(max(after), 250)
            with open(self.path("p.svg")) as file:
                self.assertNotRegex(file.read(), r"\b(nan|inf)\b")

    def test_picture_of_silence_is_blank(self):
        pictures = []
        for value in (0, 1000):
            write_pcm16(self.path("a.wav"), [[value * (i % 2) for i in range(9000)]], 8000)
            self.done(self.path("a.wav"), self.path("b.wav"), "--picture", self.path("p.svg"))
            pictures += self.spectrograms_of(self.path("p.svg"))
        self.assertEqual([set(pixels) for pixels in pictures[:2]], [{0}, {0}])
        self.assertTrue(all(max(pixels) > 100 for pixels in pictures[2:]))

    # Formats

    def test_container_and_sample_format_are_kept(self):
        write_pcm16(self.path("a.wav"), [made_up(8000, 0.6)] * 2, 8000)
        for name, sample_format, words in (("a.flac", "s24", "FLAC .*, Signed 24 bit PCM"),
                                           ("a.au", "ulaw", "AU .*, U-Law"), ("b.wav", "float", "WAV .*, 32 bit float"),
                                           ("a.ogg", "vorbis", "OGG .*, Vorbis")):
            self.done(self.path("a.wav"), self.path(name), *UNCHANGED, "--samples", sample_format)
            for way in ([], ["--fixed", "--gain=wiener"]):
                text = self.done(self.path(name), self.path("kept"), *way)
                self.assertRegex(text, r"kept: 4800 samples of 8000 Hz, 2 channels; " + words)

    def test_endings_and_options_choose_the_container(self):
        self.assertIn("; FLAC", self.done(SENTENCE, self.path("a")))
        self.assertIn("; WAV (Microsoft), Signed 16", self.done(SENTENCE, self.path("a.WAV")))
        self.assertIn("; AU", self.done(SENTENCE, self.path("a.wav"), "--container=au"))

    def test_summary(self):
        write_pcm16(self.path("a.wav"), [made_up(8000, 0.5)], 8000)
        self.assertEqual(self.done(self.path("a.wav"), self.path("b.wav"), "--fixed", "--gain=wiener", "--floor=12.5"),
                         self.path("b.wav") + ": 4000 samples of 8000 Hz, 1 channel; WAV (Microsoft), "
                         "Signed 16 bit PCM; wiener gain of -12.5 dB at least, in fixed point\n")

    def test_clipping_is_counted(self):
        write_floats(self.path("a.wav"), tone(440, 8000, 8000, 1.25), 8000)
        for way in ([], ["--fixed"]):
            text = self.done(self.path("a.wav"), self.path("b.wav"), "--samples=s16", *UNCHANGED, *way)
            (found,) = read_wave(self.path("b.wav"))[2]
            limits = sum(x in (32767, -32768) for x in found)
            counted = int(re.search(r"\n  note: (\d+) samples limited to full scale\n", text).group(1))
            self.assertTrue(0.35 * 8000 < counted <= limits < 0.45 * 8000, (counted, limits))

    def test_samples_that_are_no_numbers_are_noted(self):
        samples = [x / 32768 for x in made_up(8000, 0.7)]
        for place, wrong in ((1000, math.nan), (3000, math.inf), (3001, -1e30)):
            samples[place] = wrong
        write_floats(self.path("a.wav"), samples, 8000)
        for way in ([], ["--fixed"]):
            text = self.done(self.path("a.wav"), self.path("b.wav"), *UNCHANGED, *way)
            self.assertIn("\n  note: 3 samples not a number", text)
            (found,) = read_floats(self.path("b.wav"))
            self.assertLess(max(abs(x - y) for x, y in zip(samples[3500:], found[3500:])), 4e-5)
            self.assertLess(max(abs(x) for x in found), 1)

    # Failures

    def test_bad_sounds_are_refused(self):
        open(self.path("empty.wav"), "w").close()
        with open(self.path("text.wav"), "w") as file:
            file.write("no sound at all\n" * 100)
        write_pcm16(self.path("none.wav"), [[]], 8000)
        write_pcm16(self.path("slow.wav"), [[1]], 7999)
        write_pcm16(self.path("fast.wav"), [[1]], 192001)
        for name, reason in (("missing.wav", "no such file"), ("empty.wav", "is empty"), (".", "is a directory"),
                             ("text.wav", "not a sound file"), ("none.wav", "holds no samples"),
                             ("slow.wav", "has a sample rate of 7999 Hz"),
                             ("fast.wav", "has a sample rate of 192001 Hz")):
            for picture in ([], ["--picture", self.path("p.svg")]):
                with self.subTest(name):
                    self.check_refused(self.path(name), self.path("old.wav"), *picture, reason=reason)

    def test_bad_pipes_are_refused(self):
        for content, reason in ((b"", "standard input: holds no samples"), (b"123", "ends within a sample")):
            with open(self.path("raw"), "wb") as file:
                file.write(content)
            with open(self.path("raw"), "rb") as file:
                self.check_refused("-", self.path("old.wav"), "--rate=8000", stdin=file, reason=reason)
        with open("/dev/full", "wb") as full:
            result = subprocess.run([PROGRAM, SENTENCE, "-"], stdout=full, stderr=subprocess.PIPE, timeout=60)
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr.decode(), r"\Adenoise: .*cannot write standard output: No space left.*\n\Z")

    def test_measuring_needs_speech(self):
        write_pcm16(self.path("quiet.wav"), [[0] * 8000], 8000)
        open(self.path("empty.wav"), "w").close()
        write_pcm16(self.path("slow.wav"), [[1] * 8000], 4000)
        write_pcm16(self.path("short.wav"), [[1000] * 159], 8000)
        old = ["--csv", self.path("old.wav")]
        self.check_refused("measure", self.path("quiet.wav"), *old, reason="quiet.wav: is silent")
        self.check_refused("measure", self.path("short.wav"), *old, reason="short.wav: is shorter than a frame")
        self.check_refused("measure", self.path("slow.wav"), *old, reason="slow.wav: has a sample rate of 4000 Hz")
        for name, reason in (("empty.wav", "is empty"), ("missing.wav", "no such file"), (".", "is a directory")):
            self.check_refused("measure", self.path(name), *old, reason=reason)
            self.check_refused("measure", SENTENCE, self.path(name), *old, reason=reason)
        self.check_refused("measure", *old, cwd=self.folder, status=2, reason="there are none in examples/speech")

    def test_wrong_use(self):
        out, picture = self.path("old.wav"), self.path("p.svg")
        for arguments in ([], [SENTENCE], [SENTENCE, out, out], [SENTENCE, out, "--gain"],
                          [SENTENCE, out, "--gain=best"], [SENTENCE, out, "--floor=-1"], [SENTENCE, out, "--floor=61"],
                          [SENTENCE, out, "--floor=nan"], [SENTENCE, out, "--container=gif"],
                          [SENTENCE, out, "--samples=s17"], [SENTENCE, out, "--block=0"], [SENTENCE, out, "--none"],
                          [SENTENCE, out, "--rate=8000"], [SENTENCE, out, "--channels=1"], ["-", out],
                          ["-", out, "--rate=7999"], ["-", out, "--rate=8000", "--channels=0"],
                          [SENTENCE, "-", "--samples=s16"], [SENTENCE, out, "--csv", picture],
                          [SENTENCE, out, "--picture", out], [SENTENCE, out, "--picture", SENTENCE],
                          ["measure", SENTENCE, "--gain=wiener"], ["measure", SENTENCE, "--fixed"],
                          ["measure", SENTENCE, "--picture", picture]):
            self.check_refused(*arguments, status=2)

    def test_the_sound_file_is_not_overwritten(self):
        write_pcm16(self.path("a.wav"), [made_up(8000, 0.2)], 8000)
        os.symlink(self.path("a.wav"), self.path("b.wav"))
        before = self.content("a.wav")
        for name in ("a.wav", "b.wav"):
            self.check_refused(self.path("a.wav"), self.path(name), status=2, reason="overwritten")
            self.check_refused("measure", self.path("a.wav"), "--csv", self.path(name), status=2, reason="overwritten")
        self.assertEqual(self.content("a.wav"), before)

    def test_the_picture_does_not_take_the_place_of_the_result(self):
        os.symlink(self.folder, self.path("way"))
        for out in ("old.wav", "new.wav"):
            for picture in (out, "./" + out, "way/" + out, self.path(out)):
                self.check_refused(SENTENCE, out, "--picture", picture, cwd=self.folder, status=2, reason="overwrite")

    def test_outputs_that_cannot_be_written(self):
        for out, reason in ((self.path("none/a.wav"), "No such file"), (self.folder, "is a directory"),
                            ("/dev/full", "is not a regular file")):
            self.check_refused(SENTENCE, out, reason="cannot write .*" + reason)
        self.check_refused(SENTENCE, self.path("old.wav"), "--picture", self.path("none/a.svg"), reason="cannot write")
        self.check_refused("measure", SENTENCE, "--csv", self.path("none/a.csv"), reason="cannot write")

    def test_full_disk_leaves_the_old_output(self):
        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (12000, 12000))

        for name in ("old.wav", "new.flac"):
            self.check_refused(SENTENCE, self.path(name), reason="cannot write .*File too large", preexec_fn=limit)

    def test_truncated_sound_is_cleaned_with_a_note(self):
        with open(SENTENCE, "rb") as file:
            content = file.read()
        with open(self.path("a.flac"), "wb") as file:
            file.write(content[:len(content) // 2])
        self.assertIn("\n  note: the file ends early", self.done(self.path("a.flac"), self.path("a.wav")))

    def test_help(self):
        output = self.done("--help")
        for name in ("usage: denoise SOUND OUT", "\n  --gain RULE", "\n  --fixed", "denoise measure"):
            self.assertIn(name, output)


if __name__ == "__main__":
    unittest.main()
