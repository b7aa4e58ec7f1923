"""Sounds, their cepstra in double precision by the definitions, and readers of feature files, for the tests."""
import array
import cmath
import math
import random
import struct
import wave


def write_pcm16(path, channels, rate):
    with wave.open(path, "wb") as file:
        file.setnchannels(len(channels))
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(array.array("h", (sample for frame in zip(*channels) for sample in frame)).tobytes())


def made_up(rate, seconds, seed=1, peak=8000):
    """Harmonics whose pitch and strength move, noise, and an offset, as 16-bit integers."""
    noise = random.Random(seed)
    samples = []
    for i in range(round(seconds * rate)):
        t = i / rate
        loud = 0.1 + abs(math.sin(7 * t))
        sample = sum(math.sin(2 * math.pi * k * 130 * t + 4 * k * math.sin(3 * t)) / k for k in range(1, 12))
        samples.append(round(300 + peak * (0.25 * loud * sample + noise.gauss(0, 0.03))))
    return samples


# The same features in double precision, by the definitions.

DEFAULTS = dict(frame=25, shift=10, offset=2.5, pre_emphasis=0.97, filters=26, low=64, high=None, cepstra=12,
                lifter=22, energy="c0", derivatives=2, cmn=0)


def magnitudes(frame, points):
    table = [cmath.exp(-2j * math.pi * k / points) for k in range(points)]
    return [abs(sum(x * table[k * n % points] for n, x in enumerate(frame))) for k in range(points // 2 + 1)]


def triangles(rate, points, filters, low, high):
    mel = lambda f: 1127 * math.log(1 + f / 700)
    hertz = lambda m: 700 * (math.exp(m / 1127) - 1)
    edges = [mel(low) + (mel(high) - mel(low)) * i / (filters + 1) for i in range(filters + 2)]
    centres = [math.floor(hertz(m) * points / rate + 0.5) for m in edges]
    for a, b, c in zip(centres, centres[1:], centres[2:]):
        weights = {k: (k - a + 1) / (b - a + 1) for k in range(a, b + 1)}
        weights.update({k: (c + 1 - k) / (c - b + 1) for k in range(b + 1, c + 1)})
        yield weights


def derivative(rows):
    at = lambda t: rows[max(0, min(len(rows) - 1, t))]
    return [[sum(k * (after - before) for k, after, before in ((1, a1, b1), (2, a2, b2))) / 10
             for a1, b1, a2, b2 in zip(at(t + 1), at(t - 1), at(t + 2), at(t - 2))] for t in range(len(rows))]


def expected(samples, rate, **changes):
    o = dict(DEFAULTS, **changes)
    length, shift = round(o["frame"] * rate / 1000), round(o["shift"] * rate / 1000)
    points = 2 ** math.ceil(math.log2(length))
    high = o["high"] or min(8000, rate / 2)
    if o["offset"]:
        pole, last, level, filtered = math.exp(-2 * math.pi * o["offset"] / rate), 0, 0, []
        for x in samples:
            level = x - last + pole * level
            last = x
            filtered.append(level)
        samples = filtered
    filters = list(triangles(rate, points, o["filters"], o["low"], high))
    lift = lambda k: 1 + o["lifter"] / 2 * math.sin(math.pi * k / o["lifter"]) if o["lifter"] else 1
    scale = math.sqrt(2 / o["filters"])
    rows = []
    for start in range(0, len(samples) - length + 1, shift):
        frame = samples[start:start + length]
        emphasised = [x - o["pre_emphasis"] * frame[max(0, n - 1)] for n, x in enumerate(frame)]
        window = [0.54 - 0.46 * math.cos(2 * math.pi * n / (length - 1)) for n in range(length)]
        spectrum = magnitudes([w * x for w, x in zip(window, emphasised)], points)
        logs = [math.log(max(1, sum(w * spectrum[b] for b, w in weights.items()))) for weights in filters]
        row = [scale * lift(k) * sum(x * math.cos(math.pi * k * (j + 0.5) / len(logs)) for j, x in enumerate(logs))
               for k in range(1, o["cepstra"] + 1)]
        if o["energy"] == "c0":
            row.append(scale * sum(logs))
        if o["energy"] == "log":
            row.append(math.log(max(1, sum(x * x for x in frame))))
        rows.append(row)
    if o["cmn"]:
        mean = [0.0] * len(rows[0])
        for t, row in enumerate(rows):
            gain = 1 / min(t + 1, max(1, o["cmn"] * 1000 / o["shift"]))
            mean = [m + gain * (x - m) for m, x in zip(mean, row)]
            rows[t] = [x - m for m, x in zip(mean, row)]
    parts = [rows]
    for _ in range(o["derivatives"]):
        parts.append(derivative(parts[-1]))
    return [sum(rows, []) for rows in zip(*parts)]


# The formats, read back.

def read_csv(path):
    with open(path) as file:
        names, *lines = file.read().splitlines()
    return names.split(","), [[float(x) for x in line.split(",")] for line in lines]


def read_npy(path):
    with open(path, "rb") as file:
        content = file.read()
    assert content[:8] == b"\x93NUMPY\x01\x00"
    start = 10 + struct.unpack("<H", content[8:10])[0]
    assert start % 64 == 0 and content[start - 1:start] == b"\n"
    header = eval(content[10:start], {"__builtins__": {}})
    assert set(header) == {"descr", "fortran_order", "shape"} and header["fortran_order"] is False
    code = {"<f4": "f", "<i2": "h"}[header["descr"]]
    values = array.array(code, content[start:])
    rows, width = header["shape"]
    assert len(values) == rows * width
    return code, [values[r * width:(r + 1) * width].tolist() for r in range(rows)]


def read_htk(path):
    """(kind, period in 100 ns, rows as values)"""
    with open(path, "rb") as file:
        content = file.read()
    count, period, size, kind = struct.unpack(">IIHH", content[:12])
    assert len(content) == 12 + count * size
    if not kind & 0o2000:
        return kind, period, [list(row) for row in struct.iter_unpack(f">{size // 4}f", content[12:])]
    width = size // 2
    a, b = (struct.unpack(f">{width}f", content[12 + 4 * width * i:][:4 * width]) for i in (0, 1))
    rows = struct.iter_unpack(f">{width}h", content[12 + 8 * width:])
    return kind, period, [[(x + offset) / scale for x, scale, offset in zip(row, a, b)] for row in rows]
