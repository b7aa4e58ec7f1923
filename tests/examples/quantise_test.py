"""quantise on made-up features and real sound: usage: quantise_test.py PROGRAM SPEECH_FOLDER [unittest options]"""
import array
import math
import os
import random
import re
import struct
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
from feature_reference import read_csv, read_htk, read_npy
from program_test_case import ProgramTestCase, npy, run_program

PROGRAM, SPEECH = os.path.abspath(sys.argv.pop(1)), os.path.abspath(sys.argv.pop(1))
FEATURES = os.path.join(os.path.dirname(PROGRAM), "features")
SENTENCES = [os.path.join(SPEECH, name) for name in sorted(os.listdir(SPEECH)) if name.endswith(".flac")]
# name, files, frames, bits a frame, bits a second, squared error, dB, frames a second
ROW = re.compile(r"^(\S.*?) +(training|held out|\d+) +(\d+) +(\d+) +(\d+|-) +(\S+) +(\S+) +(\d+)$", re.MULTILINE)


def run(*arguments):
    return run_program([PROGRAM, *arguments])


def whole_rows(rows, width, seed=1, most=60):
    """Small integers: their distances are exact in single precision, and many are equal."""
    noise = random.Random(seed)
    return [[float(noise.randint(-most, most)) for _ in range(width)] for _ in range(rows)]


def fnv(content):
    value = 0xcbf29ce484222325
    for byte in content:
        value = (value ^ byte) * 0x100000001b3 % 2 ** 64
    return value


def bits_of(count):
    return (count - 1).bit_length()


class Book:
    """A codebook's text, read and searched by the definitions."""

    def __init__(self, text):
        lines = [line.split(" ") for line in text.splitlines()]
        self.identity = fnv(text.encode())
        assert lines[0] == ["zelsr-codebook", "1"] and lines[-1][0] == "end" and text.endswith("\n")
        assert lines[-1][1] == f"{fnv(text[:text.rindex('end ')].encode()):016x}"
        self.weights, = ([float(x) for x in line[1:]] for line in lines if line[0] == "weights")
        self.parts = []
        for word, *values in lines:
            if word == "columns":
                self.parts.append([])
                width = int(values[0])
            elif word == "codewords":
                count = int(values[0])
            elif word == "codeword":
                assert len(values) == width
                self.parts[-1].append([float(x) for x in values])
        assert len(self.parts[-1]) == count
        self.bits = sum(bits_of(len(part)) for part in self.parts)

    def parts_of(self, row):
        first = 0
        for part in self.parts:
            width = len(part[0])
            yield part, row[first:first + width], self.weights[first:first + width]
            first += width
        assert first == len(row)

    def distances(self, row):
        for part, x, weights in self.parts_of(row):
            yield [sum(w * (a - b) ** 2 for a, b, w in zip(x, codeword, weights)) for codeword in part]

    def nearest(self, row):
        return [found.index(min(found)) for found in self.distances(row)]

    def codewords(self, indices):
        return [x for part, index in zip(self.parts, indices) for x in part[index]]


def book_text(parts, weights=None, features="features given"):
    width = sum(len(part[0]) for part in parts)
    line = lambda word, values: f"{word} {' '.join(format(x, 'g') for x in values)}\n"
    text = f"zelsr-codebook 1\n{features}\nwidth {width}\n" + line("weights", weights or [1] * width)
    text += f"parts {len(parts)}\n"
    for part in parts:
        text += f"columns {len(part[0])}\ncodewords {len(part)}\n"
        text += "".join(line("codeword", codeword) for codeword in part)
    return sealed(text)


def sealed(text):
    return text + f"end {fnv(text.encode()):016x}\n"


def read_codes(content, book):
    """The indices of every row, bit by bit."""
    magic, identity = struct.unpack("<8sQ", content[:16])
    rows, hash_value = struct.unpack("<QQ", content[-16:])
    assert (magic, identity, hash_value) == (b"ZELSRVQ1", book.identity, fnv(content[:-8]))
    codes = content[16:-16]
    assert len(codes) == (rows * book.bits + 7) // 8
    bits = "".join(f"{byte:08b}" for byte in codes)
    assert set(bits[rows * book.bits:]) <= {"0"}
    found, at = [], 0
    for _ in range(rows):
        indices = []
        for part in book.parts:
            count = bits_of(len(part))
            indices.append(int(bits[at:at + count] or "0", 2))
            at += count
        found.append(indices)
    return found


