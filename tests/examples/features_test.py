"""features on real and made-up sound: usage: features_test.py PROGRAM SPEECH_FOLDER [unittest options]"""
import array
import os
import re
import resource
import signal
import struct
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
import zlib

sys.dont_write_bytecode = True
from feature_reference import expected, made_up, read_csv, read_htk, read_npy, write_pcm16
from program_test_case import ProgramTestCase, run_program

PROGRAM, SPEECH = os.path.abspath(sys.argv.pop(1)), os.path.abspath(sys.argv.pop(1))
SENTENCE = os.path.join(SPEECH, "english_us.flac")
SVG = "{http://www.w3.org/2000/svg}"


def run(*arguments, **options):
    return run_program([PROGRAM, *arguments], **options)


def options_of(changes):
    return [text for name, value in changes.items() for text in ("--" + name.replace("_", "-"), str(value))]


class FeaturesTest(ProgramTestCase):
    command = [PROGRAM]
    old = "old.npy"

    def bytes_of(self, *arguments, name="out.npy"):
        self.done(*arguments[:1], self.path(name), *arguments[1:])
        return self.content(name)

    def features(self, sound, *options):
        self.done(sound, self.path("out.csv"), *options)
        return read_csv(self.path("out.csv"))[1]

    def check_close(self, found, wanted, tolerance):
        self.assertEqual((len(found), len(found[0])), (len(wanted), len(wanted[0])))
        worst = max((abs(x - y), t, k) for t, rows in enumerate(zip(found, wanted)) for k, (x, y) in
                    enumerate(zip(*rows)))
        self.assertLess(worst[0], tolerance, "difference, frame, column: " + str(worst))

    # Values

    # Single precision leaves some 1e-7 of a frame's loudest bins in its faintest ones, up to 1e-5 of a filter's
    # output; the lifter multiplies what that makes of a cepstrum by up to 12.
    def check_against_definition(self, rate, tolerance=2e-4, arguments=(), seconds=0.25, **changes):
        samples = made_up(rate, seconds)
        write_pcm16(self.path("a.wav"), [samples], rate)
        found = self.features(self.path("a.wav"), *options_of(changes), *arguments)
        self.check_close(found, expected(samples, rate, **changes), tolerance)

    def test_defaults_are_the_definition(self):
        self.check_against_definition(16000)

    def test_options_are_the_definition(self):
        self.check_against_definition(8000, frame=20, shift=7.5, offset=0, pre_emphasis=0, filters=40, low=100,
                                      high=3500, cepstra=20, lifter=0, energy="log", derivatives=1)

    def test_mean_normalisation_is_the_definition(self):
        self.check_against_definition(8000, cmn=0.08, energy="none", derivatives=0)
        self.check_against_definition(8000, cmn=100)

    def test_shift_beyond_the_frame(self):
        self.check_against_definition(8000, frame=10, shift=25, seconds=0.4)

    # A step of 16 bits is 1/128: static values are rounded to half of it, with a mean taken off twice. The rest is
    # what rounding the frame to 2^-15 of its peak leaves in its faintest filters.
    def test_sixteen_bits_are_the_definition(self):
        self.check_against_definition(8000, tolerance=0.02, arguments=["--fixed"], offset=0)
        self.check_against_definition(8000, tolerance=0.02, arguments=["--fixed"], offset=0, energy="log",
                                      lifter=0)
        self.check_against_definition(8000, tolerance=0.02, arguments=["--fixed"], offset=0, cmn=0.1)

    # The offset filter rounds every sample to an integer.
    def test_sixteen_bits_with_offset_filter(self):
        self.check_against_definition(8000, tolerance=0.05, arguments=["--fixed"])

    def test_an_offset_is_taken_off(self):
        samples = made_up(8000, 1)
        write_pcm16(self.path("a.wav"), [samples], 8000)
        write_pcm16(self.path("b.wav"), [[s + 5000 for s in samples]], 8000)
        for path in ([], ["--fixed"]):
            first, second = (self.features(self.path(name), "--energy=log", *path)[60:]
                             for name in ("a.wav", "b.wav"))
            self.check_close(first, second, 0.01)

    def test_digital_silence_has_zero_logarithms(self):
        write_pcm16(self.path("a.wav"), [[0] * 8000], 8000)
        for options in ([], ["--fixed"], ["--energy=log"], ["--fixed", "--energy=log", "--cmn=1"]):
            self.assertEqual({x for row in self.features(self.path("a.wav"), *options) for x in row}, {0}, options)

    def test_full_scale_does_not_saturate(self):
        write_pcm16(self.path("a.wav"), [[32767 if i // 4 % 2 else -32768 for i in range(4000)]], 8000)
        self.check_close(self.features(self.path("a.wav"), "--offset=0", "--fixed"),
                         self.features(self.path("a.wav"), "--offset=0"), 0.02)

    def test_rates(self):
        for rate in (8000, 11025, 44100, 96000):
            write_pcm16(self.path("a.wav"), [made_up(rate, 0.2)], rate)
            rows = (round(0.2 * rate) - round(0.025 * rate)) // round(0.01 * rate) + 1
            for path in ([], ["--fixed"]):
                found = self.features(self.path("a.wav"), *path)
                self.assertEqual((len(found), len(found[0])), (rows, 39))

    def test_channels(self):
        left, right = made_up(8000, 0.3), made_up(8000, 0.3, seed=2)
        write_pcm16(self.path("left.wav"), [left], 8000)
        write_pcm16(self.path("both.wav"), [left, right], 8000)
        write_pcm16(self.path("twice.wav"), [left, left, left, left], 8000)
        for path in ([], ["--fixed"]):
            wanted = self.bytes_of(self.path("left.wav"), *path)
            self.assertEqual(self.bytes_of(self.path("both.wav"), "--channel=first", *path), wanted)
            self.assertEqual(self.bytes_of(self.path("twice.wav"), *path), wanted)
            self.assertNotEqual(self.bytes_of(self.path("both.wav"), "--channel", "mean", *path), wanted)

    # Streaming

    def test_any_block_size_gives_the_same_bits(self):
        write_pcm16(self.path("a.wav"), [made_up(8000, 0.7)], 8000)
        for options in ([], ["--fixed"], ["--derivatives=1", "--cmn=0.2"], ["--fixed", "--derivatives=0"],
                        ["--shift=40", "--energy=log"], ["--fixed", "--frame=10", "--shift=31", "--cmn=1"]):
            whole = self.bytes_of(self.path("a.wav"), "--block=1000000", *options)
            for block in ("1", "7", "80", "200", "201", "3000"):
                found = self.bytes_of(self.path("a.wav"), "--block", block, *options)
                self.assertEqual(found, whole, (block, options))

    def test_memory_does_not_grow_with_the_sound(self):
        def peak(seconds, *options):
            """Of the process's memory, in KiB, up to the moment when it writes the picture."""
            path, picture = self.path("long.wav"), self.path("pipe.png")
            write_pcm16(path, [[0]], 8000)
            size = 2 * 8000 * seconds
            with open(path, "r+b") as file:  # silence, which takes no room on the disk
                file.write(struct.pack("<4sI", b"RIFF", 36 + size))
                file.seek(40)
                file.write(struct.pack("<I", size))
                file.truncate(44 + size)
            arguments = [PROGRAM, path, self.path("out.npy"), "--picture", picture, *options]
            with subprocess.Popen(arguments, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
                with open(picture, "rb") as pipe:
                    # A picture is longer than a pipe: the process waits while its state is read.
                    first = pipe.read(1)
                    with open(f"/proc/{process.pid}/status") as status:
                        found = int(re.search(r"VmHWM:\s+(\d+) kB", status.read()).group(1))
                    self.assertGreater(len(first + pipe.read()), 1 << 18)
            self.assertEqual(process.returncode, 0)
            frames = (8000 * seconds - 200) // 80 + 1
            bytes_a_value = 2 if "--fixed" in options else 4
            self.assertEqual(os.path.getsize(self.path("out.npy")), 128 + frames * 39 * bytes_a_value)
            return found

        os.mkfifo(self.path("pipe.png"))
        # Thirty minutes of sound and of features in 16 bits are 29 and 14 MB; the picture is full after a minute.
        for options in ([], ["--fixed"]):
            self.assertLess(peak(1800, *options) - peak(60, *options), 3000, options)

    def test_long_sound_shows_progress(self):
        write_pcm16(self.path("a.wav"), [[0] * (8000 * 70)], 8000)
        result = run(self.path("a.wav"), self.path("out.npy"))
        self.assertEqual((result.returncode, result.stderr.count("\n")), (0, 1))
        self.assertIn("a.wav: 70 of 70 s (100 %)", result.stderr)

    # Formats

    def test_formats_hold_the_same_rows(self):
        for options in ([], ["--energy=log", "--derivatives=1", "--cmn=1"], ["--energy=none", "--derivatives=0"]):
            for name in ("a.csv", "a.npy", "a.htk"):
                self.done(SENTENCE, self.path(name), *options)
            names, rows = read_csv(self.path("a.csv"))
            code, numbers = read_npy(self.path("a.npy"))
            kind, period, values = read_htk(self.path("a.htk"))
            self.assertEqual((code, period), ("f", 100000))
            # Texts are the shortest that single precision reads back.
            self.assertEqual([array.array("f", row).tolist() for row in rows], numbers)
            self.assertEqual(values, numbers)
            self.assertEqual(len(names), len(rows[0]))

    def test_formats_hold_the_same_rows_in_16_bits(self):
        for name in ("a.csv", "a.npy", "a.mfc"):
            text = self.done(SENTENCE, self.path(name), "--fixed")
        self.assertIn(" in 16 bits, times 2^7;", text)
        code, numbers = read_npy(self.path("a.npy"))
        self.assertEqual(code, "h")
        scaled = [[x / 128 for x in row] for row in numbers]
        self.assertEqual(read_csv(self.path("a.csv"))[1], scaled)
        self.assertEqual(read_htk(self.path("a.mfc"))[2], scaled)

    def test_names_and_kinds(self):
        for options, kind, names in (([], 0o21406, "c1 c2 c0 d_c1 d_c2 d_c0 dd_c1 dd_c2 dd_c0"),
                                     (["--energy=log", "--derivatives=1"], 0o506,
                                      "c1 c2 energy d_c1 d_c2 d_energy"),
                                     (["--energy=none", "--derivatives=0", "--cmn=3"], 0o4006, "c1 c2"),
                                     (["--fixed"], 0o23406, "c1 c2 c0 d_c1 d_c2 d_c0 dd_c1 dd_c2 dd_c0")):
            self.done(SENTENCE, self.path("a.csv"), "--cepstra=2", *options)
            self.done(SENTENCE, self.path("a.fea"), "--cepstra=2", *options)
            self.assertEqual(read_csv(self.path("a.csv"))[0], names.split())
            self.assertEqual(read_htk(self.path("a.fea"))[0], kind)

    def test_format_option_outdoes_the_ending(self):
        self.done(SENTENCE, self.path("a.csv"), "--format=htk")
        self.done(SENTENCE, self.path("a.htk"))
        self.assertEqual(read_htk(self.path("a.csv")), read_htk(self.path("a.htk")))

    def test_summary(self):
        self.assertEqual(self.done(SENTENCE, self.path("a.csv")).count("\n"), 1)
        write_pcm16(self.path("a.wav"), [made_up(8000, 0.5), made_up(8000, 0.5)], 8000)
        self.assertEqual(self.done(self.path("a.wav"), self.path("a.npy")),
                         self.path("a.npy") + ": 48 frames of 39 values; 0.50 s, 8000 Hz, 2 channels\n")

    def test_a_link_to_a_file_without_a_name_stays(self):
        self.done(SENTENCE, self.path("a.csv"))
        link = self.path("link")
        os.symlink("/proc/self/fd/1", link)
        with tempfile.TemporaryFile() as out, open(self.path("a.csv"), "rb") as file:
            subprocess.run([PROGRAM, SENTENCE, link, "--format=csv"], stdout=out, check=True)
            out.seek(0)
            self.assertTrue(out.read() == file.read())
        self.assertTrue(os.path.islink(link))

    def test_rows_on_the_standard_output(self):
        self.done(SENTENCE, self.path("a.csv"))
        with open(self.path("a.csv")) as file:
            self.assertEqual(self.done(SENTENCE, "/dev/stdout", "--format=csv"), file.read())

    # Pictures

    def test_svg_picture(self):
        for options, panels in (([], ["static", "deltas", "accelerations"]),
                                (["--fixed", "--derivatives=0"], ["static"])):
            self.done(SENTENCE, self.path("a.npy"), "--picture", self.path("a.svg"), *options)
            root = ElementTree.parse(self.path("a.svg")).getroot()
            self.assertEqual([group.get("class") for group in root.findall(SVG + "g")], panels)
            self.assertEqual(len(list(root.iter(SVG + "image"))), len(panels))
            self.assertIn("time (s)", [text.text for text in root.iter(SVG + "text")])
            for element in root.iter():
                for name, value in element.items():
                    if not name.endswith("href"):
                        self.assertNotRegex(value, r"\b(nan|inf)\b")

    def test_png_picture(self):
        text = self.done(SENTENCE, self.path("a.npy"), "--picture", self.path("a.png"))
        frames = int(re.search(r": (\d+) frames", text).group(1))
        with open(self.path("a.png"), "rb") as file:
            content = file.read()
        self.assertEqual(content[:8], b"\x89PNG\r\n\x1a\n")
        chunks, at = {}, 8
        while at < len(content):
            size, = struct.unpack(">I", content[at:at + 4])
            chunks[content[at + 4:at + 8]] = content[at + 8:at + 8 + size]
            self.assertEqual(struct.unpack(">I", content[at + 8 + size:at + 12 + size])[0],
                             zlib.crc32(content[at + 4:at + 8 + size]))
            at += size + 12
        width, height = struct.unpack(">II", chunks[b"IHDR"][:8])
        self.assertEqual((width, height), (frames, 8 * (3 * 13 + 2)))
        pixels = zlib.decompress(chunks[b"IDAT"])
        self.assertEqual(len(pixels), height * (width + 1))
        # The top line is c0: dark red where the sentence is loudest, blue in the pauses.
        c0 = [row[12] for row in read_npy(self.path("a.npy"))[1]]
        top = pixels[1:width + 1]
        self.assertGreater(top[c0.index(max(c0))], 150)
        self.assertLess(top[c0.index(min(c0))], 100)

    def test_picture_of_a_long_sound_is_bounded(self):
        write_pcm16(self.path("a.wav"), [made_up(2000, 1) * 50], 2000)
        self.done(self.path("a.wav"), self.path("a.npy"), "--low=20", "--picture", self.path("a.png"))
        with open(self.path("a.png"), "rb") as file:
            width, = struct.unpack(">I", file.read(20)[16:])
        self.assertTrue(1024 <= width <= 2048, width)

    # Failures

    def test_bad_sounds_are_refused(self):
        out = self.path("old.npy")
        open(self.path("empty.wav"), "w").close()
        with open(self.path("text.wav"), "w") as file:
            file.write("no sound at all\n" * 100)
        write_pcm16(self.path("none.wav"), [[]], 8000)
        write_pcm16(self.path("short.wav"), [[100] * 199], 8000)
        write_pcm16(self.path("five.wav"), [[100] * (200 + 4 * 80)], 8000)
        write_pcm16(self.path("slow.wav"), [[100] * 4000], 900)
        for name, reason in (("missing.wav", "no such file"), ("empty.wav", "is empty"), (".", "is a directory"),
                             ("text.wav", "not a sound file"), ("none.wav", "too short: 0 samples"),
                             ("short.wav", "too short: 199 samples, a frame has 200"),
                             ("five.wav", "too short: 5 frames, derivatives need 6"),
                             ("slow.wav", "sample rate of 900 Hz")):
            with self.subTest(name):
                self.check_refused(self.path(name), out, reason=reason)
                self.check_refused(self.path(name), out, "--fixed", "--picture", self.path("new.svg"),
                                   reason=reason)
        self.done(self.path("five.wav"), self.path("five.npy"), "--derivatives=0")
        self.assertEqual(len(read_npy(self.path("five.npy"))[1]), 5)

    def test_fewest_frames(self):
        for frames, options in ((6, []), (4, ["--derivatives=1"]), (1, ["--derivatives=0"])):
            write_pcm16(self.path("a.wav"), [made_up(8000, 0.1)[:200 + 80 * (frames - 1)]], 8000)
            for path in ([], ["--fixed"]):
                self.assertEqual(len(self.features(self.path("a.wav"), *options, *path)), frames)

    def test_options_that_do_not_fit_the_sound(self):
        out = self.path("old.npy")
        write_pcm16(self.path("a.wav"), [made_up(8000, 0.5)], 8000)
        for options in (["--high=5000"], ["--low=4000"], ["--low=300", "--high=200"], ["--frame=1"],
                        ["--cepstra=26"], ["--offset=401"], ["--filters=12"]):
            self.check_refused(self.path("a.wav"), out, *options, reason="outside")

    def test_wrong_use(self):
        out = self.path("old.npy")
        for arguments in ([], [SENTENCE], [SENTENCE, out, out], [SENTENCE, self.path("out.txt")],
                          [SENTENCE, self.path("out")], [SENTENCE, out, "--none"], [SENTENCE, out, "--format=wav"],
                          [SENTENCE, out, "--format"], [SENTENCE, out, "--fixed=1"],
                          [SENTENCE, out, "--frame=nan"], [SENTENCE, out, "--frame=0"],
                          [SENTENCE, out, "--filters=3x"], [SENTENCE, out, "--cepstra="],
                          [SENTENCE, out, "--cepstra=0"], [SENTENCE, out, "--derivatives=3"],
                          [SENTENCE, out, "--pre-emphasis=1"], [SENTENCE, out, "--channel=left"],
                          [SENTENCE, out, "--picture=a.gif"], [SENTENCE, out, "--block=0"],
                          [SENTENCE, self.path("a.svg"), "--format=csv", "--picture", self.path("a.svg")]):
            self.check_refused(*arguments, status=2)

    def test_the_sound_file_is_not_overwritten(self):
        write_pcm16(self.path("a.wav"), [made_up(8000, 0.5)], 8000)
        os.link(self.path("a.wav"), self.path("a.svg"))
        os.symlink(self.path("a.wav"), self.path("a.csv"))
        with open(self.path("a.wav"), "rb") as file:
            before = file.read()
        self.check_refused(self.path("a.wav"), self.path("a.wav"), "--format=csv", status=2, reason="overwritten")
        self.check_refused(self.path("a.wav"), self.path("a.csv"), status=2, reason="overwritten")
        self.check_refused(self.path("a.wav"), self.path("b.csv"), "--picture", self.path("a.svg"), status=2)
        with open(self.path("a.wav"), "rb") as file:
            self.assertEqual(file.read(), before)

    def test_outputs_that_cannot_be_written(self):
        for out, reason in ((self.path("none/a.csv"), "No such file"), (self.folder, "is a directory"),
                            ("/dev/full", "No space left")):
            self.check_refused(SENTENCE, out, "--format=csv", reason="cannot write .*" + reason)
        # The picture fails: the features do not take their place either.
        self.check_refused(SENTENCE, self.path("old.npy"), "--picture", self.path("none/a.svg"),
                           reason="cannot write")
        self.check_refused(SENTENCE, "/dev/full", "--format=npy", reason="cannot write")

    def test_full_disk_leaves_the_old_output(self):
        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000))

        for name in ("old.npy", "new.htk", "new.csv"):
            self.check_refused(SENTENCE, self.path(name), reason="cannot write", preexec_fn=limit)

    def test_output_keeps_its_mode_and_its_links(self):
        with open(self.path("old.npy"), "w") as file:
            file.write("old")
        os.chmod(self.path("old.npy"), 0o640)
        os.symlink("old.npy", self.path("link.npy"))
        self.done(SENTENCE, self.path("link.npy"))
        self.assertTrue(os.path.islink(self.path("link.npy")))
        self.assertEqual(os.stat(self.path("old.npy")).st_mode & 0o777, 0o640)
        self.assertGreater(len(read_npy(self.path("old.npy"))[1]), 100)
        self.assertEqual(sorted(os.listdir(self.folder)), ["link.npy", "old.npy"])

    def test_truncated_sound_is_converted_with_a_note(self):
        with open(SENTENCE, "rb") as file:
            content = file.read()
        with open(self.path("a.flac"), "wb") as file:
            file.write(content[:len(content) // 2])
        self.assertIn("\n  note: the file ends early", self.done(self.path("a.flac"), self.path("a.npy")))

    def test_help(self):
        output = self.done("--help")
        self.assertIn("usage: features SOUND OUT", output)
        for name in ("--format F", "--fixed", "--picture FILE", "--cmn SECONDS", "--block N"):
            self.assertIn("\n  " + name, output)


if __name__ == "__main__":
    unittest.main()
