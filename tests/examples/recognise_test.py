"""recognise on the folder that make_words makes: usage: recognise_test.py PROGRAM WORDS_FOLDER"""
import array
import os
import re
import shutil
import sys
import unittest
import wave

sys.dont_write_bytecode = True
from program_test_case import ProgramTestCase, run_program

PROGRAM, WORDS = os.path.abspath(sys.argv.pop(1)), os.path.abspath(sys.argv.pop(1))
SCORERS = ("float", "16bit", "16bit-low", "selection")
ANSWER = re.compile(r"^(?P<file>.*): (?P<word>[a-z ]+)  score (?P<score>-?[\d.]+)  "
                    r"confidence (?P<confidence>-?[\d.]+)$")


def run(*arguments, **options):
    return run_program([PROGRAM, *arguments], **options)


def folder(part):
    return os.path.join(WORDS, part)


def recordings(part, word, count=1):
    names = sorted(os.listdir(os.path.join(WORDS, part, word)))
    return [os.path.join(WORDS, part, word, name) for name in names[:count]]


def part_after(text, heading):
    """The lines behind one that begins with the heading, up to an empty one."""
    lines = text.split("\n" + heading, 1)[1].split("\n")[1:]
    return lines[:lines.index("")] if "" in lines else lines


def rights(text):
    """Per cent, by scorer, of single words."""
    return {line.split()[0]: float(line.split()[1]) for line in part_after(text, "Single words")}


def write_wave(path, samples, rate=8000, channels=1):
    with wave.open(path, "wb") as file:
        file.setnchannels(channels)
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(array.array("h", samples).tobytes())
    return path


class Trained(ProgramTestCase):
    """One model of all training words, for the tests that only use it."""
    @classmethod
    def setUpClass(cls):
        cls.model = os.path.join(os.environ.get("TMPDIR", "/tmp"), f"recognise_test_{os.getpid()}.model")
        cls.trained = run("train", folder("train"), "-o", cls.model, "--folds", "2", "--threads", "2")

    @classmethod
    def tearDownClass(cls):
        if os.path.exists(cls.model):
            os.remove(cls.model)


