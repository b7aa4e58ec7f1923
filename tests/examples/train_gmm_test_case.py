"""What the tests of train_gmm share; takes the program from the command line."""
import math
import os
import random
import struct
import sys

from program_test_case import ProgramTestCase, npy, run_program

PROGRAM = os.path.abspath(sys.argv.pop(1))

# Sums of the same terms in another order differ by some 1e-16 of the sum of their magnitudes; shares that soft edges
# carry on from pass to pass make some tens of it, and where deviations cancel in a mean, again some tens. Measured:
# 1e-14.
ROUNDING = 1e-12


def run(*arguments, program=(PROGRAM,), **options):
    return run_program([*program, *arguments], **options)


def single(x):
    return struct.unpack("f", struct.pack("f", x))[0]


def made_up(rows, width=3, centres=4, seed=1, apart=2):
    """Points around a few centres of different spread, which overlap unless far apart, in single precision."""
    noise = random.Random(seed)
    places = [[noise.gauss(20, apart) for _ in range(width)] for _ in range(centres)]
    return [[single(noise.gauss(x, 1 + place % 3)) for x in places[place]]
            for place in (noise.randrange(centres) for _ in range(rows))]


# A model's text, and what re-estimation does, by the definitions.

class Model:
    def __init__(self, text):
        lines = [line.split(" ") for line in text.splitlines()]
        numbers = lambda word: [[float(x) for x in line[1:]] for line in lines if line[0] == word]
        assert lines[0] == ["zelsr-mixture", "1"] and lines[-1] == ["end"] and text.endswith("\n")
        self.floor, = numbers("floor")
        self.weights = [weight for weight, in numbers("weight")]
        self.means, self.variances = numbers("mean"), numbers("variance")
        assert len(self.weights) == len(self.means) == len(self.variances) == numbers("components")[0][0]

    def scores(self, row):
        return [math.log(weight) - 0.5 * sum(math.log(2 * math.pi * v) + (x - m) ** 2 / v
                                             for x, m, v in zip(row, mean, variance))
                for weight, mean, variance in zip(self.weights, self.means, self.variances)]

    def log_likelihood(self, row):
        scores = self.scores(row)
        return max(scores) + math.log(math.fsum(math.exp(s - max(scores)) for s in scores))

    def reestimate(self, rows):
        shares = [[math.exp(s - self.log_likelihood(row)) for s in self.scores(row)] for row in rows]
        for j, share in enumerate(zip(*shares)):
            total = math.fsum(share)
            mean = [math.fsum(g * x for g, x in zip(share, column)) / total for column in zip(*rows)]
            variance = [math.fsum(g * (x - m) ** 2 for g, x in zip(share, column)) / total
                        for column, m in zip(zip(*rows), mean)]
            self.weights[j], self.means[j] = total / len(rows), mean
            self.variances[j] = [max(v, floor) for v, floor in zip(variance, self.floor)]


class TrainTestCase(ProgramTestCase):
    command = [PROGRAM]

    def text(self, name):
        with open(self.path(name)) as file:
            return file.read()

    def model(self, name):
        return Model(self.text(name))

    def features(self, count=5, rows=80, width=3):
        """Files of different lengths, and all their rows."""
        everything = made_up(count * rows, width)
        ends = [0] + [rows * i + 7 * i % 40 for i in range(1, count)] + [len(everything)]
        parts = [everything[a:b] for a, b in zip(ends, ends[1:])]
        return [self.write(f"part{i}.npy", npy(part)) for i, part in enumerate(parts)], everything

    def text_of(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def check_close(self, found, wanted, tolerance, what=""):
        """Of models: relative to the spread of the data, which is what means have rounding errors of."""
        self.assertEqual(len(found.weights), len(wanted.weights))
        for j in range(len(wanted.weights)):
            self.assertLess(abs(found.weights[j] - wanted.weights[j]), tolerance, (what, "weight", j))
            for m, n, v, w in zip(found.means[j], wanted.means[j], found.variances[j], wanted.variances[j]):
                self.assertLess(abs(m - n), tolerance * (abs(n) + math.sqrt(w)), (what, "mean", j))
                self.assertLess(abs(v - w), tolerance * w, (what, "variance", j))
