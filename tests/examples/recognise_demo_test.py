"""recognise as its page shows it, on a part of what make_words makes: usage: recognise_demo_test.py PROGRAM WORDS_FOLDER"""
import array
import math
import os
import re
import shutil
import struct
import sys
import unittest

sys.dont_write_bytecode = True
from program_test_case import ProgramTestCase, run_program

PROGRAM, WORDS = os.path.abspath(sys.argv.pop(1)), os.path.abspath(sys.argv.pop(1))
USUAL = "recognise.model"


class Case(ProgramTestCase):
    def run_here(self, *arguments, code=0):
        result = run_program([PROGRAM, *arguments], cwd=self.folder)
        self.assertEqual(result.returncode, code, result.stdout + result.stderr)
        if code == 1:
            self.assertEqual((result.stdout, result.stderr.count("\n")), ("", 1), result.stderr)
        return result

    def part(self, name, source, words, speakers):
        """A few words of a few speakers."""
        for word in words:
            place = os.path.join(WORDS, source, word)
            os.makedirs(os.path.join(self.path(name), word))
            for file in sorted(os.listdir(place)):
                if file[:file.rindex("_")] in speakers:
                    shutil.copy(os.path.join(place, file), os.path.join(self.path(name), word))
        return name

    def sound(self, name, samples, rate=8000):
        """Single precision."""
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        data = array.array("f", samples).tobytes()
        head = b"WAVEfmt " + struct.pack("<IHHIIHH", 16, 3, 1, rate, rate * 4 & 0xFFFFFFFF, 4, 32)
        self.write(name, b"RIFF" + struct.pack("<I", 36 + len(data)) + head + b"data" + struct.pack("<I", len(data)) + data)
        return name


def speakers(part):
    with open(os.path.join(WORDS, "voices.txt"), encoding="ascii") as file:
        return [line.split()[0] for line in file if line.split()[1] == part]


SPOKEN = os.path.join(WORDS, "test", "seven", speakers("test")[0] + "_1.flac")


class UsualModel(Case):
    def setUp(self):
        super().setUp()
        self.part("words", "train", ["no", "seven", "three"], speakers("train")[:5])

    def answer(self, *arguments):
        return self.run_here(*arguments).stdout

    def test_is_made_and_taken_where_none_is_named(self):
        for options, answer in ((), ": seven  score "), (("--templates", "3"), ": seven  distance "):
            self.assertTrue(self.answer("train", "words", *options).startswith(USUAL + ": 3 words, "))
            self.assertTrue(self.answer(SPOKEN).startswith(SPOKEN + answer))
            self.assertEqual(self.answer("--", SPOKEN, SPOKEN).count(answer), 2)
            self.assertIn("tested: 30 recordings, 3 words, 5 speakers", self.answer("test", "words"))

    def test_gives_way_to_one_that_is_named(self):
        self.answer("train", "words", "-o", "named", "--folds", "0")
        self.assertFalse(os.path.exists(self.path(USUAL)))
        self.part("others", "train", ["yes", "zero"], speakers("train")[:5])
        self.answer("train", "others", "--folds", "0")
        self.assertRegex(self.answer("named", SPOKEN), ": seven ")
        self.assertNotRegex(self.answer(SPOKEN), ": seven ")
        self.assertRegex(self.answer("test", "named", "words"), r"float +\d")
        with open(self.path("named"), "rb") as model:
            piped = run_program([PROGRAM, "/dev/stdin", SPOKEN], cwd=self.folder, input=model.read())
        self.assertEqual(piped.stdout, self.answer("named", SPOKEN))
        for arguments in ["test", "named"], ["named"], ["test"], ["test", "named", "words", "more"]:
            self.assertEqual(self.run_here(*arguments, code=2).stdout, "")
        self.assertIn("is a directory", self.run_here("words/no", code=1).stderr)

    def test_is_missed(self):
        for arguments, name in (["test", "words"], "words"), ([SPOKEN], SPOKEN), (["typo.model", SPOKEN], "typo.model"):
            line = self.run_here(*arguments, code=1).stderr
            self.assertTrue(line.startswith(f"recognise: {name}: "), line)
            self.assertIn("no recognise.model here", line)


class SmallFolders(Case):
    def test_one_recording_a_word_has_no_threshold(self):
        self.part("words", "train", ["no", "seven"], speakers("train")[:1])
        for word in "no", "seven":
            os.remove(self.path(f"words/{word}/{speakers('train')[0]}_2.flac"))
        self.assertIn("nothing will be refused, from 2 recordings, 2 words, 1 speaker\n",
                      self.run_here("train", "words").stdout)
        with open(self.path(USUAL), encoding="ascii") as file:
            self.assertNotIn("threshold", file.read())

    def test_sounds_that_are_none(self):
        self.part("words", "train", ["no", "seven"], speakers("train")[:3])
        self.run_here("train", "words", "--folds", "0")
        tone = [0.3 * math.sin(i * 0.7) for i in range(8000)]
        for name, samples, rate, reason in (("offset", [0.5] * 8000, 8000, "is silent"),
                                            ("nan", [math.nan] * 8000, 8000, "is silent"),
                                            ("one", [0.5], 8000, "shorter than 0.1 s"),
                                            ("fast", tone * 13, 1000001, "1000001 samples a second"),
                                            ("faster", tone, 2000000000, "2000000000 samples a second")):
            result = run_program([PROGRAM, self.sound(name + ".wav", samples, rate)], cwd=self.folder)
            self.assertEqual(result.returncode, 1)
            self.assertIn(reason, result.stderr.splitlines()[-1])
        with open(SPOKEN, "rb") as file:
            self.write("cut.flac", file.read(1500))
        self.assertIn("cut.flac: is damaged", self.run_here("cut.flac", code=1).stderr)
        self.assertIn("tone.wav: ", self.run_here(self.sound("tone.wav", tone)).stdout)


