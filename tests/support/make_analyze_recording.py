#!/usr/bin/env python3
"""Writes the recording of the corvane-analyze tests: tones of known frequency and level in white
complex Gaussian noise of known power, seeded, as

  rec.cf32                          raw interleaved float32 I, Q
  rec-cf32.sigmf-meta / -data       SigMF cf32_le
  rec-ci16.sigmf-meta / -data       SigMF ci16_le (words round(x * 32768), saturated)
  rec.json                          rate, centre, noise power and the tones (offset Hz, level dB)

Usage: make_analyze_recording.py OUTDIR [SAMPLES]
Levels are in dB relative to a tone of amplitude 1.0; the noise power is E|x|^2 over the whole band.
"""
import json
import os
import sys

import numpy as np

RATE = 10.0e6
CENTER = 100.0e6
NOISE_POWER = 1.0e-7  # -70 dB over the 10 MHz band
# (offset from the centre in Hz, level in dB). The tests measure 96..104 MHz with 2.5 MHz tunings,
# whose boundaries lie at offsets of +-1.25 and +-3.75 MHz.
TONES = [
    (1.25e6, -20.0),     # on a tuning boundary
    (3.75e6, -35.0),     # on a tuning boundary
    (-1.26e6, -30.0),    # one trace point outside a boundary
    (-3.74e6, -25.0),    # one trace point inside a boundary
    (2.5e6, -10.0),      # on a tuning centre (the tuner's zero frequency)
    (0.3333e6, -40.0),   # between trace points
    (-0.5e6, -15.0),
]


def make(n, seed=23):
    rng = np.random.default_rng(seed)
    k = np.arange(n, dtype=np.float64)
    x = np.sqrt(NOISE_POWER / 2.0) * (rng.standard_normal(n) + 1j * rng.standard_normal(n))
    for offset, level in TONES:
        phase = rng.uniform(0.0, 2.0 * np.pi)
        x += 10.0 ** (level / 20.0) * np.exp(1j * (2.0 * np.pi * offset / RATE * k + phase))
    return x


def meta(datatype, description):
    return {
        "global": {"core:datatype": datatype, "core:sample_rate": RATE, "core:version": "1.0.0",
                   "core:description": description},
        "captures": [{"core:sample_start": 0, "core:frequency": CENTER}],
        "annotations": [],
    }


def main():
    out = sys.argv[1]
    n = int(sys.argv[2]) if len(sys.argv) > 2 else 1 << 21
    os.makedirs(out, exist_ok=True)
    x = make(n)
    iq = np.empty(2 * n, dtype="<f4")
    iq[0::2] = x.real
    iq[1::2] = x.imag
    iq.tofile(os.path.join(out, "rec.cf32"))
    iq.tofile(os.path.join(out, "rec-cf32.sigmf-data"))
    words = np.clip(np.round(iq.astype(np.float64) * 32768.0), -32768, 32767).astype("<i2")
    words.tofile(os.path.join(out, "rec-ci16.sigmf-data"))
    for name, datatype in (("rec-cf32", "cf32_le"), ("rec-ci16", "ci16_le")):
        with open(os.path.join(out, name + ".sigmf-meta"), "w") as f:
            json.dump(meta(datatype, "corvane-analyze test recording"), f, indent=1)
    with open(os.path.join(out, "rec.json"), "w") as f:
        json.dump({"rate": RATE, "center": CENTER, "noise_power": NOISE_POWER, "samples": n,
                   "tones": TONES}, f, indent=1)


if __name__ == "__main__":
    main()
