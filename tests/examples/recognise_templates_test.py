"""recognise --templates on recordings of words: usage: recognise_templates_test.py PROGRAM MAKE_WORDS WORDS_FOLDER"""
import array
import math
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import wave

sys.dont_write_bytecode = True
from program_test_case import ProgramTestCase, run_program

PROGRAM, MAKE_WORDS, WORDS = (os.path.abspath(sys.argv.pop(1)) for _ in range(3))
TRAIN, TEST = os.path.join(WORDS, "train"), os.path.join(WORDS, "test")
LARGEST = 3.4e38


def run(*arguments):
    return run_program([PROGRAM, *arguments])


def fnv(content):
    value = 0xcbf29ce484222325
    for byte in content:
        value = (value ^ byte) * 0x100000001b3 % 2 ** 64
    return value


def recordings(folder, word, count):
    place = os.path.join(folder, word)
    return [os.path.join(place, name) for name in sorted(os.listdir(place))[:count]]


def templates_of(text):
    """{word: [rows of whole numbers]} of a model's text."""
    words = {}
    for line in text.splitlines():
        name, *values = line.split(" ")
        if name == "word":
            words[values[0]] = here = []
        elif name == "frames":
            here.append([])
        elif name == "row":
            here[-1].append([int(x) for x in values])
    return words


def warped(a, b, band, beam, scale):
    """The distance a frame by its definition, from rows of whole numbers that are values times scale; None if no
    path leads from start to end."""
    short, long = (a, b) if len(a) < len(b) else (b, a)
    n, m = len(short), len(long)
    between = lambda x, y: math.sqrt(sum((p - q) ** 2 for p, q in zip(x, y))) / scale
    first, last = 0, min(band, n - 1)
    row = {j: between(long[0], short[j]) for j in range(first, last + 1)}
    for t in range(m):
        if t > 0:
            high = band + 2 * t if 3 * t < 2 * n - m else n + band + ((t - m - 1) >> 1)
            low = n - band + 2 * (t - m) + 1 if 3 * t > 2 * (2 * m - n) - 2 else t // 2 - band
            first, last = max(first, low, 0), min(last + 2, high, n - 1)
            row = {j: between(long[t], short[j]) + min(row.get(j - k, LARGEST) for k in range(3))
                   for j in range(first, last + 1)}
        columns = [j for j in row if row[j] < LARGEST]
        if not columns:
            return None
        limit = min(row.values()) + beam
        for edge in sorted(row, reverse=True), sorted(row):
            for j in edge:
                if len(row) == 1 or row[j] <= limit:
                    break
                del row[j]
        first, last = min(row), max(row)
    return min(row.values()) / m


