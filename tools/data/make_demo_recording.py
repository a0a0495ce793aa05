#!/usr/bin/env python3
"""Writes the demo recording of corvane-analyze: a small .iqt capture with tones, a noise-like channel
and a noise floor, so that the tool shows a trace on a fresh machine.

Usage: make_demo_recording.py [output.iqt]   (default: demo-recording.iqt beside this script)

The capture: 1 MHz sample rate around 100 MHz, 200 frames of 1,024 samples (0.2 s), 16-bit words
scaled so that a word of 32768 is an amplitude of 1.0 (0 dB in the tool). Seeded: the file is the same
on every run.
"""
import os
import sys

import numpy as np

RATE = 1.0e6
CENTER = 100.0e6
FFT_POINTS = 1024
FRAMES = 200
# A word of 32768 reads 1.0: sqrt(2 * 10^(level / 10) / 20) = 1 / 32768.
MAX_INPUT_LEVEL = 10.0 * np.log10(10.0 / 2.0**30)


def signal(n, rng):
    t = np.arange(n) / RATE
    x = np.zeros(n, dtype=np.complex128)
    # (offset from centre in Hz, level in dB relative to amplitude 1)
    for offset, level in ((-250e3, -30.0), (100e3, -10.0), (180e3, -50.0), (-380e3, -70.0)):
        x += 10.0 ** (level / 20.0) * np.exp(2j * np.pi * offset * t)
    # A 40 kHz wide noise-like channel at +300 kHz, about -45 dB in total.
    w = (rng.standard_normal(n) + 1j * rng.standard_normal(n)) / np.sqrt(2.0)
    spectrum = np.fft.fft(w)
    freqs = np.fft.fftfreq(n, 1.0 / RATE)
    spectrum[np.abs(freqs - 300e3) > 20e3] = 0.0
    channel = np.fft.ifft(spectrum)
    channel *= 10.0 ** (-45.0 / 20.0) / np.sqrt(np.mean(np.abs(channel) ** 2))
    x += channel
    # White noise floor: -60 dB of total power over the 1 MHz band.
    x += 10.0 ** (-60.0 / 20.0) * (rng.standard_normal(n) + 1j * rng.standard_normal(n)) / np.sqrt(2.0)
    return x


def write_iqt(path, x):
    words_i = np.clip(np.round(x.real * 32768.0), -32768, 32767).astype("<i2")
    words_q = np.clip(np.round(x.imag * 32768.0), -32768, 32767).astype("<i2")
    header = (
        "FFTPoints=%d\r\nValidFrames=%d\r\nBlockSize=%d\r\nFrameLength=%.12g\r\n"
        "CenterFrequency=%.12g\r\nSpan=%.12g\r\nMaxInputLevel=%.15g\r\nLevelOffset=0\r\nGainOffset=0\r\n"
        "IOffset=0\r\nQOffset=0\r\n"
        % (FFT_POINTS, FRAMES, FRAMES, FFT_POINTS / RATE, CENTER, 0.8 * RATE, MAX_INPUT_LEVEL)
    ).encode("ascii")
    length = str(len(header)).encode("ascii")
    frame_header = bytearray(24)
    frame_header[6:10] = b"\xff\xff\xff\xff"  # IQ frame
    with open(path + ".tmp", "wb") as f:
        f.write(str(len(length)).encode("ascii") + length + header)
        for k in range(FRAMES):
            pairs = np.zeros((1024, 2), dtype="<i2")
            pairs[:FFT_POINTS, 0] = words_q[k * FFT_POINTS:(k + 1) * FFT_POINTS]  # (Q, I) pairs
            pairs[:FFT_POINTS, 1] = words_i[k * FFT_POINTS:(k + 1) * FFT_POINTS]
            f.write(bytes(frame_header) + pairs.tobytes())
        f.write(bytes(24) + np.zeros((1024, 2), dtype="<i2").tobytes())  # flat correction record
    os.replace(path + ".tmp", path)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    path = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "demo-recording.iqt")
    rng = np.random.default_rng(20261124)
    write_iqt(path, signal(FFT_POINTS * FRAMES, rng))


if __name__ == "__main__":
    main()
