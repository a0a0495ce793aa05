#!/usr/bin/python3
"""Writes the IQ downconverter's self-test record and its reference output.

  VData.txt           1000 real samples, as from a 12-bit digitiser at 6.25 GS/s: two tones inside
                      the 1 GHz band around 2 GHz, one just outside it, one far away, and a little
                      noise. Full scale is +-1.5, so every sample is a multiple of 3 * 2^-12 and
                      exact in float and in the file.
  VDataIQCvtGold.txt  the 230 complex outputs of mixing, filtering and decimating that record with
                      centre 2 GHz, rate 6.25 GS/s and span 1 GHz (decimation 4, 81 taps), computed
                      here in double precision from the description of the downconverter, not from
                      the library.

Both files are in the vectors' text dump form, one element per line after its index:
"%10d        %.20f" for the real record, "%10d    %.20f  %.20f" for the complex output.

Usage: make_iqcvt_testdata.py [output directory]   (default: this script's directory)
Needs numpy only. Deterministic: a fixed seed, so the files are reproduced exactly.
"""
import os
import sys

import numpy as np

FS = 6.25e9
CENTER = 2e9
SPAN = 1e9
N = 1000


def record():
    n = np.arange(N)
    rng = np.random.default_rng(20240516)
    tones = [  # (Hz, amplitude, phase)
        (2.1375e9, 0.5, 0.3),
        (1.5879e9, 0.25, -1.1),
        (2.93e9, 0.2, 2.0),
        (0.7e9, 0.3, 0.7),
    ]
    v = sum(a * np.cos(2 * np.pi * f / FS * n + p) for f, a, p in tones)
    v = v + 0.05 * rng.standard_normal(N)
    lsb = 1.5 / 2048.0
    return np.clip(np.round(v / lsb), -2048, 2047) * lsb


def downconvert(x):
    # Decimation: the largest power of two not above floor(rate / (span / 0.8)).
    ratio = int(np.floor(FS / (SPAN / 0.8)))
    M = 1 << (ratio.bit_length() - 1)
    L = 20 * M + 1
    delay = (L - 1) // 2
    # Kaiser window with IPP's alpha = 2 * 6 / (L - 1) rounded to float, i.e. beta = alpha (L - 1) / 2.
    alpha = float(np.float32(2.0 * (6.0 / (L - 1))))
    window = np.kaiser(L, alpha * (L - 1) / 2.0)
    # sin(x) / x at x = t * (pi / M), t = -(L-1)/2 .. (L-1)/2, with the float constants of the design.
    step = float(np.float32(3.1415927410125732 / M))
    arg = np.arange(-delay, delay + 1) * step
    sinc = np.ones(L)
    nz = arg != 0
    sinc[nz] = np.sin(arg[nz]) / arg[nz]
    h = sinc * window
    h = h / (h.sum() * 0.5)
    # Oscillator: the count of sample n is n + delay; w = centre * -2 pi / rate with the design's 2 pi.
    w = CENTER * -6.28318530717958 / FS
    count = np.arange(len(x)) + delay
    mixed = x * np.cos(w * count) + 1j * x * np.sin(w * count)
    # Output k is the filter over samples k M .. k M + L - 1.
    outputs = (len(x) - L) // M + 1
    return np.array([np.dot(h, mixed[k * M:k * M + L]) for k in range(outputs)])


def main():
    out_dir = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__))
    x = record()
    y = downconvert(x)
    with open(os.path.join(out_dir, "VData.txt"), "w") as f:
        for i, v in enumerate(x):
            f.write("%10d        %.20f\n" % (i, v))
    with open(os.path.join(out_dir, "VDataIQCvtGold.txt"), "w") as f:
        for i, v in enumerate(y):
            f.write("%10d    %.20f  %.20f\n" % (i, v.real, v.imag))


if __name__ == "__main__":
    main()
