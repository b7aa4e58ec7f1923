"""WAV files for the tests of programs that write sound, and what such a program takes of memory."""
import array
import math
import re
import struct
import subprocess
import wave

from feature_reference import write_pcm16


def chunks_of(path):
    with open(path, "rb") as file:
        content = file.read()
    found, at = {}, 12
    while at + 8 <= len(content):
        size, = struct.unpack("<I", content[at + 4:at + 8])
        found[content[at:at + 4]] = content[at + 8:at + 8 + size]
        at += 8 + size + size % 2
    return found


def read_floats(path, channels=1):
    values = array.array("f", chunks_of(path)[b"data"])
    return [values[c::channels].tolist() for c in range(channels)]


def read_wave(path):
    """Rate, bytes a sample, channels of integers (16 bits)."""
    with wave.open(path, "rb") as file:
        data = file.readframes(file.getnframes())
        values = array.array("h", data) if file.getsampwidth() == 2 else data
        return file.getframerate(), file.getsampwidth(), [values[c::file.getnchannels()].tolist()
                                                          for c in range(file.getnchannels())]


def write_floats(path, values, rate):
    data = array.array("f", values).tobytes()
    fields = struct.pack("<HHIIHH", 3, 1, rate, 4 * rate, 4, 32)
    with open(path, "wb") as file:
        file.write(struct.pack("<4sI4s4sI", b"RIFF", 36 + len(data), b"WAVE", b"fmt ", 16) + fields +
                   struct.pack("<4sI", b"data", len(data)) + data)


def write_silence(path, seconds):
    """At 8000 Hz, in 16 bits; it takes no room on the disk."""
    write_pcm16(path, [[0]], 8000)
    size = 2 * 8000 * seconds
    with open(path, "r+b") as file:
        file.write(struct.pack("<4sI", b"RIFF", 36 + size))
        file.seek(40)
        file.write(struct.pack("<I", size))
        file.truncate(44 + size)
    return path


def tone(frequency, rate, count, peak=20000):
    return [peak * math.sin(2 * math.pi * frequency * n / rate) for n in range(count)]


def rounded(values):
    return [round(x) for x in values]


def peak_memory(command, name):
    """Of the process's memory, in KiB, as long as it is seen under its name; and its exit status."""
    found = 0
    with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
        while process.poll() is None:
            with open(f"/proc/{process.pid}/status") as status:
                seen = re.search(rf"\nName:\t{name}\n(?s:.*)VmHWM:\s+(\d+) kB", "\n" + status.read())
            found = int(seen.group(1)) if seen else found
    return found, process.returncode
