"""score_speech on real files: usage: score_speech_test.py PROGRAM SPEECH_FOLDER [unittest options]"""
import array
import math
import os
import pty
import random
import re
import select
import struct
import subprocess
import sys
import unittest
import wave
import xml.etree.ElementTree as ElementTree

sys.dont_write_bytecode = True
from program_test_case import ProgramTestCase

PROGRAM, SPEECH = os.path.abspath(sys.argv.pop(1)), os.path.abspath(sys.argv.pop(1))
KEPT = sorted(name for name in os.listdir(SPEECH) if name.endswith(".flac"))
SVG = "{http://www.w3.org/2000/svg}"
ROW = re.compile(r"^ +(\d+) +([\d.]+) +([\d.]+) +([\d.]+) +(-?[\d.]+)$", re.MULTILINE)
# Arithmetic, bits of the features and of the reciprocal variances, scale factor, frames alike in per cent,
# segments alike, of how many.
COMPARED = re.compile(r"^  (plain|low) +Q(\d+) +Q(-?\d+) +(\d+) +([\d.]+) % +(\d+) of (\d+) +[\d.]+ us$",
                      re.MULTILINE)
FLOAT_TIME = re.compile(r"^  float +[\d.]+ us$", re.MULTILINE)


def run(*arguments, **options):
    result = subprocess.run([PROGRAM, *arguments], capture_output=True, timeout=120, **options)
    # Decoded here: text=True would turn the progress line's returns into line ends.
    result.stdout, result.stderr = (text.decode(errors="replace") for text in (result.stdout, result.stderr))
    return result


def segments(output):
    return [(float(row[2]), float(row[3])) for row in ROW.finditer(output)]


def duration(output):
    return float(re.search(r": ([\d.]+) s, \d+ Hz, \d+ channel", output).group(1))


def agreement(found, truth, seconds):
    """The part of all centres of 10 ms steps that both call speech or both call pause."""
    inside = lambda spans, time: any(start <= time < end for start, end in spans)
    times = [0.01 * i + 0.005 for i in range(int(seconds * 100))]
    return sum(inside(found, t) == inside(truth, t) for t in times) / len(times)


def write_pcm16(path, channels, rate):
    with wave.open(path, "wb") as file:
        file.setnchannels(len(channels))
        file.setsampwidth(2)
        file.setframerate(rate)
        clipped = (max(-32768, min(32767, round(32767 * s))) for frame in zip(*channels) for s in frame)
        file.writeframes(array.array("h", clipped).tobytes())


def write_float(path, samples, rate):
    data = array.array("f", samples).tobytes()
    header = struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + len(data), b"WAVE", b"fmt ", 16, 3, 1, rate,
                         4 * rate, 4, 32, b"data", len(data))
    with open(path, "wb") as file:
        file.write(header + data)


# Where the made sounds have their bursts, in seconds.
TRUTH = [(0.5, 1.1), (1.8, 2.9), (3.9, 4.3)]
LENGTH = 5.0


def bursts(rate, seed=1, voiced=True, scale=1.0, pause=0.002):
    """Harmonics of 120 Hz, or noise, for the time of TRUTH; faint noise between."""
    noise = random.Random(seed)
    samples = []
    for i in range(int(LENGTH * rate)):
        t = i / rate
        sample = noise.gauss(0, pause)
        if any(start <= t < end for start, end in TRUTH):
            if voiced:
                harmonics = (k for k in range(1, 20) if 240 * k < rate)
                sample += sum(0.3 / k * math.sin(2 * math.pi * 120 * k * t) for k in harmonics)
            sample += noise.gauss(0, 0.05 if voiced else 0.2)
        samples.append(scale * sample)
    return samples


