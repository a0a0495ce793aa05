#!/usr/bin/env python3
"""Stepped sweep of a synthesised multi-tone capture with the CISPR peak and quasi-peak detectors.

A simulated tuner delivers, at each tuning of the plan, the complex baseband samples of the tones that
fall inside its acquisition span, plus a little noise. Three tones are continuous; a fourth is a burst
that is on in one acquisition out of a thousand (about three times a second). The peak detector reads every tone at its level; the
quasi-peak detector, which weighs how often a signal repeats, reads the burst far lower. The plot is
saved as a PNG (matplotlib, Agg backend).

    PYTHONPATH=build/python /usr/bin/python3 examples/python/stepped_sweep.py --output sweep.png
"""
import argparse

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

import corvane  # noqa: E402

SAMP_FREQ_HZ = 12.5e6  # complex sample rate of one acquisition
ACQ_SPAN_HZ = 10e6  # usable span of one acquisition
CENTER_HZ = 150e6
SPAN_HZ = 30e6
RBW_HZ = 120e3  # the CISPR bandwidth of 30 MHz to 1 GHz
POINTS = 1201

# (frequency in Hz, amplitude in dB, on in one acquisition out of `every`)
TONES = [(139.0e6, -20.0, 1), (146.3e6, -35.0, 1), (152.5e6, -10.0, 1), (158.7e6, -15.0, 1000)]


def tuner(plan, rng, variants=8):
    """Returns source(tuning, acquisition) -> the block the simulated tuner delivers.

    The blocks are made once per tuning (a few noise realisations, with and without the burst) and
    handed out in turn, so that the thousands of acquisitions of a quasi-peak measurement cost little.
    """
    blocks = []
    for i in range(plan.tunings):
        n = int(plan.num_samples[i])
        t = np.arange(n)
        per_tuning = {}
        for burst_on in (False, True):
            rows = []
            for _ in range(variants):
                x = 1e-4 * (rng.standard_normal(n) + 1j * rng.standard_normal(n))
                for f, level_db, every in TONES:
                    offset = f - plan.freq_steps_hz[i]
                    if abs(offset) < ACQ_SPAN_HZ / 2 and (every == 1 or burst_on):
                        x = x + 10 ** (level_db / 20) * np.exp(2j * np.pi * offset / SAMP_FREQ_HZ * t)
                rows.append(x.astype(np.complex64))
            per_tuning[burst_on] = rows
        blocks.append(per_tuning)
    burst_every = max(every for _, _, every in TONES)

    def source(i, a):
        return blocks[i][a % burst_every == 0][a % variants]

    return source


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--output", default="stepped_sweep.png", help="PNG file to write")
    args = ap.parse_args()

    ss = corvane.SteppedSpectrum()
    plan = ss.init(span_hz=SPAN_HZ, center_freq_hz=CENTER_HZ, rbw_hz=RBW_HZ, window=corvane.WindowType.CISPR_6DB,
                   points=POINTS, acq_span_hz=ACQ_SPAN_HZ, samp_freq_hz=SAMP_FREQ_HZ,
                   detector=corvane.DetectorType.CISPR_QUASI_PEAK)
    print(f"{plan.tunings} tunings, {plan.cispr_acq_num} acquisitions each, "
          f"{int(plan.num_samples[0])} samples per acquisition, actual RBW {plan.actual_rbw_hz / 1e3:.2f} kHz")

    peak, qp = ss.cispr_sweep(tuner(plan, np.random.default_rng(1)),
                              [corvane.DetectorType.CISPR_PEAK, corvane.DetectorType.CISPR_QUASI_PEAK])
    freqs = CENTER_HZ - SPAN_HZ / 2 + np.arange(len(peak)) * SPAN_HZ / (len(peak) - 1)
    for f, level_db, every in TONES:
        k = int(np.argmin(np.abs(freqs - f)))
        lo, hi = max(k - 3, 0), k + 4
        print(f"{f / 1e6:7.2f} MHz ({level_db:6.1f} dB, on 1 in {every:4d}): "
              f"peak {peak[lo:hi].max():7.2f} dB, quasi-peak {qp[lo:hi].max():7.2f} dB")

    fig, ax = plt.subplots(figsize=(10, 5), dpi=100)
    ax.plot(freqs / 1e6, peak, label="CISPR peak", color="tab:red", linewidth=1.0)
    ax.plot(freqs / 1e6, qp, label="CISPR quasi-peak", color="tab:blue", linewidth=1.0)
    ax.set_xlabel("Frequency (MHz)")
    ax.set_ylabel("Level (dB)")
    ax.set_title(f"Stepped sweep, {plan.tunings} tunings, RBW {plan.actual_rbw_hz / 1e3:.1f} kHz "
                 f"({plan.cispr_acq_num} acquisitions per tuning)")
    ax.set_ylim(-110, 5)
    ax.grid(True, alpha=0.3)
    ax.legend(loc="upper left")
    burst_f = TONES[3][0]
    ax.annotate("burst, on 1 acquisition in 1000", xy=(burst_f / 1e6, -15), xytext=(burst_f / 1e6 - 9, -5),
                arrowprops=dict(arrowstyle="->"))
    fig.tight_layout()
    fig.savefig(args.output)
    print(f"wrote {args.output}")


if __name__ == "__main__":
    main()
