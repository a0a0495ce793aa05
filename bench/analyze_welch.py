#!/usr/bin/env python3
"""The anchor of bench/analyze_1gb.sh: the Welch-style average that corvane-analyze computes, done with
scipy.signal.welch over the whole recording: blocks of NPERSEG samples without overlap, flat-top window,
mean of the power spectra, two-sided.

Usage: analyze_welch.py FILE.cf32 RATE NPERSEG
"""
import sys

import numpy as np
import scipy.signal


def main():
    path, rate, nperseg = sys.argv[1], float(sys.argv[2]), int(sys.argv[3])
    x = np.fromfile(path, dtype=np.complex64)
    f, p = scipy.signal.welch(x, fs=rate, window="flattop", nperseg=nperseg, noverlap=0, detrend=False,
                              return_onesided=False, scaling="spectrum", average="mean")
    k = int(np.argmax(p))
    print("scipy welch: %d bins, %d blocks, highest %.2f dB at %.6g Hz" % (len(p), len(x) // nperseg,
                                                                          10 * np.log10(p[k]), f[k]))


if __name__ == "__main__":
    main()