class TestWords(Trained):
    def test_training_says_what_it_made(self):
        self.assertEqual(self.trained.returncode, 0, self.trained.stderr)
        self.assertRegex(self.trained.stdout, r"20 words, \d+ states; right of speakers held back: 9[5-9]\.\d\d %, "
                                              r"from 800 recordings, 20 words, 20 speakers")

    def test_unseen_voices_in_all_arithmetics(self):
        result = run("test", self.model, folder("test"), "--unknown", folder("unknown"), "--page",
                     self.path("page.html"))
        self.assertEqual(result.returncode, 0, result.stderr)
        right = rights(result.stdout)
        self.assertEqual(tuple(right), SCORERS)
        self.assertGreaterEqual(right["float"], 97)
        self.assertLessEqual(abs(right["16bit"] - right["float"]), 1)
        self.assertLessEqual(abs(right["16bit-low"] - right["float"]), 1)
        self.assertGreaterEqual(right["selection"], 93)
        # The table of confusions holds every recording, the right ones on its diagonal.
        rows = [line.split()[1:] for line in part_after(result.stdout, "Spoken (rows)")]
        counts = [[0 if cell == "." else int(cell) for cell in row] for row in rows[1:]]
        # Rows are what was spoken: 16 recordings of each word.
        self.assertEqual([sum(row) for row in counts], [16] * 20)
        self.assertAlmostEqual(sum(counts[i][i] for i in range(20)) / 3.2, right["float"], delta=0.01)
        self.assertEqual(len(part_after(result.stdout, "Speakers")), 8)
        # A part of the known words that is about what was asked for, and few of the others.
        refused, taken = map(float, re.search(r"refused of the known words ([\d.]+) %.*unknown ones ([\d.]+) %",
                                              result.stdout).groups())
        self.assertLessEqual(refused, 10)
        self.assertLessEqual(taken, 15)
        with open(self.path("page.html"), encoding="utf-8") as page:
            self.assertIn("16bit-low", page.read())

    def test_connected_words(self):
        result = run("test", self.model, folder("connected"), "--connected")
        self.assertEqual(result.returncode, 0, result.stderr)
        for line in part_after(result.stdout, "Connected words"):
            name, spoken, right, substituted, deleted, inserted = line.split()[:6]
            self.assertEqual(int(right) + int(substituted) + int(deleted), int(spoken))
            if name != "selection":
                self.assertGreaterEqual((int(right) - int(inserted)) / int(spoken), 0.85, name)

    def test_the_word_penalty_trades_insertions_for_deletions(self):
        counts = []
        for penalty in ("-400", "200"):
            result = run("test", self.model, folder("connected"), "--connected", "--word-penalty", penalty)
            counts.append([int(x) for x in part_after(result.stdout, "Connected words")[0].split()[1:6]])
        self.assertGreater(counts[0][3], counts[1][3])
        self.assertLess(counts[0][4], counts[1][4])

    def test_noise_costs_accuracy_and_is_the_same_each_time(self):
        results = [run("test", self.model, folder("test"), "--noise", "white", "--snr", snr)
                   for snr in ("40", "10", "10")]
        right = [rights(result.stdout)["float"] for result in results]
        self.assertGreater(right[0], right[1] + 10)
        self.assertEqual(part_after(results[1].stdout, "Spoken (rows)"), part_after(results[2].stdout, "Spoken (rows)"))

    def test_single_files_and_their_best_answers(self):
        files = recordings("test", "seven", 3) + recordings("test", "stop", 3)
        result = run(self.model, *files, "--nbest", "4")
        self.assertEqual(result.returncode, 0, result.stderr)
        lines = result.stdout.splitlines()
        self.assertEqual(len(lines), 5 * len(files))
        words = [ANSWER.match(line)["word"] for line in lines[::5]]
        self.assertGreaterEqual(sum(a == b for a, b in zip(words, ["seven"] * 3 + ["stop"] * 3)), 5)
        for i in range(0, len(lines), 5):
            answers = [line.split() for line in lines[i + 1:i + 5]]
            self.assertEqual([answer[0] for answer in answers], ["1", "2", "3", "4"])
            scores = [float(answer[1]) for answer in answers]
            self.assertEqual(scores, sorted(scores, reverse=True))
            self.assertEqual(len({answer[2] for answer in answers}), 4)
            self.assertEqual(ANSWER.match(lines[i])["score"], answers[0][1])

    def test_every_scorer_hears_the_same_word(self):
        file, = recordings("test", "three")
        answers = [ANSWER.match(run(self.model, file, "--scorer", name).stdout.splitlines()[0]) for name in SCORERS]
        self.assertEqual({answer["word"] for answer in answers}, {"three"})
        # In arithmetics of their own; selection may well have scored what the best path needs.
        self.assertGreaterEqual(len({answer["score"] for answer in answers}), 3)

    def test_connected_answers_hold_several_words(self):
        file = sorted(name for name in os.listdir(folder("connected")) if name.endswith(".flac"))[0]
        result = run(self.model, os.path.join(folder("connected"), file), "--connected")
        answer = ANSWER.match(result.stdout.splitlines()[0])
        self.assertGreaterEqual(len(answer["word"].split()), 3)

    def test_a_threshold_refuses_noise(self):
        file = write_wave(self.path("hiss.wav"), ((i * 7919 * i) % 4001 - 2000 for i in range(8000)))
        self.assertIn("not recognised", run(self.model, file).stdout)

    def test_files_that_fail_leave_the_others(self):
        good, = recordings("test", "no")
        text = self.write("text.wav", "no sound")
        stereo = write_wave(self.path("stereo.wav"), range(0, 16000, 2), channels=2)
        fast = write_wave(self.path("fast.wav"), (i * 37 % 2000 for i in range(16000)), rate=16000)
        silent = write_wave(self.path("silent.wav"), [0] * 8000)
        empty = self.write("empty.wav", "")
        bad = [text, stereo, fast, silent, empty, self.path("missing.wav")]
        result = run(self.model, *bad, good)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(len(result.stdout.splitlines()), 1)
        lines = result.stderr.splitlines()
        self.assertEqual(len(lines), len(bad) + 1, result.stderr)
        for file, line in zip(bad, lines):
            self.assertTrue(line.startswith(f"recognise: {file}: "), line)
        self.assertIn("has 16000 Hz, and the model is one of sound at 8000 Hz", lines[2])

    def test_damaged_models(self):
        with open(self.model, encoding="ascii") as file:
            text = file.read()
        good, = recordings("test", "no")
        for damaged, reason in ((text[:1000], "cut short"), (text.replace("stay -0.", "stay -1.", 1), "damaged"),
                                ("", "line 1: "), ("RIFF" + text, "line 1: "), (text + "more\n", "the text ends here"),
                                (b"\0" * 100, "line 1: "), (bytes(range(256)) * 40, "line 1: ")):
            self.write("damaged", damaged)
            # Where no recordings' folder stands behind it, a file is a model only if it begins like one.
            unlike = reason == "line 1: "
            for arguments, wanted in ((("damaged", good), "is no model" if unlike else reason),
                                      (("test", "damaged", folder("test")), reason)):
                result = run(*arguments, cwd=self.folder)
                self.assertEqual(result.returncode, 1)
                self.assertIn(wanted, result.stderr)
                self.assertEqual(len(result.stderr.splitlines()), 1)
                self.assertTrue(result.stderr.startswith("recognise: damaged: "), result.stderr)