class Demo(Case):
    WORDS_HERE = ["no", "seven", "three", "stop"]

    def make(self, test_speakers):
        shutil.rmtree(self.path("all"), ignore_errors=True)
        self.part("all/train", "train", self.WORDS_HERE, speakers("train")[:6])
        self.part("all/test", "train", self.WORDS_HERE, test_speakers)
        self.part("all/unknown", "unknown", ["garden", "hello"], speakers("test")[:2])
        os.makedirs(self.path("all/connected"))
        shutil.copy(SPOKEN, self.path("all/connected/one_1.flac"))
        self.write("all/connected/one_1.txt", "seven\n")

    def test_prints_and_draws_what_it_measured_and_the_same_each_time(self):
        self.make(speakers("train")[6:8])
        outputs = []
        for threads in "1", "3":
            text = self.run_here("demo", "all", "--page", "page.html", "-o", "model", "--threads", threads).stdout
            with open(self.path("page.html"), encoding="utf-8") as file:
                page = file.read()
            with open(self.path("model"), "rb") as file:
                model = file.read()
            # Without speeds.
            outputs.append((re.sub(r"(%) +\d+\n", r"\1\n", text),
                            re.sub(r'<td class="number">\d+(\u00a0\d+)+</td>', "", page), model))
        self.assertEqual(*outputs)
        rows = re.findall(r"^(\S+) +(\d+\.\d\d) % +\d+$", text, re.M)
        self.assertEqual([name for name, _ in rows], ["float", "16bit", "16bit-low", "selection", "templates"])
        for noise in "white", "pink", "babble":
            line = re.search(rf"With {noise} +clean +20 dB +10 dB +5 dB\ntrained without +(.*)", text)[1]
            clean, *in_noise = line.split(" %")[:4]
            self.assertEqual(clean.strip(), rows[0][1])
            self.assertLessEqual(float(in_noise[-1]), float(clean))
        counts = [[int(x) for x in line.replace(".", "0").split()[1:]]
                  for line in text.split("recognised (columns)\n")[1].split("\n\n")[0].split("\n")[1:]]
        self.assertEqual((len(counts), sum(map(sum, counts))), (4, 16))
        self.assertAlmostEqual(sum(counts[i][i] for i in range(4)) / 0.16, float(rows[0][1]), delta=0.01)
        for part in ("of voices that training did not hear", "Best path: the state within the word",
                     "data:image/png;base64,", "Log likelihood of every frame", 'id="confusions"'):
            self.assertIn(part, page)
        self.assertIn(f"{sum(counts[i][i] for i in range(4))} of 16 right", page)
        # The picture's path: through each word from its first state, at the bottom, to its last.
        paths = [[float(point.split(",")[1]) for point in points.split()]
                 for points in re.findall(r'<path class="states [^"]*" d="M([^"]*)"', page)]
        self.assertEqual({path[0] for path in paths}, {max(map(max, paths))})
        for path in paths:
            self.assertEqual(path, sorted(path, reverse=True))
        self.assertEqual(max(len(set(path)) for path in paths), int(re.search(rb"word seven\nstates (\d+)", model)[1]))

    def test_says_so_when_the_test_holds_voices_of_the_training(self):
        self.make(speakers("train")[5:7])
        text = self.run_here("demo", "all", "--page", "page.html", "--folds", "0").stdout
        remark = f"Who speaks in training and in the test: 1 speaker, {speakers('train')[5]}."
        self.assertIn(remark, text)
        with open(self.path("page.html"), encoding="utf-8") as file:
            page = file.read()
        self.assertIn(remark, page)
        self.assertNotIn("did not hear", page)

    def test_places_that_cannot_be_written_to_are_found_first(self):
        self.make(speakers("train")[6:8])
        self.run_here("train", "all/train", "--folds", "0")
        for arguments in (["demo", "all", "--page"], ["demo", "all", "-o"], ["test", "all/test", "--page"]):
            for place in "missing/out", "all":
                line = self.run_here(*arguments, place, code=1).stderr
                self.assertTrue(line.startswith(f"recognise: cannot write {place}: "), line)
        self.write("page.html", "kept")
        self.run_here("test", "all/test", "--unknown", "missing", "--page", "page.html", code=1)
        with open(self.path("page.html"), encoding="ascii") as file:
            self.assertEqual(file.read(), "kept")
        self.assertEqual(sorted(os.listdir(self.folder)), ["all", "page.html", USUAL])


if __name__ == "__main__":
    unittest.main()