class Folder(ProgramTestCase):
    def subset(self, name, words, count, source=TRAIN):
        for word in words:
            os.makedirs(os.path.join(self.path(name), word))
            for file in recordings(source, word, count):
                shutil.copy(file, os.path.join(self.path(name), word))
        return self.path(name)

    def text(self, name):
        with open(self.path(name)) as file:
            return file.read()

    def done(self, *arguments):
        result = run(*arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result.stdout

    def train(self, folder, name, *options):
        self.done("train", folder, "-o", self.path(name), *options)
        return self.path(name)

    def refused(self, *arguments, code=1):
        result = run(*arguments)
        self.assertEqual(result.returncode, code, result.stdout + result.stderr)
        self.assertEqual(result.stdout, "")
        if code == 1:
            self.assertEqual(result.stderr.count("\n"), 1, result.stderr)
        self.assertTrue(result.stderr.startswith("recognise: "), result.stderr)
        return result.stderr.split("\n")[0]

    def sound(self, name, samples, rate=8000, channels=1):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with wave.open(self.path(name), "wb") as file:
            file.setparams((channels, 2, rate, 0, "NONE", ""))
            file.writeframes(array.array("h", samples).tobytes())
        return self.path(name)


class Distances(Folder):
    WORDS_HERE = ["no", "seven"]

    def nbest(self, model, file, *options):
        lines = self.done(model, file, "--nbest", "9", *options).splitlines()
        found = [line.split() for line in lines[1:]]
        self.assertRegex(lines[0], rf"^{re.escape(file)}: {found[0][2]}  distance {found[0][1]}  margin \d+\.\d+$")
        self.assertEqual([int(place) for place, _, _ in found], list(range(1, len(found) + 1)))
        return {word: float(value) for _, value, word in found}

    def test_are_those_of_the_definition_in_every_arithmetic(self):
        folder = self.subset("few", self.WORDS_HERE, 2)
        for band, beam in (15, 10), (4, 1.5):
            model = self.train(folder, "model", "--templates", "all", "--votes", "2", "--band", str(band), "--beam",
                               str(beam))
            words = templates_of(self.text("model"))
            for place, file in enumerate(recordings(TRAIN, "seven", 2)):
                spoken = words["seven"][place]
                in_bytes = lambda rows: [[max(-128, min(127, (x + 8) >> 4)) for x in row] for row in rows]
                for arithmetic, convert, scale in ("float", list, 256), ("16bit", list, 256), ("8bit", in_bytes, 16):
                    found = self.nbest(model, file, "--scorer", arithmetic)
                    for word in self.WORDS_HERE:
                        wanted = [warped(convert(spoken), convert(other), band, beam, scale) for other in words[word]]
                        wanted = [x for x in wanted if x is not None]
                        # A sum of integers is rounded to a whole one.
                        self.assertAlmostEqual(found[word], sum(wanted) / len(wanted), delta=1e-3,
                                               msg=(arithmetic, word, band, beam))

    def test_to_itself_is_zero_and_the_margin_tells_the_words_apart(self):
        model = self.train(self.subset("few", self.WORDS_HERE, 3), "model", "--templates=all", "--votes=1")
        found = self.nbest(model, recordings(TRAIN, "no", 1)[0])
        self.assertEqual(found["no"], 0)
        spoken = recordings(TEST, "no", 1)[0]
        found = self.nbest(model, spoken)
        margin = float(self.done(model, spoken).split()[-1])
        self.assertAlmostEqual(margin, max(found.values()) / min(found.values()) - 1, delta=2e-3)

    def test_the_template_in_the_middle_is_chosen(self):
        folder = self.subset("few", ["no"], 6)
        everything, = templates_of(self.text(self.train(folder, "all", "--templates", "all"))).values()
        one, = templates_of(self.text(self.train(folder, "one", "--templates", "1"))).values()
        self.assertEqual(len(everything), 6)
        # Of two as long as each other the later one is the first argument.
        between = lambda i, j: warped(everything[max(i, j)], everything[min(i, j)], 15, 10, 256)
        sums = [sum(0 if i == j else between(i, j) or 1e4 for j in range(6)) for i in range(6)]
        self.assertEqual(one, [everything[sums.index(min(sums))]])

    def test_what_is_much_shorter_is_not_recognised(self):
        model = self.train(self.subset("few", ["seven"], 2), "model", "--templates", "all", "--band", "1")
        file = self.sound("short.wav", [int(9000 * math.sin(i * 0.7)) for i in range(1000)])
        self.assertEqual(self.done(model, file), f"{file}: not recognised\n")


class Accuracy(Folder):
    def table(self, output):
        return {name: float(share) for name, share in re.findall(r"^(\w+) +(\d+\.\d\d) % +\d+$", output, re.M)}

    def test_of_voices_that_were_not_trained(self):
        model = self.train(TRAIN, "model", "--templates", "24")
        self.assertEqual({len(t) for t in templates_of(self.text("model")).values()}, {24})
        output = self.done("test", model, TEST)
        table = self.table(output)
        self.assertGreaterEqual(table["float"], 97, output)
        for name in "16bit", "8bit":
            self.assertLessEqual(abs(table[name] - table["float"]), 1, output)
        self.assertRegex(output, r"words a second: float \d+, 16bit \d+, 8bit \d+")
        self.assertIn("lanc-iven", output)

    def test_in_noise_lies_between_chance_and_clean(self):
        words = ["no", "seven", "start", "two"]
        model = self.train(self.subset("train", words, 40), "model", "--templates", "all")
        test = self.subset("test", words, 16, TEST)
        shares = [self.table(self.done("test", model, test, *noise))["float"]
                  for noise in ([], ["--noise", "white", "--snr", "15"], ["--noise", "white", "--snr", "-20"])]
        self.assertGreater(shares[0], 95)
        self.assertGreater(shares[1], 60)
        self.assertLess(shares[2], shares[1])

    def test_the_page_is_written(self):
        model = self.train(self.subset("train", ["no", "yes"], 3), "model", "--templates", "2")
        self.done("test", model, self.subset("test", ["no", "yes"], 2, TEST), "--page", self.path("page.html"))
        page = self.text("page.html")
        self.assertTrue(page.startswith("<!DOCTYPE html>"), page[:50])
        self.assertIn("8bit", page)

    def test_any_number_of_threads_and_two_runs_give_the_same_bytes(self):
        folder = self.subset("few", ["no", "seven", "two"], 9)
        models = [self.text(self.train(folder, f"model{i}", "--templates", "3", "--threads", threads))
                  for i, threads in enumerate(("1", "1", "5"))]
        self.assertEqual(len(set(models)), 1)
        answers = {self.done(self.path("model0"), *recordings(TEST, "two", 9)) for _ in range(2)}
        self.assertEqual(len(answers), 1)


class BadInput(Folder):
    def test_models(self):
        model = self.train(self.subset("words", ["no", "yes"], 2), "model", "--templates", "1")
        text, file = self.text("model"), recordings(TEST, "no", 1)[0]
        ends = lambda content: content + f"end {fnv(content.encode()):016x}\n"
        body = text[:text.rindex("end ")]
        self.assertEqual(ends(body), text)
        for name, changed, reason in (
                ("cut", text[:len(text) // 2], "line"),
                ("digit", re.sub(r"row (-?)\d", r"row \g<1>7", text), "was damaged"),
                ("order", ends(body.replace("word no", "word zz")), "the words are in no order"),
                ("twice", ends(body.replace("word yes", "word no")), "the words are in no order"),
                ("large", ends(re.sub(r"row -?\d+", "row 40000", body, count=1)), "16 bits"),
                ("few", ends(re.sub(r"(row .*) -?\d+\n", r"\1\n", body, count=1)), "too few"),
                ("many", ends(re.sub(r"(row .*)\n", r"\1 1\n", body, count=1)), "too many"),
                ("beam", ends(re.sub(r"beam .*", "beam 0", body)), "beam"),
                ("none", ends(re.sub(r"votes .*", "votes 0", body)), "votes"),
                ("version", text.replace("zelsr-templates 1", "zelsr-templates 2"), "version"),
                ("behind", text + "more\n", "line")):
            path = self.write(name, changed)
            for line in self.refused(path, file), self.refused("test", path, TEST):
                self.assertTrue(line.startswith(f"recognise: {path}: "), line)
                self.assertIn(reason, line)
        self.assertIn("no such file", self.refused(self.path("missing"), file))
        self.assertIn("has 16000 Hz", self.refused(model, self.sound("fast.wav", [9000, -9000] * 8000, 16000)))

    def test_recordings(self):
        tone = [int(9000 * math.sin(i * 0.7)) for i in range(4000)]
        cases = {"stereo": (tone * 2, 8000, 2, "2 channels"), "silence": ([3] * 4000, 8000, 1, "silent"),
                 "short": (tone[:500], 8000, 1, "shorter than 0.1 s"), "empty": ([], 8000, 1, "shorter"),
                 "long": (tone * 21, 8000, 1, "longer than 10 s"), "rate": (tone, 11025, 1, "11025 samples a second")}
        for name, (samples, rate, channels, reason) in cases.items():
            self.sound(f"{name}/no/a.wav", tone)
            bad = self.sound(f"{name}/no/b.wav", samples, rate, channels)
            line = self.refused("train", self.path(name), "-o", self.path("model"), "--templates", "1")
            self.assertTrue(line.startswith(f"recognise: {bad}: "), line)
            self.assertIn(reason, line)
            self.assertFalse(os.path.exists(self.path("model")))
        self.sound("text/no/a.wav", tone)
        for name, content, reason in ("words.wav", b"no sound at all\n" * 9, "not a sound"), ("none.flac", b"", "empty"):
            self.write(f"text/no/{name}", content)
            line = self.refused("train", self.path("text"), "-o", self.path("model"), "--templates", "1")
            self.assertIn(reason, line)
            os.remove(self.path(f"text/no/{name}"))
        for name in "nothing", "without/no", "blank/two words":
            os.makedirs(self.path(name))
        self.sound("blank/two words/a.wav", tone)
        for name, reason in (("nothing", "no folders"), ("without", "no recordings"), ("blank", "blanks"),
                             ("missing", "no such folder"), ("text/no/a.wav", "not a folder")):
            line = self.refused("train", self.path(name), "-o", self.path("model"), "--templates", "1")
            self.assertRegex(line, reason)

    def test_what_is_no_recording_is_left_out_with_a_remark(self):
        folder = self.subset("few", ["no", "yes"], 2)
        for name in "few/readme.txt", "few/no/labels.TXT", "few/no/.hidden", "few/.git":
            self.write(name, "text")
        os.makedirs(self.path("few/yes/older"))
        # Two samples that are no numbers.
        with open(self.path("few/yes/nan.wav"), "wb") as file:
            data = struct.pack("<4000f", *(math.nan if i < 2 else 0.3 * math.sin(i * 0.7) for i in range(4000)))
            file.write(b"RIFF" + struct.pack("<I", 36 + len(data)) + b"WAVEfmt " +
                       struct.pack("<IHHIIHH", 16, 3, 1, 8000, 32000, 4, 32) + b"data" +
                       struct.pack("<I", len(data)) + data)
        result = run("train", folder, "-o", self.path("model"), "--templates", "all")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual({line.split(": ")[1].split("/few/")[1] for line in result.stderr.splitlines()
                          if line.startswith("recognise: ")},
                         {"readme.txt", "no/labels.TXT", "yes/older", "yes/nan.wav"})
        self.assertEqual([len(t) for t in templates_of(self.text("model")).values()], [2, 3])

    def test_command_lines(self):
        model = self.train(self.subset("few", ["no", "yes"], 2), "model", "--templates", "1")
        file = recordings(TEST, "no", 1)[0]
        for arguments in (["train", TRAIN, "-o", "x", "--templates", "0"],
                          ["train", TRAIN, "-o", "x", "--templates", "some"], ["train", TRAIN, "-o", "x", "--votes", "2"],
                          ["train", TRAIN, "-o", "x", "--templates", "1", "--components", "2"],
                          ["train", TRAIN, "-o", "x", "--templates", "1", "--beam", "nan"],
                          ["test", model, TEST, "--connected"], ["test", model, TEST, "--unknown", TEST],
                          ["test", model, TEST, "--snr", "3"], ["test", model, TEST, "--noise", "red"],
                          [model, file, "--connected"], [model, file, "--scorer", "selection"], [model]):
            self.refused(*arguments, code=2)
        # The good ones among several files come out.
        result = run(model, file, self.path("missing.wav"), file)
        self.assertEqual((result.returncode, result.stdout.count(": no  distance")), (1, 2), result.stdout)
        self.assertIn("no such file", result.stderr)
        self.assertIn("1 of 3 files left out", result.stderr)


def text_of(*parts):
    with open(os.path.join(WORDS, *parts)) as file:
        return file.read()


class MakeWords(ProgramTestCase):
    def make(self, *arguments):
        return subprocess.run([MAKE_WORDS, *arguments], capture_output=True, text=True, timeout=60)

    def test_the_folder_is_as_described(self):
        _, _, *lines = text_of("voices.txt").splitlines()
        voices = [line.split() for line in lines]
        by_part = {part: [v for v in voices if v[1] == part] for part in ("train", "test")}
        self.assertEqual([len(by_part["train"]), len(by_part["test"])], [20, 8])
        self.assertFalse({v[3] for v in by_part["train"]} & {v[3] for v in by_part["test"]}, "a variant in both")
        for part, count in ("train", 40), ("test", 16), ("unknown", 8):
            words = os.listdir(os.path.join(WORDS, part))
            self.assertEqual(len(words), 10 if part == "unknown" else 20)
            for word in words:
                files = os.listdir(os.path.join(WORDS, part, word))
                self.assertEqual(len(files), count)
                names = {v[0] for v in by_part["train" if part == "train" else "test"]}
                self.assertEqual({name[:name.rindex("_")] for name in files}, names)
        texts = [name for name in os.listdir(os.path.join(WORDS, "connected")) if name.endswith(".txt")]
        vocabulary = set(os.listdir(TRAIN))
        for name in texts:
            spoken = text_of("connected", name).split()
            self.assertTrue(3 <= len(spoken) <= 7 and set(spoken) <= vocabulary, spoken)
        self.assertEqual(len(texts), 32)

    def test_a_whole_folder_stays_and_another_is_refused(self):
        before = os.stat(WORDS).st_mtime_ns, os.stat(WORDS).st_ino
        result = self.make(WORDS)
        self.assertEqual((result.returncode, result.stdout), (0, f"{WORDS}: complete\n"), result.stderr)
        self.assertEqual((os.stat(WORDS).st_mtime_ns, os.stat(WORDS).st_ino), before)
        mine = self.write("mine.txt", "precious")
        for arguments in [self.folder], ["--replace", self.folder], [mine], ["--replace", mine]:
            result = self.make(*arguments)
            self.assertEqual((result.returncode, result.stderr.count("\n")), (1, 1), result.stderr)
        self.assertEqual(os.listdir(self.folder), ["mine.txt"])
        self.assertEqual([self.make(*words).returncode for words in ([], ["a", "b"], ["--help"])], [2, 2, 2])

    def test_a_run_that_is_cut_off_leaves_nothing(self):
        with tempfile.TemporaryDirectory() as temporary:
            environment = dict(os.environ, TMPDIR=temporary)
            process = subprocess.Popen([MAKE_WORDS, self.path("words")], env=environment, stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL)
            try:
                process.wait(1)
            except subprocess.TimeoutExpired:
                process.terminate()
            self.assertNotEqual(process.wait(20), 0)
            self.assertEqual((os.listdir(self.folder), os.listdir(temporary)), ([], []))


if __name__ == "__main__":
    unittest.main()
