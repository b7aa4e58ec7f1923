"""codec's streams, files and use: usage: codec_test.py PROGRAM SPEECH_FOLDER [unittest options]"""
import array
import os
import random
import re
import shutil
import struct
import subprocess
import sys
import unittest
import xml.etree.ElementTree as ElementTree

sys.dont_write_bytecode = True
from codec_test_case import (BOOK, END, FRAME, HEAD, PROGRAM, CodecTestCase, bits_of, content_of, fnv, level,
                             noise, read_wave, sentence, vowel)
from feature_reference import write_pcm16

SVG = "{http://www.w3.org/2000/svg}"


class CodecTest(CodecTestCase):
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
        seconds = 91435 / 16000
        self.assertEqual(self.report(sentence("german"))["german.flac"]["rate"], round(8 * len(coded) / seconds))
        self.assertEqual((len(coded) - HEAD - END) * 8 / 48, -(-seconds // 0.02))  # 48 bits each 20 ms

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

    def test_standard_output(self):
        path = self.sound(vowel(120, 0.5))
        coded = self.encoded(path)
        expected = array.array("h", self.decoded(coded)).tobytes()
        # Behind what is there already, in a file that is open for more.
        with open(self.path("all"), "wb") as file:
            file.write(b"before")
            file.flush()
            subprocess.run([PROGRAM, "encode", path, "-"], stdout=file, check=True)
            subprocess.run([PROGRAM, "decode", self.path("coded.lpc"), "-"], stdout=file, check=True)
        self.assertEqual(content_of(self.path("all")), b"before" + coded + expected)
        for words in (["encode", path, "-"], ["decode", self.path("coded.lpc"), "-"]):
            with open("/dev/full", "wb") as full:
                result = subprocess.run([PROGRAM, *words], stdout=full, stderr=subprocess.PIPE)
            self.assertEqual(result.returncode, 1)
            self.assertRegex(result.stderr, b"^codec: .*: cannot write the standard output: .*\n$")

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
        # While the input stays open, all frames come out that have 800 samples behind them, but for the last one.
        early = 2 * ((8000 - 800) // FRAME - 1) * FRAME
        self.assertEqual(len(decoder.stdout.read(early)), early)
        encoder.stdin.write(raw[16000:])
        encoder.stdin.close()
        self.assertEqual(len(decoder.stdout.read()), len(raw) - early)
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
        shutil.copy(sentence("finnish"), self.path("in/a/b/three.flac"))
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
        self.assertEqual((half.returncode, half.stderr),
                         (0, b"codec: standard input: the last byte is half a sample\n"))


if __name__ == "__main__":
    unittest.main()
