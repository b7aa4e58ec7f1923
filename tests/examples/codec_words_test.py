"""Words that codec has passed on are recognised: usage: codec_words_test.py CODEC RECOGNISE WORDS_FOLDER"""
import os
import re
import sys
import unittest

sys.dont_write_bytecode = True
from program_test_case import ProgramTestCase, run_program

CODEC, RECOGNISE, WORDS = (os.path.abspath(sys.argv.pop(1)) for _ in range(3))


class CodedWords(ProgramTestCase):
    def done(self, *command):
        result = run_program(command)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result.stdout

    def right(self, folder):
        """In percent, by voices, and of all."""
        text = self.done(RECOGNISE, "test", self.path("model"), folder)
        found = re.findall(r"^(\S+) +(\d+\.\d+) % \((\d+) of (\d+)\)$", text.partition("\nSpeakers\n")[2], re.M)
        self.assertEqual([int(tried) for _, _, _, tried in found], [40] * 8, text)
        return {voice: float(percent) for voice, percent, _, _ in found}, sum(int(n) for _, _, n, _ in found) / 3.2

    def test_are_recognised_by_a_model_of_words_as_they_are(self):
        test = os.path.join(WORDS, "test")
        self.assertRegex(self.done(CODEC, "both", test, "-o", self.path("coded")), "^320 of 320 files")
        self.done(RECOGNISE, "train", os.path.join(WORDS, "train"), "-o", self.path("model"), "--folds", "0")
        voices, plain = self.right(test)
        coded_voices, coded = self.right(self.path("coded"))
        print(f"{plain:.1f} % of the words are right, and {coded:.1f} % coded")
        self.assertGreater(plain, 96)
        self.assertGreater(coded, plain - 2.5)
        # No voice is lost for the others' sake.
        for voice, percent in voices.items():
            self.assertGreater(coded_voices[voice], percent - 16, voice)


if __name__ == "__main__":
    unittest.main()
