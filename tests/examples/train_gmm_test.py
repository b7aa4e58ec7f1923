"""train_gmm on made-up features and real sound: usage: train_gmm_test.py PROGRAM SPEECH_FOLDER [unittest options]"""
import math
import os
import random
import re
import struct
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from program_test_case import npy
from train_gmm_test_case import PROGRAM, ROUNDING, TrainTestCase, made_up, run

SPEECH = os.path.abspath(sys.argv.pop(1))
FEATURES = os.path.join(os.path.dirname(PROGRAM), "features")
SENTENCES = [os.path.join(SPEECH, name) for name in sorted(os.listdir(SPEECH)) if name.endswith(".flac")]
PASS = re.compile(r"^ +(\d+) +(\d+) +(\d+) +(-?[\d.]+)$", re.MULTILINE)
SCORED = re.compile(r"^ +(\d+) +(-?[\d.]+|-)  (.*)$", re.MULTILINE)


class TrainTest(TrainTestCase):
    def passes(self, output):
        """[(components, pass, log likelihood)], which never falls."""
        found = [(int(a), int(b), float(d)) for a, b, _, d in PASS.findall(output)]
        self.assertGreater(len(found), 0, output)
        for (components, _, before), (same, number, after) in zip(found, found[1:]):
            self.assertGreaterEqual(after, before - 1.5e-6, output)  # both are rounded to six digits
            if components != same:
                self.assertEqual(number, 1)
        return found

    # What is computed

    def test_first_model_is_the_gaussian_of_all_rows(self):
        files, rows = self.features()
        self.done("init", *files, "-o", self.path("m"), "--floor=0.25")
        model = self.model("m")
        mean = [math.fsum(c) / len(rows) for c in zip(*rows)]
        variance = [math.fsum((x - m) ** 2 for x in c) / len(rows) for c, m in zip(zip(*rows), mean)]
        for found, wanted in ((model.means[0], mean), (model.variances[0], variance),
                              (model.floor, [0.25 * v for v in variance])):
            for a, b in zip(found, wanted):
                self.assertLess(abs(a - b), 1e-13 * abs(b))
        self.assertEqual(model.weights, [1])

    def test_a_step_is_the_definition(self):
        files, rows = self.features()
        line = lambda word, values: f"{word} {' '.join(map(str, values))}\n"
        self.write("m", "zelsr-mixture 1\nfeatures given\nwidth 3\ncomponents 3\n" + line("floor", [0.5, 1.25, 1]) +
                   "".join(line("weight", [weight]) + line("mean", row) + line("variance", [4, 5.5, 3])
                           for weight, row in zip((0.25, 0.5, 0.25), rows)) + "end\n")
        for _ in range(3):
            wanted = self.model("m")
            self.done("accumulate", self.path("m"), *files, "-o", self.path("s"))
            likelihood = math.fsum(map(wanted.log_likelihood, rows))
            found = float(re.search("^log-likelihood (.*)$", self.text("s"), re.MULTILINE).group(1))
            # The library's ln(1 + e^d) has 5e-14, and drops a term below 1e-10.
            self.assertLess(abs(found - likelihood), 2e-10 * len(rows))
            wanted.reestimate(rows)
            self.done("update", self.path("m"), self.path("s"), "-o", self.path("m"))
            self.check_close(self.model("m"), wanted, 1e-8)

    def test_a_split_moves_the_heaviest_apart(self):
        files, _ = self.features()
        self.done("train", *files, "-o", self.path("m"), "--components=3")
        self.done("accumulate", self.path("m"), *files, "-o", self.path("s"))
        self.done("update", self.path("m"), self.path("s"), "-o", self.path("same"))
        self.done("update", self.path("m"), self.path("s"), "-o", self.path("split"), "--split=5")
        before, after = self.model("same"), self.model("split")
        heavy = sorted(range(3), key=lambda j: -before.weights[j])[:2]
        for j in range(3):
            halves = [j] + ([3 + heavy.index(j)] if j in heavy else [])
            for half, sign in zip(halves, (1, -1)):
                self.assertEqual(after.weights[half] * len(halves), before.weights[j])
                self.assertEqual(after.variances[half], before.variances[j])
                shift = 0.2 * sign * (len(halves) - 1)
                for m, n, v in zip(after.means[half], before.means[j], before.variances[j]):
                    self.assertAlmostEqual(m, n + shift * math.sqrt(v), delta=1e-13 * abs(n))
        self.assertIn("3 components split into 3 to 6, not 7",
                      self.refused("update", self.path("m"), self.path("s"), "-o", self.path("x"), "--split=7"))

    def test_scores_are_the_definition(self):
        files, rows = self.features()
        self.done("train", *files, "-o", self.path("m"), "--components=5")
        model = self.model("m")
        scored = SCORED.findall(self.done("score", self.path("m"), *files))
        self.assertEqual([name for _, _, name in scored], files + ["all of them"])
        start = 0
        for count, found, name in scored:
            part = rows if name == "all of them" else rows[start:start + int(count)]
            start += int(count)
            self.assertEqual(len(part), int(count))
            wanted = math.fsum(map(model.log_likelihood, part)) / len(part)
            self.assertLess(abs(float(found) - wanted), 6e-7)  # six digits

    def test_training_finds_the_centres(self):
        rows = made_up(4000, width=5, apart=6)
        self.done("train", self.write("a.npy", npy(rows)), "-o", self.path("m"), "--components=4", "--gain=1e-6",
                  "--passes=200")
        model = self.model("m")
        noise = random.Random(1)
        for _ in range(4):
            centre = [noise.gauss(20, 6) for _ in range(5)]
            # A thousand points each: the mean of one is known to 3 / sqrt(1000).
            self.assertLess(min(math.dist(mean, centre) for mean in model.means), 0.5)

    # Shares of the work

    def by_shards(self, files, shards, plan, name):
        """Trains with accumulate, merge and update as a scheduler would; plan: components after each update."""
        self.done("init", *files, "-o", self.path(name))
        for components in plan:
            parts = [self.path(f"{name}.stats{i}") for i in range(shards)]
            for i, part in enumerate(parts):
                self.done("accumulate", self.path(name), *files, "-o", part, f"--shard={i + 1}/{shards}")
            self.done("merge", *parts, "-o", self.path(name + ".all"))
            self.done("update", self.path(name), self.path(name + ".all"), "-o", self.path(name),
                      f"--split={components}")
        return self.model(name)

    def test_shards_make_the_model_of_one_process(self):
        files, _ = self.features(count=5, rows=60)
        # Three passes each at 1, 2 and 4 components. Two of seven shards of five files have none.
        plan = [1, 1, 2, 2, 2, 4, 4, 4, 4]
        self.done("train", *files, "-o", self.path("alone"), "--components=4", "--passes=3", "--gain=0")
        alone = self.model("alone")
        for shards in (1, 2, 7):
            self.check_close(self.by_shards(files, shards, plan, f"m{shards}"), alone, ROUNDING, shards)

    def test_shards_of_files_that_one_call_gets(self):
        files, _ = self.features()
        self.done("train", *files, "-o", self.path("m"), "--components=2", "--passes=2")
        for i, some in enumerate((files[:2], files[2:])):
            self.done("accumulate", self.path("m"), *some, "-o", self.path(f"s{i}"))
        self.done("update", self.path("m"), self.path("s0"), self.path("s1"), "-o", self.path("parts"))
        self.done("accumulate", self.path("m"), *files, "-o", self.path("s"))
        self.done("update", self.path("m"), self.path("s"), "-o", self.path("whole"))
        self.check_close(self.model("parts"), self.model("whole"), ROUNDING)

    def test_every_file_is_in_one_shard(self):
        files, rows = self.features(count=9)
        self.done("init", *files, "-o", self.path("m"))
        frames = []
        for i in range(4):
            self.done("accumulate", self.path("m"), *files, "-o", self.path("s"), "--shard", f"{i + 1}/4")
            found = dict(line.split(" ", 1) for line in self.text("s").splitlines()[:7])
            frames.append(int(found["frames"]))
        self.assertEqual(sum(frames), len(rows))
        self.assertLess(max(frames), 2 * min(frames))

    # Likelihood

    def test_likelihood_never_falls(self):
        files, rows = self.features(rows=60)
        few = self.write("few.npy", npy(rows[:5]))
        equal = self.write("equal.npy", npy([rows[0]] * 20))
        constant = self.write("constant.npy", npy([[row[0], 1000000, 0] for row in rows]))
        for data, *options in ((files, "--components=8"), (files, "--components=6", "--floor=0.5"),
                               (files, "--components=4", "--floor=0"), ([few], "--components=16"),
                               ([equal], "--components=4"), ([constant], "--components=4")):
            found = self.passes(self.done("train", *data, "-o", self.path("m"), "--passes=40", "--gain=0", *options))
            self.assertEqual(found[-1][0], len(self.model("m").weights))

    def test_training_on_speech(self):
        train = [name for name in SENTENCES if "swedish" not in name and "german" not in name]
        held_out = [name for name in SENTENCES if name not in train]
        found = self.passes(self.done("train", *train, "-o", self.path("m"), "--components=16", "--cmn=3"))
        last = {components: likelihood for components, _, likelihood in found}
        self.assertEqual(sorted(last), [1, 2, 4, 8, 16])
        self.assertEqual(sorted(last.values()), [last[c] for c in sorted(last)])

        self.done("init", *train, "-o", self.path("one"), "--cmn=3")
        likelihood = lambda model, files: float(SCORED.findall(self.done("score", self.path(model), *files))[-1][1])
        # Sentences that it has not heard are described far better than by one Gaussian, and almost as well as those
        # that it has.
        self.assertGreater(likelihood("m", held_out), likelihood("one", held_out) + 5)
        self.assertLess(likelihood("m", held_out), likelihood("m", train))

    def test_training_goes_on_from_a_model(self):
        files, _ = self.features()
        self.done("train", *files, "-o", self.path("whole"), "--components=4", "--passes=2", "--gain=0")
        self.done("train", *files, "-o", self.path("half"), "--components=2", "--passes=2", "--gain=0")
        self.done("accumulate", self.path("half"), *files, "-o", self.path("s"))
        self.done("train", *files, "-o", self.path("more"), "--from", self.path("half"), "--components=2",
                  "--passes=1")
        self.done("update", self.path("half"), self.path("s"), "-o", self.path("half"))
        self.assertEqual(self.text("more"), self.text("half"))
        self.assertIn("has 4 components, more than 2",
                      self.refused("train", *files, "-o", self.path("x"), "--from", self.path("whole"),
                                   "--components=2"))

    def test_a_component_without_frames_keeps_its_place(self):
        files, _ = self.features()
        self.done("train", *files, "-o", self.path("m"), "--components=2")
        lines = self.text("m").splitlines()
        at = [i for i, line in enumerate(lines) if line.startswith("mean ")][1]
        lines[at] = "mean 1000000 -1000000 1000000"
        self.write("m", "\n".join(lines) + "\n")
        self.done("accumulate", self.path("m"), *files, "-o", self.path("s"))
        self.done("update", self.path("m"), self.path("s"), "-o", self.path("next"))
        model = self.model("next")
        self.assertEqual(model.means[1], [1e6, -1e6, 1e6])
        self.assertEqual(model.variances[1], self.model("m").variances[1])
        self.assertTrue(0 < model.weights[1] <= 1e-10)

    # Features

    def test_feature_files_are_the_sound(self):
        sound = SENTENCES[0]
        self.done("train", sound, "-o", self.path("m"), "--components=2", "--derivatives=1")
        score = lambda name: SCORED.findall(self.done("score", self.path("m"), name))[0][:2]
        wanted = score(sound)
        for name, *options in (("a.npy",), ("a.htk",), ("a.mfc", "--fixed")):
            made = subprocess.run([FEATURES, sound, self.path(name), "--derivatives=1", *options],
                                  capture_output=True)
            self.assertEqual(made.returncode, 0, made.stderr)
            found = score(self.path(name))
            self.assertEqual(found[0], wanted[0])
            # In 16 bits features are rounded to 1/128.
            self.assertLess(abs(float(found[1]) - float(wanted[1])), 0.5 if options else 1e-6)
            # And such a file trains a model of its own, with the same width and no options.
            self.done("init", self.path(name), "-o", self.path("given"))
            self.assertIn("\nfeatures given\nwidth 26\n", self.text("given"))
        self.assertRegex(self.text("m"), r"^zelsr-mixture 1\nrate 16000\nfeatures --frame=25 .*--derivatives=1 --cmn=0\n")
        self.assertIn("is a sound file, and the model is one of feature files",
                      self.refused("score", self.path("given"), sound))

    def test_doubles_are_read(self):
        files, rows = self.features(count=1)
        wide = self.write("wide.npy", npy(rows, "<f8"))
        for name, file in (("m", files[0]), ("w", wide)):
            self.done("init", file, "-o", self.path(name))
        self.assertEqual(self.text("m"), self.text("w"))

    def test_options_of_the_features_stay_with_the_model(self):
        options = ["--frame=20", "--shift=12.5", "--offset=0", "--pre-emphasis=0.9", "--filters=20", "--low=100",
                   "--high=3800.5", "--cepstra=8", "--lifter=0", "--energy=log", "--derivatives=1", "--cmn=2"]
        self.done("init", *SENTENCES[:1], "-o", self.path("m"), *options)
        self.assertIn("\nfeatures " + " ".join(options) + "\nwidth 18\n", self.text("m"))
        frames = int(SCORED.findall(self.done("score", self.path("m"), SENTENCES[0]))[0][0])
        self.assertEqual(frames, int(re.search("([0-9]+) frames", subprocess.run(
            [FEATURES, SENTENCES[0], self.path("a.npy"), *options], capture_output=True, text=True).stdout).group(1)))

    def test_files_that_do_not_fit_are_refused(self):
        files, rows = self.features()
        self.done("init", *files, "-o", self.path("m"))
        good = npy(rows)
        nan, inf = float("nan"), float("inf")
        for name, content, reason in (
                ("none.npy", None, "no such file"), ("a.csv", b"c1\n1\n", "CSV is not read"),
                ("a.npy", b"", "is cut short"), ("a.npy", b"RIFFxxxxWAVE", "is not a .npy file"),
                ("a.npy", good[:60], "is cut short"),
                ("a.npy", good[:-1], f"is cut short: it promises {len(rows)} rows and holds {len(rows) - 1}"),
                ("a.npy", npy([[1, 2, 3]] * 4, "<i2"), "holds 16-bit integers, whose scale it does not tell"),
                ("a.npy", npy(rows, order="True"), "is stored by columns"),
                ("a.npy", npy(rows, shape="(12,)"), "holds no matrix"),
                ("a.npy", npy(rows, shape="(1, 2, 3)"), "holds no matrix"),
                ("a.npy", npy(rows, shape="(-1, 3)"), "promises -1 rows of 3 values"),
                ("a.npy", npy(rows, shape="(1, 999999)"), "promises 1 rows of 999999 values"),
                ("a.npy", npy([[1, 2, 3, 4]]), "has 4 values a row, and the model 3"),
                ("a.npy", npy(rows[:70] + [[1, nan, 3]]), "row 70, column 1 is not a finite number"),
                ("a.npy", npy([[1, 2, 3], [1, 2, -inf]]), "row 1, column 2 is not a finite number"),
                ("a.htk", b"\0\0", "is cut short"), ("a.htk", struct.pack(">IIHH", 5, 1, 12, 6), "is cut short: it"),
                ("a.htk", struct.pack(">IIHH", 5, 1, 7, 6), "is not an HTK file"),
                ("a.htk", struct.pack(">IIHH", 2, 1, 6, 0o2006) + bytes(24), "promises -2 rows")):
            if content is not None:
                self.write(name, content)
            complaint = self.refused("accumulate", self.path("m"), *files, self.path(name), "-o", self.path("s"))
            self.assertIn(self.path(name) + ": " + reason, complaint)

    def test_sound_of_another_rate_is_refused(self):
        self.done("init", SENTENCES[0], "-o", self.path("m"))
        data = struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 16036, b"WAVE", b"fmt ", 16, 1, 1, 8000, 16000, 2, 16,
                           b"data", 16000) + bytes(16000)
        self.assertIn("has 8000 Hz, and the model is one of sound at 16000 Hz",
                      self.refused("score", self.path("m"), self.write("a.wav", data)))

    # Files that are not what they were

    def test_statistics_that_are_damaged_are_refused(self):
        files, _ = self.features()
        self.done("train", *files, "-o", self.path("m"), "--components=2", "--passes=1")
        self.done("accumulate", self.path("m"), *files[:2], "-o", self.path("s"))
        self.done("accumulate", self.path("m"), *files[2:], "-o", self.path("other"))
        whole = self.text("s")
        self.write("next", "as it was\n")
        damaged = [whole[:length] for length in list(range(0, len(whole), 37)) + [len(whole) - 1, len(whole) - 2]]
        digits = [i for i, c in enumerate(whole) if c.isdigit()]
        for i in digits[5::29]:
            damaged.append(whole[:i] + str((int(whole[i]) + 1) % 10) + whole[i + 1:])
        damaged += [whole + "more\n", whole.replace("files 2", "files -2"), whole.replace("width 3", "width 4"),
                    whole.replace("width 3", "width 4000000000"), whole.replace("components 2", "components 16000"),
                    whole.replace("zelsr-statistics 1", "zelsr-statistics 2"), "\0" * 100, self.text("m")]
        for content in damaged:
            self.write("bad", content)
            for command in (["merge", self.path("other"), self.path("bad")],
                            ["update", self.path("m"), self.path("bad")])[:1 if content is not damaged[5] else 2]:
                self.assertRegex(self.refused(*command, "-o", self.path("next")), "/bad: line [0-9]+: ")
        self.assertIn("should follow", self.cut_complaint(whole))

    def cut_complaint(self, whole):
        self.write("bad", whole[:len(whole) // 2])
        return self.refused("update", self.path("m"), self.path("bad"), "-o", self.path("next"))

    def test_statistics_of_another_model_are_refused(self):
        files, _ = self.features()
        for name in ("a", "b"):
            self.done("train", *files[:3 if name == "a" else 4], "-o", self.path(name), "--components=2")
            self.done("accumulate", self.path(name), *files, "-o", self.path("of_" + name))
        self.write("next", "as it was\n")
        self.assertIn("of_b: gathered under another model than " + self.path("a"),
                      self.refused("update", self.path("a"), self.path("of_b"), "-o", self.path("next")))
        for command in (["merge"], ["update", self.path("a")]):
            self.assertIn("of_b: gathered under another model, ",
                          self.refused(*command, self.path("of_a"), self.path("of_b"), "-o", self.path("next")))
        # The next model is another one.
        self.done("update", self.path("a"), self.path("of_a"), "-o", self.path("a"))
        self.refused("update", self.path("a"), self.path("of_a"), "-o", self.path("next"))

    def test_statistics_count_once(self):
        files, _ = self.features()
        self.done("init", *files, "-o", self.path("m"))
        self.done("accumulate", self.path("m"), *files, "-o", self.path("s"))
        self.write("copy", self.text("s"))
        for second in ("s", "copy"):
            self.assertIn("holds what " + self.path("s") + " holds",
                          self.refused("merge", self.path("s"), self.path(second), "-o", self.path("all")))

    def test_models_that_are_damaged_are_refused(self):
        files, _ = self.features()
        self.done("train", *files, "-o", self.path("m"), "--components=2", "--passes=1")
        whole = self.text("m")
        weight = re.search("weight .*", whole).group()
        mean = re.search("mean .*", whole).group()
        variance = re.search("variance .*", whole).group()
        damaged = [whole[:length] for length in range(0, len(whole), 41)] + [
            whole[:-1], whole + "\n", whole.replace(weight, "weight 0.9"), whole.replace(weight, "weight nan"),
            whole.replace(weight, "weight -0.5"), whole.replace(mean, mean + " 1"),
            whole.replace(mean, mean.rsplit(" ", 1)[0]), whole.replace(mean, mean.replace(" ", "  ")),
            whole.replace(variance, "variance 1 0 1"), whole.replace(variance, "variance 1 inf 1"),
            whole.replace("features given", "features --frame=25"), whole.replace("components 2", "components 0"),
            whole.replace("components 2", "components 16384"), whole.replace("floor", "flour"),
            whole.replace("features given", "rate 16000\nfeatures --cepstra=5"),
            whole.replace("features given", "rate 16000\nfeatures --unknown=5"),
            whole.replace("features given", "rate 16000\nfeatures --frame=0")]
        for content in damaged:
            self.assertNotEqual(content, whole)
            self.write("bad", content)
            self.assertRegex(self.refused("score", self.path("bad"), *files), "/bad: line [0-9]+: ")

    def test_outputs_are_whole_or_as_they_were(self):
        files, _ = self.features()
        self.done("init", *files, "-o", self.path("m"))
        os.symlink("m", self.path("link"))
        self.done("train", *files, "-o", self.path("link"), "--components=2")
        self.assertTrue(os.path.islink(self.path("link")))
        self.assertEqual(len(self.model("m").weights), 2)
        os.remove(self.path("link"))
        missing = self.path("none/m")
        for command in (["init", *files], ["train", *files], ["accumulate", self.path("m"), *files]):
            self.assertIn("cannot write " + missing, self.refused(*command, "-o", missing))
        os.mkdir(self.path("folder"))
        self.assertIn("is a directory", run("init", *files, "-o", self.path("folder")).stderr)

    def test_models_go_to_the_standard_output(self):
        files, _ = self.features()
        self.done("init", *files, "-o", self.path("m"))
        self.assertEqual(self.done("init", *files, "-o", "/dev/stdout"), self.text("m"))

    # Use

    def test_lists_of_files(self):
        files, _ = self.features()
        listed = self.write("list", "# all but one\r\n" + "\r\n".join(files[1:]) + "\n\n")
        self.done("init", files[0], "--list", listed, "-o", self.path("m"))
        self.done("init", *files, "-o", self.path("n"))
        self.assertEqual(self.text("m"), self.text("n"))
        self.assertIn("list would be overwritten", self.refused("init", "--list", listed, "-o", listed, status=2))
        # A scheduler's part may be empty.
        self.write("list", "# nothing\n")
        self.assertIn("0 files, 0 frames\n",
                      self.done("accumulate", self.path("m"), "--list", listed, "-o", self.path("s")))
        self.assertIn("the statistics hold no frames",
                      self.refused("update", self.path("m"), self.path("s"), "-o", self.path("n")))
        self.assertIn("none: no such file", self.refused("init", "--list", self.path("none"), "-o", self.path("x")))

    def test_long_work_shows_progress(self):
        rows, width = 10000, 1600
        name = self.write("a.npy", npy([[0.0]], shape=f"({rows}, {width})"))
        os.truncate(name, 128 + 4 * rows * width)  # zeros, which take no room on the disk
        result = run("init", name, "-o", self.path("m"))
        self.assertEqual((result.returncode, result.stderr.count("\n")), (0, 2), result.stderr)
        self.assertIn("mean and variances: 61 of 61 MB (100 %)", result.stderr)

    def test_wrong_use(self):
        files, _ = self.features()
        self.done("init", *files, "-o", self.path("m"))
        out = ["-o", self.path("x")]
        for arguments, reason in (
                ([], "no command given"), (["grow"], "'grow' is no command"), (["train", *out], "no files given"),
                (["train", *files], "-o says where"), (["train", *files, *out, "--split=2"], "unknown option"),
                (["train", *files, *out, "--components=0"], "--components takes a whole number"),
                (["train", *files, *out, "--gain=nan"], "--gain takes a number"),
                (["train", *files, *out, "--floor=2"], "--floor takes a number"),
                (["train", *files, *out, "--cepstra=x"], "--cepstra takes"),
                (["train", *files, "-o", files[0]], files[0] + " would be overwritten"),
                (["accumulate", *out], "no model given"), (["accumulate", self.path("m"), *out], "no files given"),
                (["accumulate", self.path("m"), *files, "-o", self.path("m")], "would be overwritten"),
                (["accumulate", self.path("m"), *files, *out, "--cepstra=3"], "unknown option --cepstra"),
                (["merge", *out], "no files given"), (["update", self.path("m"), *out], "no files given"),
                (["score", self.path("m")], "no files given"), (["score"], "no model given"),
                *((["accumulate", self.path("m"), *files, *out, "--shard", shard], "--shard takes I/N")
                  for shard in ("", "1", "0/2", "3/2", "1/2x", "a/b", "-1/2"))):
            self.assertIn(reason, self.refused(*arguments, status=2), arguments)

    def test_help(self):
        output = self.done("--help")
        for name in ("train ", "accumulate", "-o FILE", "--shard I/N", "--split N", "--floor X", "--cmn SECONDS"):
            self.assertIn("\n  " + name, output)


if __name__ == "__main__":
    unittest.main()
