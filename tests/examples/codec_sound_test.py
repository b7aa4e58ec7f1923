"""What codec keeps of sound: usage: codec_sound_test.py PROGRAM SPEECH_FOLDER [unittest options]"""
import array
import cmath
import math
import os
import random
import struct
import sys
import unittest

sys.dont_write_bytecode = True
from codec_test_case import (END, FRAME, HEAD, SPEECH, CodecTestCase, bits_of, codewords, frame_of, level, noise,
                             sentence, stream_of, vowel)


def transform(values):
    if len(values) == 1:
        return values
    even, odd = transform(values[::2]), transform(values[1::2])
    turned = [cmath.exp(-2j * math.pi * k / len(values)) * x for k, x in enumerate(odd)]
    return [x + y for x, y in zip(even, turned)] + [x - y for x, y in zip(even, turned)]


def band_levels(samples, start, length=2048):
    """Of the octaves from 350, 700 and 1400 Hz, in dB."""
    window = [0.5 - 0.5 * math.cos(2 * math.pi * i / length) for i in range(length)]
    spectrum = transform([x * w for x, w in zip(samples[start:start + length], window)])
    return [10 * math.log10(sum(abs(x) ** 2 for x in spectrum[low * length // 8000:2 * low * length // 8000]))
            for low in (350, 700, 1400)]


class CodecSoundTest(CodecTestCase):
    def test_pitch_of_pulses(self):
        for pitch in (57, 75, 100, 133, 180, 237.5, 310, 390):
            path = self.sound(vowel(pitch, 1), name="pulses.wav")
            row = self.report(path)["pulses.wav"]
            self.assertGreater(row["voiced"], 94)
            self.assertLess(abs(row["pitch"] / pitch - 1), 0.017, pitch)
            # Decoded, it is still there.
            self.decoded(self.encoded(path), name="again.wav")
            again = self.report(self.path("again.wav"))["again.wav"]
            self.assertGreater(again["voiced"], 94)
            self.assertLess(abs(again["pitch"] / pitch - 1), 0.025, pitch)

    def test_gliding_pitch(self):
        phase, samples = 0.0, []
        for i in range(12000):
            phase += (100 + 100 * i / 12000) / 8000
            samples.append(round(4000 * sum(math.cos(2 * math.pi * k * phase) / k for k in range(1, 12))))
        coded = self.encoded(self.sound(samples))
        for n in range(3, 70):
            code = bits_of(coded[HEAD + 6 * n:HEAD + 6 * n + 6])["pitch"]
            lag = 20 * (147 / 20) ** ((code - 1) / 126)
            wanted = 100 + 100 * (n + 1) * FRAME / 12000
            self.assertLess(abs(8000 / lag / wanted - 1), 0.03, n)

    def test_levels_of_the_stream(self):
        for peak in (3, 40, 1000, 30000):
            samples = [round(peak * math.sin(2 * math.pi * 800.3 * i / 8000)) for i in range(8000)]
            coded = self.encoded(self.sound(samples))
            for at in range(HEAD + 60, len(coded) - END - 60, 6):
                frame = bits_of(coded[at:at + 6])
                self.assertLess(abs(2 + 1.4 * (frame["level"] - 1) - level(samples)), 1.3)
                self.assertIn(frame["change"], (7, 8))
        silence = self.encoded(self.sound([0] * 1600))
        for at in range(HEAD, HEAD + 60, 6):
            frame = bits_of(silence[at:at + 6])
            self.assertEqual((frame["level"], frame["change"], frame["pitch"]), (0, 0, 0))
        # A start between the two measurements of a frame: the second is the higher one by all that there is.
        coded = self.encoded(self.sound([0] * 1560 + noise(0.5)))
        self.assertEqual(bits_of(coded[HEAD + 54:HEAD + 60])["change"], 15)

    def test_changes_of_level(self):
        # The table is that of the stream's layout: noise of known levels where the halves of a frame are measured,
        # without low frequencies, which the offset filter would carry from one into the next.
        table = [-28, -19, -13, -9, -6.2, -4, -2.2, -0.7, 0.7, 2.2, 4, 6.2, 9, 13, 19, 28]
        changes = [0.25 + 0.5 * k for k in range(-60, 60)]
        samples = [0] * 40
        for change in changes:
            for wanted in (56 - max(change, 0), 56 - max(-change, 0)):
                fresh = noise(0.010125, seed=len(samples))
                piece = [x - before for before, x in zip(fresh, fresh[1:])]
                factor = 10 ** ((wanted - level(piece)) / 20)
                samples += [round(factor * x) for x in piece]
        coded = self.encoded(self.sound(samples))
        checked = 0
        for n, change in enumerate(changes):
            frame = bits_of(coded[HEAD + 6 * n:HEAD + 6 * n + 6])
            chosen = table[frame["change"]]
            self.assertLess(abs(chosen - change), min(abs(other - change) for other in table) + 0.8, change)
            loud = 2 + 1.4 * (frame["level"] - 1) + abs(chosen) / 2
            self.assertLess(abs(loud - 56), 1, change)
            checked += frame["pitch"] == 0  # otherwise whole periods are measured, of what is around
        self.assertEqual(checked, len(changes))

    def test_voiced_bands_of_the_stream(self):
        # A flat spectrum with pulses in the lowest band alone, and in all: the mean over many periods keeps of the
        # noise next to nothing.
        flat = [4000 * (k + 1) / 11 for k in range(10)]
        nearest = [min(range(512), key=lambda i: sum((a - b) ** 2 for a, b in zip(words[i], wanted)))
                   for words, wanted in zip(codewords(), (flat[:3], flat[3:6], flat[6:]))]
        amplitudes = []
        for bands in (0, 15):
            frames = [frame_of(first=nearest[0], second=nearest[1], third=nearest[2], pitch=127, bands=bands,
                               level=40, change=7 + n % 2) for n in range(1200)]
            found = self.decoded(stream_of(frames))
            periods = range(147 * 10, len(found) - 147 * 10, 147)
            mean = [sum(found[start + i] for start in periods) / len(periods) for i in range(147)]
            amplitudes.append([abs(sum(x * cmath.exp(-2j * math.pi * k * i / 147) for i, x in enumerate(mean)))
                               for k in range(1, 74)])
        # Harmonics of 54.4 Hz: up to 490 Hz as in all bands, at 599 Hz and above gone.
        ratios = [20 * math.log10(alone / all_of_them) for alone, all_of_them in zip(*amplitudes)]
        self.assertLess(max(abs(ratio) for ratio in ratios[:9]), 1, ratios)
        self.assertLess(ratios[10], -18)
        self.assertLess(max(ratios[10:]), -14, ratios)

    def test_envelope_of_the_stream(self):
        parts = codewords()
        self.assertEqual([(len(part), len(part[0])) for part in parts], [(512, 3), (512, 3), (512, 4)])
        coded = self.encoded(self.sound(vowel(110, 1)))
        for at in range(HEAD + 60, len(coded) - END - 60, 6):
            frame = bits_of(coded[at:at + 6])
            spectrum = parts[0][frame["first"]] + parts[1][frame["second"]] + parts[2][frame["third"]]
            self.assertEqual(spectrum, sorted(spectrum))
            for peak in (500, 1500, 2500):  # between two lines that are close
                near = [b - a for a, b in zip(spectrum, spectrum[1:]) if a - 60 < peak < b + 60]
                self.assertTrue(near and min(near) < 250, (peak, spectrum))

    def test_noise_has_no_voice(self):
        row = self.report(self.sound(noise(2)))["made.wav"]
        self.assertLess(row["voiced"], 5)
        whisper = self.report(sentence("whisper"))["whisper.flac"]
        self.assertLess(whisper["voiced"], 8)

    def test_bands_of_voice(self):
        # Pulses below 1 kHz, noise above.
        generator = random.Random(3)
        samples = []
        before = 0.0
        for i in range(16000):
            voice = sum(math.cos(2 * math.pi * k * 120 * i / 8000) for k in range(1, 9))
            fresh = generator.gauss(0, 1)
            high, before = fresh - before, fresh  # rises with the frequency
            samples.append(round(2000 * (0.35 * voice + 0.8 * high)))
        coded = self.encoded(self.sound(samples))
        frames = [bits_of(coded[at:at + 6]) for at in range(HEAD + 30, len(coded) - END - 30, 6)]
        self.assertTrue(all(frame["pitch"] > 0 for frame in frames))
        voiced = [sum(frame["bands"] >> b & 1 for frame in frames) / len(frames) for b in range(4)]
        self.assertGreater(voiced[0], 0.9)
        self.assertLess(max(voiced[2:]), 0.1)
        pulses = self.encoded(self.sound(vowel(125, 1)))
        frames = [bits_of(pulses[at:at + 6])["bands"] for at in range(HEAD + 30, len(pulses) - END - 30, 6)]
        self.assertGreater(frames.count(15) / len(frames), 0.9)

    def test_spectral_distortion(self):
        names = [name[:-5] for name in sorted(os.listdir(SPEECH)) if name.endswith(".flac")]
        rows = self.report(SPEECH)
        self.assertEqual(set(rows), {name + ".flac" for name in names} | {"all of them"})
        for name, row in rows.items():
            self.assertLess(row["distortion"], 1.5, name)
            self.assertGreater(row["distortion"], 0.8, name)
            self.assertLess(row["above2"], 16, name)
            self.assertLess(row["above4"], 0.5, name)
            self.assertLess(row["level"], 0.8, name)
            self.assertLess(abs(row["rate"] - 2450), 15)
        for name, low, high in (("english_us", 190, 250), ("finnish", 60, 90), ("swedish", 180, 240)):
            self.assertTrue(low < rows[name + ".flac"]["pitch"] < high, name)

    def test_levels_follow(self):
        loud = noise(0.5, deviation=8000), vowel(110, 0.5, peak=30000)
        samples = []
        for factor in (1, 0.1, 0.01):
            for part in loud:
                samples += [round(factor * x) for x in part]
        found = self.decoded(self.encoded(self.sound(samples)))
        for at in range(0, len(samples), 4000):
            inner = slice(at + 480, at + 3520)
            self.assertLess(abs(level(found[inner]) - level(samples[inner])), 1.6, at)

    def test_spectrum_of_a_vowel(self):
        for pitch in (80, 100, 125, 250):
            samples = vowel(pitch, 1)
            found = self.decoded(self.encoded(self.sound(samples)))
            for wanted, band in zip(band_levels(samples, 2000), band_levels(found, 2000)):
                self.assertLess(abs(band - wanted), 4.5, pitch)

    def test_time_stays(self):
        # A click of noise in silence comes out where it was.
        samples = [0] * 24000
        samples[11000:12000] = noise(0.125)
        found = self.decoded(self.encoded(self.sound(samples)))
        heard = [i for i in range(0, 24000, 80) if level(found[i:i + 80]) > 50]
        self.assertTrue(10700 <= heard[0] <= 11080, heard[0])
        self.assertTrue(11850 <= heard[-1] <= 12160, heard[-1])

    def test_silence_and_extremes(self):
        self.assertEqual(set(self.decoded(self.encoded(self.sound([0] * 5000)))), {0})
        row = self.report(self.sound([0] * 5000))["made.wav"]
        self.assertEqual((row["distortion"], row["voiced"], row["pitch"]), (None, None, None))
        square = [32767 if i // 40 % 2 else -32768 for i in range(8000)]
        result = self.run_codec("encode", self.sound(square), self.path("square.lpc"))
        self.assertEqual(result.returncode, 0)
        self.assertRegex(result.stderr, "samples at full scale: the sound is clipped")
        found = self.decoded(self.path("square.lpc"))
        self.assertGreater(level(found[800:-800]), 82)
        self.assertEqual(len(found), 8000)
        impulse = [0] * 3000
        impulse[1500] = 32767
        self.assertEqual(len(self.decoded(self.encoded(self.sound(impulse)))), 3000)
        for tone in (50, 1000, 3990):
            wanted = [round(20000 * math.sin(2 * math.pi * tone * i / 8000)) for i in range(8000)]
            self.assertEqual(len(self.decoded(self.encoded(self.sound(wanted)))), 8000)

    def test_not_a_number(self):
        data = array.array("f", [math.nan, math.inf, 3e38, -1e5] + [x / 32768 for x in vowel(120, 0.5)])
        fields = struct.pack("<HHIIHH", 3, 1, 8000, 32000, 4, 32)
        path = self.write("odd.wav", struct.pack("<4sI4s4sI", b"RIFF", 36 + 4 * len(data), b"WAVE", b"fmt ", 16) +
                          fields + struct.pack("<4sI", b"data", 4 * len(data)) + data.tobytes())
        result = self.run_codec("encode", path, self.path("odd.lpc"))
        self.assertEqual(result.returncode, 0)
        self.assertRegex(result.stderr, "odd.wav: 3 samples not a number")
        self.assertGreater(level(self.decoded(self.path("odd.lpc"))[1000:]), 60)


if __name__ == "__main__":
    unittest.main()