class TestTraining(ProgramTestCase):
    """On three words of six speakers."""
    def setUp(self):
        super().setUp()
        self.words = self.path("words")
        for word in ("yes", "no", "seven"):
            os.makedirs(os.path.join(self.words, word))
            for file in recordings("train", word, 12):
                shutil.copy(file, os.path.join(self.words, word))

    def train(self, *options):
        result = run("train", self.words, "-o", self.path("model"), *options)
        self.assertEqual(result.returncode, 0, result.stderr)
        with open(self.path("model"), "rb") as file:
            return file.read()

    def test_the_same_bits_with_any_number_of_threads(self):
        for options in ((), ("--noisy", "--folds", "0")):
            first = self.train("--threads", "1", *options)
            self.assertEqual(self.train("--threads", "1", *options), first)
            self.assertEqual(self.train("--threads", "3", *options), first)

    def test_options_change_the_model(self):
        plain = self.train()
        self.assertIn(b"\nthreshold -", plain)
        self.assertNotIn(b"\nthreshold ", self.train("--folds", "0"))
        self.assertEqual(max(int(x) for x in re.findall(rb"\ncomponents (\d+)", plain)), 4)
        self.assertEqual(set(re.findall(rb"\ncomponents (\d+)", self.train("--components", "1"))), {b"1"})
        self.assertIn(b"\nnormalisation variance\n", self.train("--normalise", "variance"))
        self.assertIn(b"\nwidth 26\n", self.train("--derivatives", "1"))

    def test_parameters_out_of_all_range(self):
        text = self.train("--folds", "0", "--components", "1")
        body = re.sub(rb"\nvariance \S+", b"\nvariance 1e308", text[:text.rindex(b"end ")], count=1)
        value = 0xcbf29ce484222325
        for byte in body:
            value = (value ^ byte) * 0x100000001b3 % 2 ** 64
        model, file = self.write("model", body + b"end %016x\n" % value), recordings("test", "no")[0]
        for scorer in SCORERS:
            result = run(model, file, "--scorer", scorer)
            if scorer.startswith("16bit"):
                self.assertEqual(result.returncode, 1)
                self.assertEqual(result.stderr,
                                 f"recognise: {model}: the means and variances are too far apart for 16 bits\n")
            else:
                self.assertEqual(ANSWER.match(result.stdout.strip())["word"], "no")

    def test_one_speaker_alone(self):
        for word in os.listdir(self.words):
            for name in os.listdir(os.path.join(self.words, word)):
                if not name.startswith(sorted(os.listdir(os.path.join(self.words, word)))[0].split("_")[0]):
                    os.remove(os.path.join(self.words, word, name))
        self.assertIn(b"\nthreshold -", self.train())

    def test_folders_that_do_not_fit(self):
        out = self.write("model", "kept")
        cases = []
        for name, make in (("nothing", lambda path: None), ("empty", os.makedirs),
                           ("a_file", lambda path: self.write("a_file", "text"))):
            make(self.path(name))
            cases.append(self.path(name))
        for index, (samples, rate, channels) in enumerate((([0] * 8000, 8000, 1), (range(8000), 16000, 1),
                                                           (range(8000), 8000, 2), (range(100), 8000, 1))):
            words = self.path(f"bad{index}")
            shutil.copytree(self.words, words)
            write_wave(os.path.join(words, "yes", "zz_1.wav"), samples, rate, channels)
            cases.append(words)
        for case in cases:
            result = run("train", case, "-o", out)
            self.assertEqual(result.returncode, 1, case)
            self.assertEqual(len(result.stderr.splitlines()), 1, result.stderr)
            self.assertIn(case, result.stderr)
            with open(out, encoding="ascii") as file:
                self.assertEqual(file.read(), "kept")
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(["words", "empty", "a_file", "model"] +
                                                                 [f"bad{i}" for i in range(4)]))

    def test_other_files_are_left_out_with_a_remark(self):
        plain = self.train("--folds", "0")
        with open(os.path.join(self.words, "yes", "notes.txt"), "w", encoding="ascii") as file:
            file.write("a remark")
        result = run("train", self.words, "-o", self.path("model"), "--folds", "0")
        self.assertEqual(result.returncode, 0)
        self.assertIn("notes.txt", result.stderr)
        with open(self.path("model"), "rb") as file:
            self.assertEqual(file.read(), plain)

    def test_wrong_use(self):
        self.train("--folds", "0")
        good, = recordings("test", "no")
        for arguments in ((), ("train",), ("train", self.words, "more", "-o", "x"),
                          ("train", self.words, "-o", "x", "--components", "0"),
                          ("train", self.words, "-o", "x", "--normalise", "median"), ("test",), ("test", "model"),
                          ("test", "model", self.words, "--snr", "10"),
                          ("test", "model", self.words, "--noise", "brown"), ("demo",), (self.path("model"),),
                          (self.path("model"), good, "--word-penalty", "-9"),
                          ("test", "model", self.words, "--word-penalty", "-9"),
                          (self.path("model"), good, "--nbest", "0"),
                          (self.path("model"), good, "--nbest", "51"), (self.path("model"), good, "--scorer", "best"),
                          ("--unknown-option", "model")):
            result = run(*arguments, cwd=self.folder)
            self.assertEqual(result.returncode, 2, arguments)
            self.assertIn("usage: recognise train", result.stderr)
            self.assertEqual(result.stdout, "")
        self.assertNotIn("x", os.listdir(self.folder))
        result = run("test", self.path("model"), folder("test"), "--unknown", folder("unknown"))
        self.assertEqual(result.returncode, 1)
        self.assertIn("has no threshold of confidence", result.stderr)

    def test_help(self):
        result = run("--help")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        for option in ("--components", "--nbest", "--noisy", "--filters", "--word-penalty"):
            self.assertIn(option, result.stdout)


if __name__ == "__main__":
    unittest.main()
