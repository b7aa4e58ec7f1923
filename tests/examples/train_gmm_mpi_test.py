"""train_gmm over the ranks of a launcher: usage: train_gmm_mpi_test.py PROGRAM MPIEXEC [unittest options]"""
import os
import sys
import unittest

sys.dont_write_bytecode = True
from train_gmm_test_case import PROGRAM, ROUNDING, TrainTestCase, run

MPIEXEC = sys.argv.pop(1)


class RanksTest(TrainTestCase):
    def test_ranks_make_the_model_of_one_process(self):
        files, _ = self.features(count=5)
        variables = dict(os.environ, OMPI_ALLOW_RUN_AS_ROOT="1", OMPI_ALLOW_RUN_AS_ROOT_CONFIRM="1",
                         OMPI_MCA_rmaps_base_oversubscribe="1")
        over_ranks = lambda *arguments: run(*arguments, program=(MPIEXEC, "-n", "2", PROGRAM), env=variables)
        options = ["--components=4", "--passes=3", "--gain=0"]
        alone = self.done("train", *files, "-o", self.path("alone"), *options)
        result = over_ranks("train", *files, "-o", self.path("two"), *options)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout, alone.replace(self.path("alone"), self.path("two")))
        self.check_close(self.model("two"), self.model("alone"), ROUNDING)
        result = over_ranks("score", self.path("two"), *files)
        self.assertEqual(result.stdout, self.done("score", self.path("two"), *files))

        # A rank that fails ends all of them, with one complaint, and the output stays.
        before = self.text("two")
        result = over_ranks("train", *files, self.write("bad.npy", b"x"), "-o", self.path("two"), *options)
        self.assertEqual(result.stderr.count("train_gmm: "), 1, result.stderr)
        self.assertIn("bad.npy: is cut short", result.stderr)
        self.assertEqual((self.text("two"), result.stdout), (before, ""))


if __name__ == "__main__":
    unittest.main()
