#!/usr/bin/env python3
"""Writes the test capture cdma2kfwd5mspan.iqt: 125 IQ frames of 1,024 samples at 6.4 MHz, a signal that
looks like a cdma2000 forward link (eight Walsh-spread QPSK channels at 1.2288 Mcps under a PN cover,
raised-cosine pulses) with a CW tone 1.8 MHz above the centre, and a correction record.

Pure Python, deterministic: the PN sequences are linear feedback shift registers and the channel data come
from a fixed linear congruential generator. Usage: make_cdma2kfwd5mspan.py [output path]

Header values: FFTPoints 1024, Bins 801, ValidFrames 125, BlockSize 125, MultiFrames 1, FrameLength
0.00016 s, UnitPeriod 160u, CenterFrequency 2.1175G, Span 5M, MaxInputLevel -20 dBm. GainOffset -90.309
maps a raw word of 32768 to the peak voltage of -20 dBm, so the decoded samples are volts.
"""
import math
import os
import struct
import sys

FFT_POINTS = 1024
FRAMES = 125
SAMPLE_RATE = 6.4e6          # FFTPoints / FrameLength
CHIP_RATE = 1.2288e6
ROLL_OFF = 0.2
PULSE_HALF_SPAN = 6          # chips each side of a pulse's centre
TONE_OFFSET = 1.8e6          # Hz above the centre
TONE_AMPLITUDE = 0.1         # relative to the CDMA carrier's RMS
TARGET_RMS = 4000.0          # raw words; peaks stay well inside 16 bits

HEADER = [
    ("FFTPoints", "1024"), ("Bins", "801"), ("BlockSize", "125"), ("ValidFrames", "125"),
    ("MultiFrames", "1"), ("CenterFrequency", "2.1175G"), ("Span", "5M"), ("UnitPeriod", "160u"),
    ("FrameLength", "0.00016"), ("MaxInputLevel", "-20.0"), ("LevelOffset", "0.0"),
    ("GainOffset", "-90.309"), ("IOffset", "0"), ("QOffset", "0"),
    ("Instrument", "CorvaneSimulator"), ("SignalType", "cdma2000-forward-like"), ("TriggerMode", "FreeRun"),
]


def lfsr(taps, state, n):
    """n bits (+1/-1) of a Fibonacci LFSR; taps are bit positions counted from 1."""
    width = max(taps)
    out = []
    for _ in range(n):
        bit = 0
        for t in taps:
            bit ^= (state >> (t - 1)) & 1
        out.append(1.0 if state & 1 else -1.0)
        state = (state >> 1) | (bit << (width - 1))
    return out


def walsh(index, length=64):
    return [(-1.0) ** bin(index & k).count("1") for k in range(length)]


def lcg(seed):
    while True:
        seed = (seed * 1103515245 + 12345) & 0x7FFFFFFF
        yield seed


def raised_cosine(t):
    """Raised-cosine pulse, t in chips."""
    if abs(t) < 1e-12:
        return 1.0
    denominator = 1.0 - (2.0 * ROLL_OFF * t) ** 2
    sinc = math.sin(math.pi * t) / (math.pi * t)
    if abs(denominator) < 1e-9:
        return sinc * math.pi / 4.0
    return sinc * math.cos(math.pi * ROLL_OFF * t) / denominator


def chips(count):
    """Complex chips: eight Walsh channels of QPSK symbols, summed, under the I and Q PN covers."""
    pn_i = lfsr([15, 13, 9, 8, 7, 5], 0x1, count)
    pn_q = lfsr([15, 12, 11, 10, 6, 5, 4, 3], 0x1, count)
    gains = [1.0, 0.6, 0.5, 0.5, 0.4, 0.4, 0.3, 0.3]
    codes = [walsh(w) for w in (0, 32, 1, 9, 17, 25, 41, 57)]
    rng = lcg(20240611)
    symbols = (count + 63) // 64
    data = [[(1.0 if next(rng) & 0x4000 else -1.0, 1.0 if next(rng) & 0x4000 else -1.0)
             for _ in range(symbols)] for _ in gains]
    out = []
    for k in range(count):
        re = im = 0.0
        for ch, g in enumerate(gains):
            d = data[ch][k // 64]
            w = codes[ch][k % 64]
            re += g * w * d[0]
            im += g * w * d[1]
        # Complex spreading by (pn_i + j pn_q).
        out.append((re * pn_i[k] - im * pn_q[k], re * pn_q[k] + im * pn_i[k]))
    return out


def samples(n):
    chips_per_sample = CHIP_RATE / SAMPLE_RATE
    c = chips(int(n * chips_per_sample) + 2 * PULSE_HALF_SPAN + 2)
    x = []
    for m in range(n):
        t = m * chips_per_sample + PULSE_HALF_SPAN  # in chips, with room for the first pulses
        centre = int(math.floor(t))
        re = im = 0.0
        for k in range(centre - PULSE_HALF_SPAN, centre + PULSE_HALF_SPAN + 1):
            p = raised_cosine(t - k)
            re += c[k][0] * p
            im += c[k][1] * p
        x.append((re, im))
    rms = math.sqrt(sum(a * a + b * b for a, b in x) / n)
    out = []
    for m, (re, im) in enumerate(x):
        phase = 2.0 * math.pi * TONE_OFFSET * m / SAMPLE_RATE
        re = re / rms + TONE_AMPLITUDE * math.cos(phase)
        im = im / rms + TONE_AMPLITUDE * math.sin(phase)
        out.append((re * TARGET_RMS, im * TARGET_RMS))
    return out


def word(v):
    return max(-32768, min(32767, int(round(v))))


def frame_header(index, iq=True):
    h = bytearray(24)
    if iq:
        h[6:10] = b"\xff\xff\xff\xff"
    h[16:20] = struct.pack("<I", index)  # a frame counter, meaningless to the reader
    return bytes(h)


def main():
    path = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)),
                                                              "cdma2kfwd5mspan.iqt")
    text = "".join("%s=%s\r\n" % kv for kv in HEADER).encode("ascii")
    length = str(len(text)).encode("ascii")
    out = bytearray()
    out += str(len(length)).encode("ascii") + length + text
    x = samples(FFT_POINTS * FRAMES)
    for f in range(FRAMES):
        out += frame_header(f)
        for i in range(FFT_POINTS):
            re, im = x[f * FFT_POINTS + i]
            out += struct.pack("<hh", word(im), word(re))  # a pair is (Q, I)
    # Correction record: amplitude (dB/128) and phase (degrees/128, stored with the opposite sign).
    out += frame_header(FRAMES, iq=False)
    for i in range(FFT_POINTS):
        amplitude = 0.35 * math.cos(2.0 * math.pi * i / FFT_POINTS) - 0.1
        phase = 1.5 * math.sin(6.0 * math.pi * i / FFT_POINTS)
        out += struct.pack("<hh", word(128.0 * amplitude), word(-128.0 * phase))
    with open(path, "wb") as f:
        f.write(out)


if __name__ == "__main__":
    main()
