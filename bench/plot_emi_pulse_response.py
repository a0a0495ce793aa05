#!/usr/bin/python3
"""Draws the quasi-peak pulse response that bench_emi --emi-pulse-response=CSV measured, beside the
limits of CISPR 16-1-1 (relative equivalent level of pulse against repetition rate, reference 100 Hz;
25 Hz in band A, drawn without limits).

Usage: plot_emi_pulse_response.py data.csv out.png
"""
import csv
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

# (rate Hz, level dB, tolerance dB) of the standard's table as quoted in issue 24.
LIMITS = {
    "B": [(1000, -4.5, 1.0), (100, 0.0, 0.0), (10, 10.0, 1.5), (2, 20.5, 2.0), (1, 22.5, 2.0)],
    "CD": [(100, 0.0, 0.0), (1, 28.5, 2.0)],
}
NAMES = {"A": "Band A (200 Hz, 25 Hz = 0)", "B": "Band B (9 kHz)", "CD": "Bands C/D (120 kHz)"}
COLOURS = {"A": "tab:green", "B": "tab:blue", "CD": "tab:red"}
ISOLATED_X = 0.3  # where an isolated pulse is drawn on the rate axis


def main(src, dst):
    data = {}
    with open(src) as f:
        for row in csv.DictReader(f):
            data.setdefault(row["band"], []).append((float(row["rate_hz"]), float(row["level_db"])))
    fig, ax = plt.subplots(figsize=(8, 5))
    for band, rows in data.items():
        train = sorted(r for r in rows if r[0] > 0)
        iso = [r for r in rows if r[0] == 0]
        ax.semilogx([r[0] for r in train], [r[1] for r in train], "o-", color=COLOURS[band],
                    label=NAMES[band] + ", measured")
        if iso:
            ax.semilogx([ISOLATED_X], [iso[0][1]], "s", color=COLOURS[band], mfc="none",
                        label=NAMES[band] + ", isolated pulse")
        lim = LIMITS.get(band, [])
        if not lim:
            continue
        ax.errorbar([r[0] for r in lim], [r[1] for r in lim], yerr=[r[2] for r in lim], fmt="_",
                    color="black" if band == "B" else "dimgray", capsize=6, ms=14, lw=2,
                    label=NAMES[band] + ", standard's limits")
    ax.set_xlabel("pulse repetition rate (Hz); isolated pulse at %.1f" % ISOLATED_X)
    ax.set_ylabel("relative equivalent level of pulse (dB)")
    ax.set_title("EMIReceiver quasi-peak pulse response (reference 100 Hz; band A 25 Hz)")
    ax.grid(True, which="both", alpha=0.3)
    ax.invert_xaxis()
    ax.legend(fontsize=8)
    fig.tight_layout()
    fig.savefig(dst, dpi=110)


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