class ScoreSpeechTest(ProgramTestCase):
    def scored(self, *arguments):
        result = run(*arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stderr, "")
        self.assertNotRegex(result.stdout, r"\b(nan|inf)\b")
        return result.stdout

    def check_bursts(self, path, least=0.95):
        output = self.scored(path)
        self.assertGreater(agreement(segments(output), TRUTH, LENGTH), least, output)
        self.assertEqual(len(segments(output)), len(TRUTH), output)
        return output

    def check_no_segments(self, path):
        output = self.scored(path, "--svg", self.path("out.svg"))
        self.assertIn("no speech told from pauses", output)
        self.assertEqual(segments(output), [])
        self.check_picture(self.path("out.svg"))

    def check_picture(self, path):
        root = ElementTree.parse(path).getroot()
        self.assertEqual(root.tag, SVG + "svg")
        panels = {group.get("class"): group for group in root.findall(SVG + "g")}
        self.assertEqual(list(panels), ["waveform", "spectrogram", "scores"])
        self.assertTrue(panels["spectrogram"].find(f".//{SVG}image").get("{http://www.w3.org/1999/xlink}href")
                        .startswith("data:image/png;base64,"))
        self.assertIn("time (s)", [text.text for text in panels["scores"].iter(SVG + "text")])
        tracks = [path.get("class") for path in panels["scores"].iter(SVG + "path")]
        self.assertEqual(sorted(tracks), ["pause", "speech"])
        for element in root.iter():
            for name, value in element.items():
                if not name.endswith("href"):
                    self.assertNotRegex(value, r"\b(nan|inf)\b")
        return panels

    def check_failure(self, path, reason, status=1, options=(), **process):
        result = run(path, *options, **process)
        self.assertEqual(result.returncode, status)
        self.assertEqual(result.stdout, "")
        self.assertRegex(result.stderr, r"\Ascore_speech: .*" + reason + r".*\n\Z")

    # Speech

    def test_kept_sentences_are_found(self):
        self.assertGreaterEqual(len(KEPT), 6)
        for name in KEPT:
            with self.subTest(name), open(os.path.join(SPEECH, name.replace(".flac", ".txt"))) as lines:
                truth = [tuple(map(float, line.split())) for line in lines]
                output = self.scored(os.path.join(SPEECH, name))
                self.assertGreater(agreement(segments(output), truth, duration(output)), 0.95, output)
                self.assertEqual(len(segments(output)), len(truth), output)

    def test_scores_tell_segments_from_pauses(self):
        for row in ROW.finditer(self.scored(os.path.join(SPEECH, KEPT[0]))):
            self.assertGreater(float(row[5]), 0)

    def test_summary_adds_up_the_segments(self):
        output = self.scored(os.path.join(SPEECH, KEPT[0]))
        speech, whole, percent, count = re.search(
            r"speech: ([\d.]+) of ([\d.]+) s \(([\d.]+) %\) in (\d+) segment", output).groups()
        self.assertEqual(int(count), len(segments(output)))
        self.assertAlmostEqual(float(speech), sum(e - s for s, e in segments(output)), delta=0.011 * int(count))
        self.assertAlmostEqual(float(percent), 100 * float(speech) / float(whole), delta=0.3)

    def test_two_runs_give_the_same_bytes(self):
        files = [os.path.join(SPEECH, name) for name in KEPT[:2]]
        self.assertEqual(self.scored(*files), self.scored(*files))
        pictures = []
        for name in ("first.svg", "second.svg"):
            self.scored(files[0], "--svg", self.path(name))
            with open(self.path(name), "rb") as file:
                pictures.append(file.read())
        self.assertEqual(*pictures)

    # Mixtures and 16 bits

    def test_mixtures_find_the_kept_sentences(self):
        for name in KEPT:
            with self.subTest(name), open(os.path.join(SPEECH, name.replace(".flac", ".txt"))) as lines:
                truth = [tuple(map(float, line.split())) for line in lines]
                output = self.scored(os.path.join(SPEECH, name), "--components", "4")
                self.assertGreater(agreement(segments(output), truth, duration(output)), 0.95, output)
                self.assertEqual(len(segments(output)), len(truth), output)

    def test_one_component_is_the_default(self):
        files = [os.path.join(SPEECH, name) for name in KEPT]
        self.assertEqual(self.scored(*files, "--components=1"), self.scored(*files))

    def test_fixed_point_decides_as_floating_point(self):
        for components in (1, 4, 7, 16):
            for name in KEPT:
                with self.subTest(name, components=components):
                    file = os.path.join(SPEECH, name)
                    output = self.scored(file, "--components", str(components), "--fixed=low")
                    rows = {row[0]: row[1:] for row in COMPARED.findall(output)}
                    self.assertEqual(list(rows), ["plain", "low"], output)
                    self.assertTrue(all(float(row[3]) > 98 for row in rows.values()), output)
                    features, precisions, sf = map(int, rows["plain"][:3])
                    self.assertGreater(features, 10)
                    self.assertEqual(sf, 2 * features + precisions)
                    self.assertIn(int(rows["low"][2]), range(16))
                    # The plain form keeps enough for the very same segments.
                    self.assertEqual(rows["plain"][4:], 2 * (str(len(segments(output))),), output)
                    self.assertRegex(output, FLOAT_TIME)

    def test_fixed_point_adds_a_table(self):
        file = os.path.join(SPEECH, KEPT[0])
        plain = self.scored(file, "--components=4", "--fixed")
        self.assertTrue(plain.startswith(self.scored(file, "--components=4")))
        self.assertEqual([row[0] for row in COMPARED.findall(plain)], ["plain"])

    def test_two_comparisons_give_the_same_bytes_but_for_the_times(self):
        arguments = [os.path.join(SPEECH, KEPT[1]), "--components", "8", "--fixed=low"]
        first, second = (re.sub(r"[\d.]+ us$", "", self.scored(*arguments), flags=re.MULTILINE) for _ in range(2))
        self.assertEqual(first, second)

    def test_mixtures_of_made_sounds(self):
        for pause in (0.002, 0):
            with self.subTest(pause=pause):
                write_pcm16(self.path("a.wav"), [bursts(16000, pause=pause)], 16000)
                for components in ("3", "24"):
                    output = self.scored(self.path("a.wav"), "--components", components, "--fixed=low")
                    self.assertGreater(agreement(segments(output), TRUTH, LENGTH), 0.95, output)
                    self.assertTrue(all(float(row[4]) > 98 for row in COMPARED.findall(output)), output)

    def test_nothing_to_compare_without_segments(self):
        write_pcm16(self.path("a.wav"), [[0.0] * 32000], 16000)
        silence = self.scored(self.path("a.wav"))
        self.assertEqual(self.scored(self.path("a.wav"), "--components=64", "--fixed=low"), silence)

    def test_too_few_frames_for_the_components(self):
        self.check_failure(os.path.join(SPEECH, KEPT[0]), "too short for 64 components: "
                           r"\d+ clear frames of pauses allow \d+", options=["--components", "64"])

    # Formats

    def test_noise_bursts_are_found(self):
        write_pcm16(self.path("a.wav"), [bursts(16000, voiced=False)], 16000)
        self.check_bursts(self.path("a.wav"))

    def test_sample_rates(self):
        for rate in (8000, 11025, 44100, 96000):
            with self.subTest(rate):
                write_pcm16(self.path("a.wav"), [bursts(rate)], rate)
                self.assertIn(f" {rate} Hz, 1 channel\n", self.check_bursts(self.path("a.wav")))

    def test_lowest_rate(self):
        write_pcm16(self.path("a.wav"), [bursts(1000)], 1000)
        self.check_bursts(self.path("a.wav"), least=0.9)

    def test_stereo_is_averaged(self):
        left = bursts(16000)
        write_pcm16(self.path("a.wav"), [left, [0.0] * len(left)], 16000)
        self.assertIn("2 channels", self.check_bursts(self.path("a.wav")))
        # Opposite channels cancel.
        write_pcm16(self.path("b.wav"), [left, [-s for s in left]], 16000)
        self.check_no_segments(self.path("b.wav"))

    def test_float_samples_of_any_scale(self):
        for scale in (1.0, 0.01, 30000.0):
            with self.subTest(scale):
                write_float(self.path("a.wav"), bursts(16000, scale=scale), 16000)
                self.check_bursts(self.path("a.wav"))

    # Odd sounds

    def test_digital_silence_has_no_segments(self):
        write_pcm16(self.path("a.wav"), [[0.0] * 32000], 16000)
        self.check_no_segments(self.path("a.wav"))

    def test_constant_has_no_segments(self):
        for level in (0.3, 1.0):
            write_pcm16(self.path("a.wav"), [[level] * 32000], 16000)
            self.check_no_segments(self.path("a.wav"))

    def test_steady_noise_has_no_segments(self):
        noise = random.Random(3)
        write_pcm16(self.path("a.wav"), [[noise.gauss(0, 0.1) for _ in range(48000)]], 16000)
        self.check_no_segments(self.path("a.wav"))

    def test_digital_silence_between_bursts(self):
        write_pcm16(self.path("a.wav"), [bursts(16000, pause=0)], 16000)
        self.check_bursts(self.path("a.wav"))

    def test_bursts_on_a_constant(self):
        write_pcm16(self.path("a.wav"), [[0.25 + 0.4 * s for s in bursts(16000)]], 16000)
        self.check_bursts(self.path("a.wav"))

    def test_clipped_sound_is_scored_with_a_note(self):
        write_pcm16(self.path("a.wav"), [bursts(16000, scale=20)], 16000)
        self.assertIn("note: ", self.check_bursts(self.path("a.wav")))

    def test_samples_that_are_no_numbers(self):
        samples = bursts(16000)
        samples[100::1000] = [math.nan] * len(samples[100::1000])
        samples[50], samples[20050], samples[40050] = math.inf, -math.inf, 3e38
        write_float(self.path("a.wav"), samples, 16000)
        self.assertIn("83 samples not a number", self.check_bursts(self.path("a.wav")))
        write_float(self.path("b.wav"), [math.nan] * 32000, 16000)
        self.check_no_segments(self.path("b.wav"))

    # Failures

    def test_missing_file(self):
        self.check_failure(self.path("none.wav"), "none.wav: no such file")

    def test_empty_file(self):
        open(self.path("a.wav"), "w").close()
        self.check_failure(self.path("a.wav"), "is empty")

    def test_directory(self):
        self.check_failure(self.folder, "is a directory")

    def test_text_file(self):
        for name in ("a.wav", "a.txt"):
            with open(self.path(name), "w") as file:
                file.write("no sound at all\n" * 100)
            self.check_failure(self.path(name), "not a sound file")

    def test_unreadable_file(self):
        write_pcm16(self.path("a.wav"), [bursts(8000)], 8000)
        os.chmod(self.path("a.wav"), 0)
        os.chmod(self.folder, 0o755)
        # Root reads every file, so that it runs the program as nobody.
        nobody = {"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {}
        self.check_failure(self.path("a.wav"), "cannot be read", **nobody)

    def test_truncated_file(self):
        with open(os.path.join(SPEECH, KEPT[0]), "rb") as file:
            content = file.read()
        for size, reason in ((30, "not a sound file"), (200, "too short|not a sound file")):
            with open(self.path("a.flac"), "wb") as file:
                file.write(content[:size])
            self.check_failure(self.path("a.flac"), f"(?:{reason})")
        with open(self.path("a.flac"), "wb") as file:
            file.write(content[:len(content) // 2])
        self.assertIn("note: the file ends early", self.scored(self.path("a.flac")))

    def test_too_short_a_file(self):
        write_pcm16(self.path("a.wav"), [[0.1, -0.1] * 2000], 16000)
        self.check_failure(self.path("a.wav"), "too short to train on: 0.25 s")

    def test_sample_rate_out_of_range(self):
        write_pcm16(self.path("a.wav"), [[0.1, -0.1] * 2000], 500)
        self.check_failure(self.path("a.wav"), "sample rate of 500 Hz")

    def test_one_failing_file_does_not_stop_the_others(self):
        good = os.path.join(SPEECH, KEPT[0])
        result = run(good, self.path("none.wav"), good)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stdout, 2 * self.scored(good))
        self.assertEqual(result.stderr, f"score_speech: {self.path('none.wav')}: no such file\n")

    # Options, picture, progress

    def test_help(self):
        output = self.scored("--help")
        self.assertIn("usage: score_speech FILE...", output)
        for option in ("--components N", "--fixed ", "--fixed=low"):
            self.assertIn("\n  " + option, output)

    def test_wrong_use(self):
        good = os.path.join(SPEECH, KEPT[0])
        for arguments in ([], ["--none", good], [good, "--svg"], [good, good, "--svg", self.path("a.svg")],
                          [good, "--switch-penalty", "-1"], [good, "--switch-penalty", "nan"],
                          [good, "--switch-penalty", "3x"], [good, "--components"], [good, "--components", "0"],
                          [good, "--components", "65"], [good, "--components", "-3"],
                          [good, "--components", "4.5"], [good, "--components="],
                          [good, "--components", "99999999999"], [good, "--fixed=high"], [good, "--fixed="]):
            result = run(*arguments)
            self.assertEqual((result.returncode, result.stdout), (2, ""), arguments)
            self.assertRegex(result.stderr, r"\Ascore_speech: .*\nusage:.*\n\Z")
        self.check_failure("--", "no sound file given\nusage:.*", status=2)

    def test_switch_penalty_makes_fewer_segments(self):
        speech = os.path.join(SPEECH, "english_us.flac")
        counts = [len(segments(self.scored(speech, "--switch-penalty", price))) for price in ("0", "400", "1e9")]
        self.assertGreater(counts[0], counts[1])
        self.assertEqual(counts[1:], [3, 1])
        self.assertEqual(self.scored(speech, "--switch-penalty=400"), self.scored(speech))

    def test_picture_shows_every_segment(self):
        output = self.scored(os.path.join(SPEECH, KEPT[0]), "--svg", self.path("a.svg"))
        panels = self.check_picture(self.path("a.svg"))
        boxes = [box for box in panels["waveform"].iter(SVG + "rect") if box.get("class") == "segment"]
        self.assertEqual(len(boxes), len(segments(output)))
        frame = next(box for box in panels["waveform"].iter(SVG + "rect") if box.get("class") == "frame")
        a_second = float(frame.get("width")) / duration(output)
        for box, (start, end) in zip(boxes, segments(output)):
            self.assertAlmostEqual((float(box.get("x")) - float(frame.get("x"))) / a_second, start, delta=0.01)
            self.assertAlmostEqual(float(box.get("width")) / a_second, end - start, delta=0.02)

    def test_picture_of_a_file_with_an_odd_name(self):
        odd = os.path.join(os.fsencode(self.folder), b"a&<\"\x01\xff\xed\xa0\x80\xc3\xa9.wav")
        write_pcm16(os.fsdecode(odd), [bursts(8000)], 8000)
        run(odd, "--svg", self.path("a.svg"))
        self.check_picture(self.path("a.svg"))
        title = ElementTree.parse(self.path("a.svg")).getroot().find(SVG + "title").text
        self.assertEqual(title, 'a&<"' + 5 * "\ufffd" + "\u00e9.wav")

    def test_picture_that_cannot_be_written(self):
        result = run(os.path.join(SPEECH, KEPT[0]), "--svg", self.path("none/a.svg"))
        self.assertEqual(result.returncode, 1)
        self.assertIn("cannot write", result.stderr)

    def test_long_file_shows_progress_and_a_bounded_picture(self):
        samples = bursts(8000) * 14
        write_pcm16(self.path("a.wav"), [samples], 8000)
        result = run(self.path("a.wav"), "--svg", self.path("a.svg"))
        self.assertEqual(result.returncode, 0)
        self.assertEqual(len(segments(result.stdout)), 14 * len(TRUTH))
        self.assertEqual(result.stderr.count("\n"), 1)
        self.assertIn("a.wav: 70 of 70 s (100 %)", result.stderr)
        self.check_picture(self.path("a.svg"))
        self.assertLess(os.path.getsize(self.path("a.svg")), 1_500_000)

    def test_terminal_shows_progress_and_is_left_clean(self):
        outer, inner = pty.openpty()
        self.addCleanup(os.close, outer)
        self.addCleanup(os.close, inner)
        subprocess.run([PROGRAM, os.path.join(SPEECH, KEPT[0])], stdout=subprocess.DEVNULL, stderr=inner,
                       timeout=60)
        # What was written reaches the other end piece by piece.
        shown = ""
        while not shown.endswith("\033[K") and select.select([outer], [], [], 5)[0]:
            shown += os.read(outer, 10000).decode()
        self.assertTrue(shown.startswith("\r" + KEPT[0] + ": "), shown)
        self.assertTrue(shown.endswith("\r\033[K"), shown)

    def test_results_that_cannot_be_written(self):
        with open("/dev/full", "w") as full:
            result = subprocess.run([PROGRAM, os.path.join(SPEECH, KEPT[0])], stdout=full, stderr=subprocess.PIPE)
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"cannot write the results", result.stderr)


if __name__ == "__main__":
    unittest.main()
