"""resample on real and made-up sound: usage: resample_test.py PROGRAM SPEECH_FOLDER [unittest options]"""
import math
import os
import re
import resource
import signal
import sys
import unittest
import xml.etree.ElementTree as ElementTree

sys.dont_write_bytecode = True
from feature_reference import made_up, write_pcm16
from program_test_case import ProgramTestCase, run_program
from wave_files import peak_memory, read_floats, read_wave, rounded, tone, write_floats, write_silence

PROGRAM, SPEECH = os.path.abspath(sys.argv.pop(1)), os.path.abspath(sys.argv.pop(1))
SENTENCE = os.path.join(SPEECH, "english_us.flac")
SVG = "{http://www.w3.org/2000/svg}"


def run(*arguments, **options):
    return run_program([PROGRAM, *arguments], **options)


class ResampleTest(ProgramTestCase):
    command = [PROGRAM]
    old = "old.wav"

    def bytes_of(self, sound, rate, *options, name="out.wav"):
        self.done(sound, self.path(name), "--rate", str(rate), *options)
        with open(self.path(name), "rb") as file:
            return file.read()

    # Values

    def test_tones_keep_time_and_height(self):
        # The first and last samples feel the silence around the sound.
        for rate, to in ((44100, 16000), (48000, 16000), (16000, 44100), (8000, 16000), (16000, 15999),
                         (44100, 800000), (96000, 8000)):
            count = rate // 4 + 3
            write_floats(self.path("a.wav"), tone(440, rate, count, 0.5), rate)
            for quality, tolerance in (("low", 1e-3), ("medium", 1e-4), ("high", 3e-6)):
                self.done(self.path("a.wav"), self.path("b.wav"), "--rate", str(to), "--quality", quality)
                found, = read_floats(self.path("b.wav"))
                self.assertEqual(len(found), -(-count * to // rate))
                edge = 140 * to // min(rate, to)
                wanted = tone(440, to, len(found), 0.5)
                worst = max(abs(x - y) for x, y in zip(found[edge:-edge], wanted[edge:-edge]))
                self.assertLess(worst, tolerance, (rate, to, quality))

    def test_sixteen_bits_are_close_to_floating_point(self):
        for rate, to in ((44100, 16000), (8000, 44100), (16000, 15999)):
            write_pcm16(self.path("a.wav"), [made_up(rate, 0.5)], rate)
            for quality, steps in (("low", 4), ("medium", 1), ("high", 1)):
                self.done(self.path("a.wav"), self.path("b.wav"), f"--rate={to}", "--quality", quality)
                self.done(self.path("a.wav"), self.path("c.wav"), f"--rate={to}", "--quality", quality, "--fixed")
                (b,), (c,) = read_wave(self.path("b.wav"))[2], read_wave(self.path("c.wav"))[2]
                self.assertEqual(len(b), len(c))
                self.assertLessEqual(max(abs(x - y) for x, y in zip(b, c)), steps, (rate, to, quality))
                self.assertGreater(max(b), 4000)

    def test_channels_do_not_mix(self):
        left, right = made_up(8000, 0.3), rounded(tone(1000, 8000, 2400))
        write_pcm16(self.path("both.wav"), [left, right, [0] * 2400], 8000)
        for path in ([], ["--fixed"]):
            self.done(self.path("both.wav"), self.path("out.wav"), "--rate=11025", *path)
            found = read_wave(self.path("out.wav"))[2]
            for c, samples in enumerate((left, right)):
                write_pcm16(self.path("one.wav"), [samples], 8000)
                self.done(self.path("one.wav"), self.path("alone.wav"), "--rate=11025", *path)
                self.assertEqual(read_wave(self.path("alone.wav"))[2], [found[c]])
            self.assertEqual(set(found[2]), {0})

    def test_constants_stay(self):
        write_pcm16(self.path("a.wav"), [[10000] * 8000], 8000)
        for to in (11025, 7999, 2000, 48000):
            for path in ([], ["--fixed"]):
                self.done(self.path("a.wav"), self.path("b.wav"), f"--rate={to}", *path)
                (found,) = read_wave(self.path("b.wav"))[2]
                middle = found[len(found) // 4:-len(found) // 4]
                self.assertLessEqual(max(abs(x - 10000) for x in middle), 2, (to, path))

    def test_the_same_rate_copies(self):
        samples = made_up(8000, 0.3) + [32767, -32768]
        write_pcm16(self.path("a.wav"), [samples, samples[::-1]], 8000)
        for path in ([], ["--fixed"]):
            for name in ("b.wav", "b.flac", "b.aiff"):
                self.assertIn(", copied", self.done(self.path("a.wav"), self.path(name), "--rate=8000", *path))
                self.done(self.path(name), self.path("c.wav"), "--rate=8000")
                self.assertEqual(read_wave(self.path("c.wav"))[2], [samples, samples[::-1]])

    def test_few_samples(self):
        for count in (1, 2, 3, 100):
            write_pcm16(self.path("a.wav"), [[1000] * count], 8000)
            for to in (100, 7999, 8001, 44100, 1000000):
                for path in ([], ["--fixed"]):
                    self.done(self.path("a.wav"), self.path("b.wav"), f"--rate={to}", *path)
                    self.assertEqual(len(read_wave(self.path("b.wav"))[2][0]), -(-count * to // 8000))

    def test_the_widest_rates(self):
        for rate, to in ((1000000, 100), (100, 1000000)):
            write_pcm16(self.path("a.wav"), [[1000] * 1234, [-500] * 1234], rate)
            for path in ([], ["--fixed", "--quality=high"]):
                self.done(self.path("a.wav"), self.path("b.wav"), f"--rate={to}", "--block=1000", *path)
                left, right = read_wave(self.path("b.wav"))[2]
                self.assertEqual((len(left), len(right)), (-(-1234 * to // rate),) * 2)
            if to > rate:
                self.assertLessEqual(abs(left[len(left) // 2] - 1000), 1)

    # Quality: what examples/resample/README.md states.

    def test_presets_are_as_good_as_stated(self):
        for options, limits in (([], {"low": (0.009, 60, 68, 74), "medium": (0.001, 82, 90, 102),
                                      "high": (0.0001, 110, 125, 135)}),
                                (["--fixed"], {"low": (0.009, 60, 67, 70), "medium": (0.001, 82, 85, 93),
                                               "high": (0.0001, 110, 88, 93)})):
            pairs = ["44100:16000", "48000:16000", "16000:44100", "8000:16000"]
            text = self.done("--measure", *pairs, *options)
            rows = re.findall(r"\n  (\w+) +\d+ Hz +([\d.]+) dB +([\d.]+) dB +([\d.]+) dB +([\d.]+) dB", text)
            self.assertEqual(len(rows), 12)
            for name, *numbers in rows:
                with self.subTest(name + "".join(options)):
                    ripple, *others = map(float, numbers)
                    self.assertLess(ripple, limits[name][0], text)
                    for found, least in zip(others, limits[name][1:]):
                        self.assertGreaterEqual(found, least, text)

    # By the files alone: what a tone above the output's Nyquist frequency leaves behind.
    def test_aliases_are_attenuated(self):
        write_floats(self.path("a.wav"), tone(9000, 44100, 44100, 0.5), 44100)
        for quality, most in (("low", -59), ("medium", -80), ("high", -110)):
            self.done(self.path("a.wav"), self.path("b.wav"), "--rate=16000", "--quality", quality)
            (found,) = read_floats(self.path("b.wav"))
            found = found[400:-400]
            level = math.sqrt(2 * sum(x * x for x in found) / len(found)) / 0.5
            self.assertLess(20 * math.log10(max(level, 1e-12)), most)

    def test_picture_of_responses(self):
        self.done("--measure", "8000:16000", "--picture", self.path("a.svg"))
        root = ElementTree.parse(self.path("a.svg")).getroot()
        curves = [group.get("class") for group in root.iter(SVG + "g")]
        self.assertEqual([name for name in curves if name in ("low", "medium", "high")], ["low", "medium", "high"])
        with open(self.path("a.svg")) as file:
            self.assertNotRegex(file.read(), r"\b(nan|inf)\b")

    # Streaming

    def test_any_block_size_gives_the_same_bits(self):
        write_pcm16(self.path("a.wav"), [made_up(8000, 0.4), made_up(8000, 0.4, seed=2)], 8000)
        for rate in (11025, 3000, 7999):
            for path in ([], ["--fixed"]):
                whole = self.bytes_of(self.path("a.wav"), rate, "--block=1000000", *path)
                for block in ("1", "7", "300", "2999"):
                    self.assertEqual(self.bytes_of(self.path("a.wav"), rate, "--block", block, *path), whole)

    def test_memory_does_not_grow_with_the_sound(self):
        def peak(seconds, *options):
            found, status = peak_memory([PROGRAM, write_silence(self.path("long.wav"), seconds), self.path("out.wav"),
                                         "--rate=16000", *options], "resample")
            self.assertEqual(status, 0)
            self.assertEqual(os.path.getsize(self.path("out.wav")), 44 + 2 * 16000 * seconds)
            self.assertGreater(found, 1000)
            return found

        # Half an hour in and out: 29 and 58 MB in 16 bits, twice as much in single precision.
        for options in ([], ["--fixed"]):
            self.assertLess(peak(1800, *options) - peak(200, *options), 3000, options)

    def test_long_sound_shows_progress(self):
        result = run(write_silence(self.path("long.wav"), 70), self.path("out.wav"), "--rate=4000", "--quality=low")
        self.assertEqual((result.returncode, result.stderr.count("\n")), (0, 1))
        self.assertIn("long.wav: 70 of 70 s (100 %)", result.stderr)

    # Formats

    def test_container_and_sample_format_are_kept(self):
        write_pcm16(self.path("a.wav"), [made_up(8000, 0.3)] * 2, 8000)
        for name, sample_format, words in (("a.flac", "s16", "FLAC .*, Signed 16 bit PCM"),
                                           ("a.flac", "s24", "FLAC .*, Signed 24 bit PCM"),
                                           ("a.aiff", "s32", "AIFF .*, Signed 32 bit PCM"),
                                           ("a.au", "ulaw", "AU .*, U-Law"), ("a.caf", "alaw", "CAF .*, A-Law"),
                                           ("b.wav", "u8", "WAV .*, Unsigned 8 bit PCM"),
                                           ("b.wav", "float", "WAV .*, 32 bit float"),
                                           ("b.w64", "double", "W64 .*, 64 bit float"),
                                           ("a.ogg", "vorbis", "OGG .*, Vorbis")):
            for path in ([], ["--fixed"]):
                self.done(self.path("a.wav"), self.path(name), "--rate=8000", "--samples", sample_format)
                text = self.done(self.path(name), self.path("kept"), "--rate=16000", *path)
                self.assertRegex(text, r"kept: 4800 samples of 16000 Hz, 2 channels; " + words)

    def test_endings_and_options_choose_the_container(self):
        self.assertIn("; FLAC", self.done(SENTENCE, self.path("a"), "--rate=8000"))
        self.assertIn("; WAV (Microsoft), Signed 16", self.done(SENTENCE, self.path("a.WAV"), "--rate=8000"))
        self.assertIn("; AU", self.done(SENTENCE, self.path("a.wav"), "--rate=8000", "--container=au"))
        self.assertIn("; OGG (OGG Container format), Vorbis", self.done(SENTENCE, self.path("a.ogg"), "--rate=8000"))
        self.assertIn(", 32 bit float", self.done(SENTENCE, self.path("b.wav"), "--rate=8000", "--samples=float"))
        self.assertIn("; FLAC (Free Lossless Audio Codec), Signed 16 bit PCM",
                      self.done(self.path("b.wav"), self.path("b.flac"), "--rate=16000"))

    def test_samples_of_other_widths_have_the_same_height(self):
        samples = rounded(tone(440, 8000, 4000))
        write_pcm16(self.path("a.wav"), [samples], 8000)
        for sample_format, tolerance in (("u8", 129), ("s24", 0), ("s32", 0), ("float", 0), ("ulaw", 520),
                                         ("alaw", 520)):
            for path in ([], ["--fixed"]):
                self.done(self.path("a.wav"), self.path("b.wav"), "--rate=8000", "--samples", sample_format, *path)
                self.done(self.path("b.wav"), self.path("c.wav"), "--rate=8000", "--samples=s16")
                (found,) = read_wave(self.path("c.wav"))[2]
                self.assertLessEqual(max(abs(x - y) for x, y in zip(samples, found)), tolerance, sample_format)

    def test_summary(self):
        write_pcm16(self.path("a.wav"), [made_up(8000, 0.5)], 8000)
        self.assertEqual(self.done(self.path("a.wav"), self.path("b.wav"), "--rate=16000", "--quality=high"),
                         self.path("b.wav") + ": 8000 samples of 16000 Hz, 1 channel; WAV (Microsoft), "
                         "Signed 16 bit PCM; from 8000 Hz, high quality\n")

    # Clipping

    def test_clipping_is_counted(self):
        write_floats(self.path("a.wav"), tone(440, 8000, 8000, 1.25), 8000)
        text = self.done(self.path("a.wav"), self.path("b.wav"), "--rate=16000", "--samples=s16")
        (found,) = read_wave(self.path("b.wav"))[2]
        self.assertEqual((max(found), min(found)), (32767, -32768))
        limits = sum(x in (32767, -32768) for x in found)
        counted = int(re.search(r"\n  note: (\d+) samples limited to full scale\n", text).group(1))
        self.assertTrue(0.35 * 16000 < counted <= limits < 0.45 * 16000, (counted, limits))
        text = self.done(self.path("a.wav"), self.path("b.wav"), "--rate=16000")
        self.assertNotIn("limited", text)
        self.assertGreater(max(read_floats(self.path("b.wav"))[0]), 1.24)

    def test_clipping_is_counted_in_16_bits(self):
        write_pcm16(self.path("a.wav"), [[32767 if i // 20 % 2 else -32768 for i in range(8000)]], 8000)
        text = self.done(self.path("a.wav"), self.path("b.wav"), "--rate=16000", "--fixed")
        (found,) = read_wave(self.path("b.wav"))[2]
        limits = sum(x in (32767, -32768) for x in found)
        self.assertIn(f"\n  note: {limits} samples limited to full scale\n", text)
        self.assertGreater(limits, 1000)

    # Failures

    def test_bad_sounds_are_refused(self):
        open(self.path("empty.wav"), "w").close()
        with open(self.path("text.wav"), "w") as file:
            file.write("no sound at all\n" * 100)
        write_pcm16(self.path("none.wav"), [[]], 8000)
        write_pcm16(self.path("slow.wav"), [[1]], 99)
        write_pcm16(self.path("fast.wav"), [[1]], 2000000000)
        for name, reason in (("missing.wav", "no such file"), ("empty.wav", "is empty"), (".", "is a directory"),
                             ("text.wav", "not a sound file"), ("none.wav", "holds no samples"),
                             ("slow.wav", "has a sample rate of 99 Hz"),
                             ("fast.wav", "has a sample rate of 2000000000 Hz")):
            with self.subTest(name):
                self.check_refused(self.path(name), self.path("old.wav"), "--rate=16000", reason=reason)

    def test_formats_that_do_not_exist_are_refused(self):
        out = self.path("old.wav")
        for options in (["--container=flac", "--samples=float"], ["--container=wav", "--samples=vorbis"],
                        ["--container=flac", "--rate=900000"]):
            self.check_refused(SENTENCE, out, "--rate=16000", *options, reason="cannot write .*")

    def test_files_too_long_for_their_container_are_refused_at_once(self):
        path = write_silence(self.path("long.wav"), 60000)
        self.check_refused(path, self.path("old.wav"), "--rate=48000", reason="cannot write .*: .* 4 GB at most")
        self.check_refused(path, self.path("old.wav"), "--rate=48000", "--container=aiff", reason="4 GB at most")

    def test_wrong_use(self):
        out = self.path("old.wav")
        for arguments in ([], [SENTENCE], [SENTENCE, out], [SENTENCE, out, out, "--rate=8000"],
                          [SENTENCE, out, "--rate"], [SENTENCE, out, "--rate=0"], [SENTENCE, out, "--rate=8e3"],
                          [SENTENCE, out, "--rate=1000001"], [SENTENCE, out, "--rate=99"],
                          [SENTENCE, out, "--rate=8000", "--quality=best"],
                          [SENTENCE, out, "--rate=8000", "--container=gif"],
                          [SENTENCE, out, "--rate=8000", "--samples=s17"],
                          [SENTENCE, out, "--rate=8000", "--block=0"], [SENTENCE, out, "--rate=8000", "--none"],
                          [SENTENCE, out, "--rate=8000", "--picture=a.svg"], ["--measure"],
                          ["--measure", "8000"], ["--measure", "8000:"], ["--measure", "8000:8100"],
                          ["--measure", "100:8000"], ["--measure", "8000:16000x"]):
            self.check_refused(*arguments, status=2)

    def test_the_sound_file_is_not_overwritten(self):
        write_pcm16(self.path("a.wav"), [made_up(8000, 0.2)], 8000)
        os.symlink(self.path("a.wav"), self.path("b.wav"))
        with open(self.path("a.wav"), "rb") as file:
            before = file.read()
        for name in ("a.wav", "b.wav"):
            self.check_refused(self.path("a.wav"), self.path(name), "--rate=16000", status=2, reason="overwritten")
        with open(self.path("a.wav"), "rb") as file:
            self.assertEqual(file.read(), before)

    def test_outputs_that_cannot_be_written(self):
        for out, reason in ((self.path("none/a.wav"), "No such file"), (self.folder, "is a directory"),
                            ("/dev/full", "is not a regular file")):
            self.check_refused(SENTENCE, out, "--rate=8000", reason="cannot write .*" + reason)
        self.check_refused("--measure", "8000:16000", "--picture", self.path("none/a.svg"), reason="cannot write")

    def test_full_disk_leaves_the_old_output(self):
        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (12000, 12000))

        for name in ("old.wav", "new.flac", "new.ogg"):
            self.check_refused(SENTENCE, self.path(name), "--rate=44100", reason="cannot write .*File too large",
                               preexec_fn=limit)

    def test_truncated_sound_is_converted_with_a_note(self):
        with open(SENTENCE, "rb") as file:
            content = file.read()
        with open(self.path("a.flac"), "wb") as file:
            file.write(content[:len(content) // 2])
        self.assertIn("\n  note: the file ends early",
                      self.done(self.path("a.flac"), self.path("a.wav"), "--rate=8000"))

    def test_help(self):
        output = self.done("--help")
        for name in ("usage: resample SOUND OUT", "\n  --rate HZ", "\n  --fixed", "\n  --measure"):
            self.assertIn(name, output)


if __name__ == "__main__":
    unittest.main()
