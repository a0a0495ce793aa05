#!/usr/bin/env python3
"""Reference tables of the NEXA chirp-Z block for the setting "FPGA Parameters".

points 501, dwell 5, 24-bit words, FFT 1024; sample rate 800 kHz, span 800 kHz, RBW 50 kHz, Kaiser.

Everything is computed in double precision with numpy from the block's formulas, independently of the
library: the window is numpy's Kaiser window (beta 16.71) normalised to a peak of 1; the chirp rate
c = span * pi / (points * rate) is rounded to float32 as the block's software uses it (pi being the
float32 value 3.1415927410125732), and all later arithmetic is double.

    Wn[n] = w[n] exp(-j c n^2),                     n < 1024 (w zero beyond the window)
    Vr    = FFT(a, zeros, b) / 64, scaled to a peak magnitude of 0.9801f,
            a[m] = exp(j c m^2) for m < points, b = exp(j c m^2) for m = L-2 down to 1
    Wk[k] = exp(-j c k^2) for k < points, zero after

Words: round half away from zero of x * (2^23 - 1), shifted left by 8 (signed 24-bit fraction,
left-justified in 32 bits). One decimal integer per line, as the integer vectors' text files hold them.

Usage: /usr/bin/python3 make_nexa_tables.py [output directory, default: this script's directory]
"""
import os
import sys

import numpy as np

POINTS, FFT_LENGTH, BITS = 501, 1024, 24
RATE, SPAN, RBW = 800000.0, 800000.0, 50000.0
PI_F = 3.1415927410125732          # pi as float32, widened
PEAK = 0.9800999760627747          # 0.9801 as float32, widened
KAISER_STANDARD = (16.71, float(np.float32(2.2292)))   # beta, RBW factor in bins
KAISER_CISPR = (14.6, float(np.float32(2.0859)))


def window_length(factor):
    q = np.float32(np.float32(RATE) / np.float32(RBW)) * np.float32(factor)
    return int(float(q) + 0.5)


def words(x):
    scaled = np.asarray(x, dtype=np.float64) * (2 ** (BITS - 1) - 1)
    rounded = np.where(scaled > 0, np.floor(scaled + 0.5), np.ceil(scaled - 0.5)).astype(np.int64)
    return (rounded << (32 - BITS)).astype(np.int64)


def tables():
    max_length = FFT_LENGTH - POINTS + 1
    beta, factor = KAISER_STANDARD
    length = window_length(factor)
    if length > max_length:
        _, factor = KAISER_CISPR
        length = window_length(factor)
    assert 4 <= length <= max_length
    w = np.kaiser(length, beta)
    w = w / w.max()
    window = np.concatenate([w, np.zeros(FFT_LENGTH - length)])

    c = float(np.float32(SPAN * PI_F / (POINTS * RATE)))
    n = np.arange(FFT_LENGTH, dtype=np.float64)
    wn = window * np.exp(-1j * c * n ** 2)

    m = np.arange(POINTS, dtype=np.float64)
    a = np.exp(1j * c * m ** 2)
    lags = np.arange(length - 2, 0, -1, dtype=np.float64)
    b = np.exp(1j * c * lags ** 2)
    seq = np.concatenate([a, np.zeros(FFT_LENGTH - length - POINTS + 2), b])
    assert seq.size == FFT_LENGTH
    vr = np.fft.fft(seq) / 64.0
    vr = vr * (PEAK / np.abs(vr).max())

    wk = np.concatenate([np.exp(-1j * c * m ** 2), np.zeros(FFT_LENGTH - POINTS)])
    return length, {"Wn": wn, "Vr": vr, "Wk": wk}


def main():
    out = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__))
    length, t = tables()
    for name, values in t.items():
        for part, data in (("Real", values.real), ("Imag", values.imag)):
            path = os.path.join(out, f"{name}_{part}.txt")
            with open(path, "w") as f:
                f.writelines(f"{v}\n" for v in words(data))
    print(f"window length {length}; tables written to {out}")


if __name__ == "__main__":
    main()