def pack(book, rows):
    bits = "".join(f"{index:0{bits_of(len(part))}b}" for row in rows for part, index in zip(book.parts, row)
                   if len(part) > 1)
    bits += "0" * (-len(bits) % 8)
    content = struct.pack("<8sQ", b"ZELSRVQ1", book.identity)
    content += bytes(int(bits[i:i + 8], 2) for i in range(0, len(bits), 8)) + struct.pack("<Q", len(rows))
    return content + struct.pack("<Q", fnv(content))


class QuantiseTest(ProgramTestCase):
    command = [PROGRAM]

    def book(self, name="b"):
        return Book(self.content(name).decode())

    def encoded(self, file, name="b"):
        self.done("encode", self.path(name), file, "-o", self.path("c"))
        return read_codes(self.content("c"), self.book(name))

    def decoded(self, name="b", to="d.npy"):
        self.done("decode", self.path(name), self.path("c"), "-o", self.path(to))
        return self.path(to)

    def features(self, sound, *options):
        made = subprocess.run([FEATURES, sound, self.path("f.npy"), *options], capture_output=True)
        self.assertEqual(made.returncode, 0, made.stderr)
        return read_npy(self.path("f.npy"))[1]

    def check_nearest(self, rows, codes, book):
        """Within the rounding of single precision, which decides hardly ever."""
        others = 0
        for row, indices in zip(rows, codes, strict=True):
            others += indices != book.nearest(row)
            for found, index in zip(book.distances(row), indices):
                self.assertLessEqual(found[index], min(found) * (1 + 1e-5) + 1e-9)
        self.assertLessEqual(others, len(rows) / 200)

    # What is computed

    def test_codes_name_the_nearest_codewords(self):
        noise = random.Random(5)
        for parts, weights in (([(3, 5)], None), ([(1, 16)], None), ([(2, 40)], None), ([(4, 1), (4, 33)], None),
                               ([(2, 3), (1, 7), (5, 64)], [1, 2, 0, 3, 1, 1, 2, 4]), ([(9, 300)], None),
                               ([(1, 2), (1, 2), (1, 2)], None), ([(5, 100)], [1, 5, 2, 0, 1])):
            tables = [whole_rows(count, width, seed=noise.random()) for width, count in parts]
            self.write("b", book_text(tables, weights))
            book = self.book()
            # More than a portion, and no whole number of bytes.
            rows = whole_rows(2053 if len(parts) == 2 else 61, sum(width for width, _ in parts), seed=9, most=70)
            codes = self.encoded(self.write("a.npy", npy(rows)))
            self.assertEqual(codes, [book.nearest(row) for row in rows], parts)
            self.assertEqual(self.content("c"), pack(book, codes))
            self.assertEqual(read_npy(self.decoded())[1], [book.codewords(indices) for indices in codes])

    def test_codes_of_speech(self):
        for options in (("--size=64", "--derivatives=0"),
                        ("--size=16,32,8", "--split=13,13,13", "--weights=variance", "--grow=radius")):
            self.done("train", *SENTENCES[:4], "-o", self.path("b"), *options)
            book = self.book()
            rows = self.features(SENTENCES[5], *[option for option in options if "derivatives" in option])
            codes = self.encoded(SENTENCES[5])
            self.check_nearest(rows, codes, book)
            single = lambda row: array.array("f", row).tolist()
            wanted = [single(book.codewords(indices)) for indices in codes]
            self.assertEqual(read_npy(self.decoded())[1], wanted)
            self.assertEqual([single(row) for row in read_csv(self.decoded(to="d.csv"))[1]], wanted)
            for name in ("d.htk", "d.fea"):
                self.assertEqual([list(row) for row in read_htk(self.decoded(to=name))[-1]], wanted)
            # Features from a file are those of the sound.
            self.assertEqual(self.encoded(self.path("f.npy")), codes)
            # What was decoded is coded as it was, and loses nothing.
            self.assertEqual(self.encoded(self.decoded()), codes)
            (_, _, frames, bits, _, error, decibels, _), = ROW.findall(
                self.done("measure", self.path("b"), self.path("d.npy")))
            self.assertEqual((int(frames), int(bits), error, decibels), (len(rows), book.bits, "0", "-"))

    def test_what_is_lost_is_the_definition(self):
        for weights in ("none", "variance"):
            files = [self.write(f"{i}.npy", npy([[x + i, 7 * y, 0.1 * z] for x, y, z in whole_rows(200, 3, seed=i)]))
                     for i in range(5)]
            found = ROW.findall(self.done("train", *files, "-o", self.path("b"), "--size=16,4", "--split=2,1",
                                          "--hold-out=3", "--weights", weights))
            book = self.book()
            for (name, which, frames, bits, a_second, error, decibels, _), part in zip(
                    found, ([0, 1, 3, 4], [2]), strict=True):
                rows = [row for i in part for row in read_npy(files[i])[1]]
                self.assertEqual((name, which, int(frames), int(bits), a_second),
                                 ("b", "held out" if part == [2] else "training", len(rows), 6, "-"))
                errors, variances = [0.0] * 3, []
                for row in rows:
                    for k, (x, y) in enumerate(zip(row, book.codewords(book.nearest(row)))):
                        errors[k] += (x - y) ** 2 / len(rows)
                for column in zip(*rows):
                    mean = math.fsum(column) / len(rows)
                    variances.append(math.fsum((x - mean) ** 2 for x in column) / len(rows))
                self.assertAlmostEqual(float(error), sum(errors) / 3, delta=1e-4)
                weigh = lambda values: sum(w * x for w, x in zip(book.weights, values))
                self.assertAlmostEqual(float(decibels), 10 * math.log10(weigh(variances) / weigh(errors)), delta=0.006)
                if weights == "variance" and part != [2]:
                    for w, v in zip(book.weights, variances):
                        self.assertAlmostEqual(w * v, 1, delta=1e-6)

    def test_training_finds_the_centres(self):
        noise = random.Random(3)
        centres = whole_rows(16, 6, most=1000)
        rows = [[noise.gauss(x, 0.5) for x in noise.choice(centres)] for _ in range(3000)]
        for growth in ("population", "radius"):
            self.done("train", self.write("a.npy", npy(rows)), "-o", self.path("b"), "--size=16", "--grow", growth)
            codewords, = self.book().parts
            distance = lambda a, b: max(abs(x - y) for x, y in zip(a, b))
            near = [min(distance(centre, codeword) for codeword in codewords) < 1 for centre in centres]
            self.assertGreaterEqual(sum(near), 14 if growth == "population" else 16)

    def test_more_bits_lose_less(self):
        found = ROW.findall(self.done("compare", *SENTENCES, "--bits=2,4,6,8", "--derivatives=0", "--split=4,4,5"))
        self.assertEqual(len(found), 4 * 2 * 2)
        for split in (False, True):
            for which in ("training", "held out"):
                table = [row for row in found if row[1] == which and ("+" in row[0]) == split]
                self.assertEqual([row[3:5] for row in table], [(str(b), str(100 * b)) for b in (2, 4, 6, 8)])
                decibels = [float(row[6]) for row in table]
                self.assertEqual(decibels, sorted(decibels))
                self.assertGreater(decibels[-1], decibels[0] + 1)
        # On what they were trained on, whole rows lose less than parts at as many bits.
        training = [float(row[6]) for row in found if row[1] == "training"]
        for whole, parts in zip(training[::2], training[1::2]):
            self.assertGreater(whole, parts)

    def test_comparison_says_where_rows_are_too_few(self):
        file = self.write("a.npy", npy(whole_rows(60, 4)))
        output = self.done("compare", file, "--bits=3,8,30")
        self.assertEqual([row[3] for row in ROW.findall(output)], ["3", "3", "8"])
        self.assertIn("too few rows for 8 bits: 60", output)
        self.assertEqual(output.count("too few rows for 30 bits: 60"), 2)
        self.assertIn("too few rows for 30 bits: 60",
                      self.refused("train", file, "-o", self.path("b"), "--bits=30"))

    def test_rows_are_thinned_evenly(self):
        rows = [[float(i)] for i in range(1000)]
        self.done("train", self.write("a.npy", npy(rows)), "-o", self.path("b"), "--size=10", "--rows=10")
        self.assertEqual(sorted(x for x, in self.book().parts[0]), [100.0 * i + 99 for i in range(10)])

    def test_equal_rows_make_fewer_codewords(self):
        rows = [[1.0, 2.0]] * 40 + [[3.0, 2.0]] * 20
        output = self.done("train", self.write("a.npy", npy(rows)), "-o", self.path("b"), "--size=16")
        self.assertIn("2 codewords, trained on 60 rows of 2 values", output)
        self.assertEqual(sorted(self.book().parts[0]), [[1, 2], [3, 2]])
        self.assertIn("the rows are all the same, there is nothing to code",
                      self.refused("train", self.write("a.npy", npy([[1.0]] * 9)), "-o", self.path("b"), "--size=4"))

    def test_no_rows_make_no_codes(self):
        self.write("b", book_text([whole_rows(4, 2)]))
        self.assertEqual(self.encoded(self.write("a.npy", npy([], shape=(0, 2)))), [])
        self.assertEqual(read_npy(self.decoded())[1], [])

    # Files that are not what they were

    def test_codes_that_are_damaged_are_refused(self):
        self.write("b", book_text([whole_rows(3, 2), whole_rows(6, 1)]))
        rows = whole_rows(45, 3)
        self.encoded(self.write("a.npy", npy(rows)))
        whole = self.content("c")
        self.write("d.npy", "as it was\n")
        decode = lambda: self.refused("decode", self.path("b"), self.path("bad"), "-o", self.path("d.npy"))
        reason = lambda complaint: complaint.removeprefix(f"quantise: {self.path('bad')}: ")
        for length in range(len(whole)):
            self.write("bad", whole[:length])
            self.assertRegex(reason(decode()), "^is (cut short|not a file of codes|damaged)")
        for i in range(len(whole)):
            self.write("bad", whole[:i] + bytes([whole[i] ^ 1 << i % 8]) + whole[i + 1:])
            self.assertRegex(reason(decode()), "^(is |holds codes of another codebook)")
        self.write("bad", whole + b"\0")
        self.assertIn("is cut short or damaged", decode())
        # Codes that name no codeword, in a file that is whole.
        book = self.book()
        for row, complaint in (([3, 0], "code 3 of 3"), ([0, 6], "code 6 of 6"), ([2, 7], "code 7 of 6")):
            self.write("bad", pack(book, [[0, 0]] * 20 + [row]))
            self.assertEqual(reason(decode()), "is damaged: " + complaint)
        self.write("bad", pack(book, [[2, 5]] * 20))
        self.done("decode", self.path("b"), self.path("bad"), "-o", self.path("d.npy"))
        self.assertEqual(read_npy(self.path("d.npy"))[1], [book.codewords([2, 5])] * 20)

    def test_codes_of_another_book_are_refused(self):
        self.write("b", book_text([[[1, 2], [3, 4]]]))
        self.write("other", book_text([[[1, 2], [3, 5]]]))
        self.encoded(self.write("a.npy", npy(whole_rows(9, 2))))
        self.write("d.npy", "as it was\n")
        self.assertIn("c: holds codes of another codebook",
                      self.refused("decode", self.path("other"), self.path("c"), "-o", self.path("d.npy")))

    def test_books_that_are_damaged_are_refused(self):
        whole = book_text([[[1, 2], [3, 4], [5, 6]], [[7], [8]]], [1, 2, 3])
        file = self.write("a.npy", npy(whole_rows(9, 3)))
        body = whole[:whole.rindex("end ")]
        damaged = [whole[:length] for length in range(0, len(whole), 3)] + [whole[:-1], whole + "\n"]
        damaged += [whole[:i] + str((int(c) + 1) % 10) + whole[i + 1:] for i, c in enumerate(whole) if c.isdigit()]
        damaged += [sealed(body.replace(*change)) for change in (
            ("weights 1", "weights -1"), ("weights 1", "weights nan"), ("weights 1 2", "weights 1"),
            ("parts 2", "parts 3"), ("parts 2", "parts 0"), ("parts 2", "parts 1"), ("columns 2", "columns 3"),
            ("columns 2", "columns 0"), ("codewords 3", "codewords 16384"), ("codewords 3", "codewords 4"),
            ("codewords 3", "codewords 0"), ("codeword 7", "codeword inf"), ("codeword 7", "codeword 1e13"),
            ("width 3", "width 4"), ("given", "--frame=25"), ("given", "given\nrate 16000"))]
        damaged += [book_text([[[1, 2]], [[7]]]), "\0" * 50]
        for content in damaged:
            self.assertNotEqual(content, whole)
            self.write("b", content)
            self.assertRegex(self.refused("encode", self.path("b"), file, "-o", self.path("c")), "/b: line [0-9]+: ")
        self.write("b", whole)
        self.done("encode", self.path("b"), file, "-o", self.path("c"))

    def test_features_that_do_not_fit_are_refused(self):
        self.write("b", book_text([whole_rows(4, 3)]))
        self.write("c", "as it was\n")
        good = npy(whole_rows(9, 3))
        for content, reason in (
                (good[:-1], "is cut short: it promises 9 rows and holds 8"), (npy([[1, 2]]), "has 2 values a row"),
                (npy([[1, 2, math.nan]]), "row 0, column 2 is not a finite number"),
                (npy([[1, 2, 2e12]]), "holds a value beyond 1e+12")):
            self.assertIn("a.npy: " + reason, self.refused("encode", self.path("b"), self.write("a.npy", content),
                                                           "-o", self.path("c")))
        self.assertIn("is a sound file, and the codebook is one of feature files",
                      self.refused("encode", self.path("b"), SENTENCES[0], "-o", self.path("c")))
        self.assertIn("a.npy: row 0, column 0 is not a finite number",
                      self.refused("train", self.write("a.npy", npy([[-math.inf]])), "-o", self.path("b")))
        self.assertIn("a.npy: no such file",
                      self.refused("train", self.path("none/a.npy"), "-o", self.path("b")))
        self.assertIn("9 rows do not make 256 codewords",
                      self.refused("train", self.write("a.npy", good), "-o", self.path("b")))
        self.assertIn("the parts of --split have 4 columns, and the rows 3",
                      self.refused("train", self.path("a.npy"), "-o", self.path("b"), "--split=2,2"))
        self.encoded(self.path("a.npy"))
        self.assertIn("do not tell what its columns are: write .npy",
                      self.refused("decode", self.path("b"), self.path("c"), "-o", self.path("d.htk")))

    def test_results_go_to_the_standard_output(self):
        file = self.write("a.npy", npy(whole_rows(50, 3)))
        self.done("train", file, "-o", self.path("b"), "--size=8")
        self.assertEqual(self.done("train", file, "-o", "/dev/stdout", "--size=8"), self.content("b").decode())
        self.encoded(file)
        piped = subprocess.run([PROGRAM, "encode", self.path("b"), file, "-o", "/dev/stdout"], capture_output=True)
        self.assertEqual((piped.returncode, piped.stdout), (0, self.content("c")))

    # Use

    def test_long_work_shows_progress(self):
        rows, width = 10000, 1600
        name = self.write("z.npy", npy([], shape=(rows, width)))
        os.truncate(name, 128 + 4 * rows * width)  # zeros, which take no room on the disk
        self.write("b", book_text([[[0.0] * width, [1.0] * width]]))
        result = run("encode", self.path("b"), name, "-o", self.path("c"))
        self.assertEqual((result.returncode, result.stderr.count("\n")), (0, 1), result.stderr)
        self.assertIn("z.npy: 61 of 61 MB (100 %)", result.stderr)

    def test_long_training_shows_progress(self):
        file = self.write("a.npy", npy(whole_rows(2000, 100)))
        result = run("train", file, "-o", self.path("b"), "--size=250")
        self.assertEqual((result.returncode, result.stderr.count("\n")), (0, 1), result.stderr)
        self.assertIn("training: 250 of 250 codewords (100 %)", result.stderr)

    def test_wrong_use(self):
        file = self.write("a.npy", npy(whole_rows(50, 3)))
        self.done("train", file, "-o", self.path("b"), "--size=8")
        self.encoded(file)
        b, c, out = self.path("b"), self.path("c"), ["-o", self.path("x")]
        for arguments, reason in (
                ([], "no command given"), (["grow"], "'grow' is no command"), (["train", *out], "no files given"),
                (["train", file], "-o says where"), (["train", file, "-o", file], file + " would be overwritten"),
                (["train", file, *out, "--size=0"], "--size takes whole numbers from 1 to 16383"),
                (["train", file, *out, "--size=4,"], "--size takes"), (["train", file, *out, "--size="], "--size takes"),
                (["train", file, *out, "--size=16384"], "--size takes"),
                (["train", file, *out, "--size=4,4"], "--size has 2 numbers for 1 parts"),
                (["train", file, *out, "--size=4", "--bits=2"], "take --size or --bits"),
                (["train", file, *out, "--bits=2,4"], "--bits takes one number here"),
                (["train", file, *out, "--split=1;2"], "--split takes"),
                (["train", file, *out, "--grow=weight"], "--grow takes population or radius"),
                (["train", file, file, *out, "--hold-out=1"], "leaves no files to train on"),
                (["train", file, *out, "--unknown"], "unknown option"), (["compare"], "no files given"),
                (["compare", file, "--size=4"], "unknown option --size"), (["measure"], "no codebook given"),
                (["measure", b], "no files given"), (["encode", b, *out], "no file given"),
                (["encode", b, file, file, *out], "encode takes one file"),
                (["encode", b, file, "-o", b], "would be overwritten"), (["encode", b, file], "-o says where"),
                (["decode", b, *out], "no codes given"), (["decode", b, c, "-o", c], "would be overwritten"),
                (["decode", b, c, *out], "names no format")):
            self.assertIn(reason, self.refused(*arguments, status=2), arguments)

    def test_help(self):
        output = self.done("--help")
        for name in ("train ", "encode", "-o FILE", "--split A,B,...", "--hold-out N", "--cmn SECONDS"):
            self.assertIn("\n  " + name, output)


if __name__ == "__main__":
    unittest.main()
