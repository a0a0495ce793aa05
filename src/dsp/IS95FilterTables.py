#!/usr/bin/python3
"""Generates IS95FilterTables.inc, the stored taps of the three IS-95 filters, at the oversampling
ratios 2, 4, 8 and 16 (samples per chip).

Design
------
All three are built around the IS-95 transmit pulse: the 48-tap baseband filter of the standard
(TIA/EIA-95, also C.S0002 table 3.1.3.1.20.1-1), given at 4 samples per chip, whose DTFT Htx(f) is
taken with its linear phase removed (zero phase), and the standard's phase equaliser
H(w) = (w^2 - j a w0 w - w0^2) / (w^2 + j a w0 w - w0^2), a = 1.36, w0 = 2 pi 315 kHz, chip rate
1.2288 MHz, realised as the stable all-pass, i.e. conj(H) in the e^{+j w t} convention used below.

- Reference filter: the overall response that the transmit pulse and a complementary receive filter
  make together, a Nyquist (raised-cosine) pulse. Its roll-off r_ref is fitted so that the tap next to
  the centre over the centre tap is 1.2694892 / 2.0016844 at 2 samples per chip; each table is then
  scaled so that its centre tap is the quoted value for its ratio (2.0016844, 1.0003898, 0.50013757,
  0.25008360). Symmetric, centred at index `delay`.
- TX measurement filter: the complementary filter R(f) / Htx(f), R the raised-cosine spectrum of
  roll-off r_tx (band-limited to (1 + r_tx)/2 chip rates, where Htx has no zero). 
- TX EQ measurement filter: the complementary filter of the transmit pulse followed by the equaliser,
  R(f) / (Htx(f) conj(H(f))), with its own roll-off r_eq.
  For both, the impulse response m(t) = int M(f) exp(j 2 pi f t) df (t in chips) is sampled at
  t_k = k/os - 20 - tau: the sample at index 20 os lies tau before the pulse's time origin. The
  roll-off is fitted so that the taps at 2 samples per chip sum to 4 / sum(htx) = 0.918476 (the DC
  gain of the reference over that of the transmit pulse); tau is fitted so that index 39 over index 40
  at 2 samples per chip is the quoted ratio. Each table is scaled so that its peak tap is the quoted
  value: index 20 os for TX (0.52488416, 0.26244208, 0.13122104, 0.065610520) and for EQ up to 8
  (0.51987457, 0.25993729, 0.12996864), index 321 at 16 for EQ (0.065056130).

The script checks every quoted figure and property and fails if one is not met. Run it from anywhere:
    /usr/bin/python3 src/dsp/IS95FilterTables.py   (needs numpy and scipy)
"""
import os
import sys

import numpy as np
from scipy.optimize import brentq

HTX_HALF = [
    -0.025288315, -0.034167931, -0.035752323, -0.016733702, 0.021602514, 0.064938487, 0.091002137,
    0.081894974, 0.037071157, -0.021998074, -0.060716277, -0.051178658, 0.007874526, 0.084368728,
    0.126869306, 0.094528345, -0.012839661, -0.143477028, -0.211829088, -0.140513128, 0.094601918,
    0.441387140, 0.785875640, 1.0]
HTX = np.array(HTX_HALF + HTX_HALF[::-1])
CHIP_RATE = 1.2288e6
EQ_ALPHA, EQ_F0 = 1.36, 315e3

# (oversampling, taps, delay) of the tables.
REF_SIZES = [(2, 103, 51), (4, 207, 103), (8, 415, 207), (16, 829, 414)]
MEA_SIZES = [(2, 81, 40), (4, 161, 80), (8, 321, 160), (16, 643, 321)]
REF_CENTRE = {2: 2.0016844, 4: 1.0003898, 8: 0.50013757, 16: 0.25008360}
REF_NEXT_AT_2 = 1.2694892
TX_PEAK = {2: 0.52488416, 4: 0.26244208, 8: 0.13122104, 16: 0.065610520}
TX_PEAK_INDEX = {2: 40, 4: 80, 8: 160, 16: 320}
TX_39_AT_2 = 0.32338271
EQ_PEAK = {2: 0.51987457, 4: 0.25993729, 8: 0.12996864, 16: 0.065056130}
EQ_PEAK_INDEX = {2: 40, 4: 80, 8: 160, 16: 321}
EQ_39_AT_2 = 0.30690706
SUM_TARGET = 4.0 / HTX.sum()


def htx(f):
    """Zero-phase response of the transmit pulse, f in chip rates."""
    n = np.arange(48)
    return (HTX[None, :] * np.cos(2 * np.pi * np.outer(f, (n - 23.5) / 4.0))).sum(1)


def equaliser(f):
    """The stable phase equaliser, f in chip rates."""
    w = 2 * np.pi * f * CHIP_RATE
    w0 = 2 * np.pi * EQ_F0
    h = (w * w - 1j * EQ_ALPHA * w0 * w - w0 * w0) / (w * w + 1j * EQ_ALPHA * w0 * w - w0 * w0)
    return np.conj(h)


def rc_spectrum(f, r):
    f = np.abs(f)
    out = np.zeros_like(f)
    out[f <= (1 - r) / 2] = 1.0
    band = (f > (1 - r) / 2) & (f < (1 + r) / 2)
    out[band] = 0.5 * (1 + np.cos(np.pi / r * (f[band] - (1 - r) / 2)))
    return out


def rc_time(t, r):
    t = np.asarray(t, float)
    d = 1 - (2 * r * t) ** 2
    sing = np.abs(d) < 1e-12
    out = np.sinc(t) * np.cos(np.pi * r * t) / np.where(sing, 1.0, d)
    return np.where(sing, np.pi / 4 * np.sinc(1 / (2 * r)), out)


def pulse(r, with_equaliser):
    """m(t) of a complementary filter, by the trapezoid rule over its band."""
    fmax = (1 + r) / 2
    f = np.linspace(-fmax, fmax, 16001)
    df = f[1] - f[0]
    w = np.full_like(f, df)
    w[0] = w[-1] = df / 2
    M = rc_spectrum(f, r) / htx(f)
    if with_equaliser:
        M = M / equaliser(f)
    M = M * w

    def m(t):
        t = np.atleast_1d(np.asarray(t, float))
        return (np.exp(2j * np.pi * np.outer(t, f)) * M[None, :]).sum(1).real

    return m


def measurement_tables(r, with_equaliser, ratio39, ratios=(2, 4, 8, 16)):
    m = pulse(r, with_equaliser)
    # The pulse's own peak, then tau near it.
    tt = np.linspace(-2.5, 2.5, 1001)
    tp = tt[np.argmax(m(tt))]
    g = lambda tau: m(-0.5 - tau)[0] / m(-tau)[0] - ratio39
    tau = brentq(g, -tp - 0.3, -tp + 0.3, xtol=1e-15)
    tables = {}
    for os_, n, _ in MEA_SIZES:
        if os_ in ratios:
            tables[os_] = m(np.arange(n) / os_ - 20.0 - tau)
    return tables, tau


def scaled(tables, peak, peak_index):
    return {os_: v * (peak[os_] / v[peak_index[os_]]) for os_, v in tables.items()}


def fit_measurement(with_equaliser, peak, peak_index, value39, bracket):
    ratio39 = value39 / peak[2]

    def sum_at_2(r):
        tables, _ = measurement_tables(r, with_equaliser, ratio39, ratios=(2,))
        v = tables[2]
        return (v * (peak[2] / v[peak_index[2]])).sum() - SUM_TARGET

    r = brentq(sum_at_2, *bracket, xtol=1e-12)
    tables, tau = measurement_tables(r, with_equaliser, ratio39)
    return scaled(tables, peak, peak_index), r, tau


def literal(x):
    """A float literal that reads back as the same float."""
    text = f"{float(x):.9g}"
    if "." not in text and "e" not in text:
        text += ".0"
    return text + "f"


def main():
    # Reference.
    ratio = REF_NEXT_AT_2 / REF_CENTRE[2]
    r_ref = brentq(lambda r: rc_time(0.5, r) - ratio, 0.01, 0.5, xtol=1e-15)
    ref = {}
    for os_, n, d in REF_SIZES:
        t = (np.arange(n) - d) / os_
        v = REF_CENTRE[os_] * rc_time(t, r_ref)
        # The Nyquist zeros at whole chips are exact zeros, not rounding noise.
        v[(t != 0) & (t == np.round(t))] = 0.0
        ref[os_] = v

    tx, r_tx, tau_tx = fit_measurement(False, TX_PEAK, TX_PEAK_INDEX, TX_39_AT_2, (0.05, 0.25))
    eq, r_eq, tau_eq = fit_measurement(True, EQ_PEAK, EQ_PEAK_INDEX, EQ_39_AT_2, (0.12, 0.25))

    f32 = lambda d: {k: np.asarray(v, np.float32) for k, v in d.items()}
    ref, tx, eq = f32(ref), f32(tx), f32(eq)

    # Every quoted figure and property, on the float tables.
    failures = []

    def check(cond, what):
        if not cond:
            failures.append(what)

    for os_, n, d in REF_SIZES:
        v = ref[os_]
        check(len(v) == n, f"reference {os_}: length")
        check(v[d] == np.float32(REF_CENTRE[os_]), f"reference {os_}: centre")
        check(np.array_equal(v, v[::-1]), f"reference {os_}: symmetry")
        check(int(np.argmax(v)) == d, f"reference {os_}: peak at the centre")
        check(abs(v.sum(dtype=np.float64) - 4.0) < 0.02 * 4.0, f"reference {os_}: sum about 4")
    check(ref[2][50] == np.float32(REF_NEXT_AT_2), "reference 2: index 50")
    for name, tab, peak, idx, v39 in (("tx", tx, TX_PEAK, TX_PEAK_INDEX, TX_39_AT_2),
                                      ("eq", eq, EQ_PEAK, EQ_PEAK_INDEX, EQ_39_AT_2)):
        for os_, n, d in MEA_SIZES:
            v = tab[os_]
            check(len(v) == n, f"{name} {os_}: length")
            check(v[idx[os_]] == np.float32(peak[os_]), f"{name} {os_}: peak value")
            check(int(np.argmax(v)) == idx[os_], f"{name} {os_}: the peak is the largest tap")
            check(not np.array_equal(v, v[::-1]), f"{name} {os_}: not symmetric")
            check(abs(v.sum(dtype=np.float64) - SUM_TARGET) < 0.02 * SUM_TARGET, f"{name} {os_}: sum")
        check(tab[2][39] == np.float32(v39), f"{name} 2: index 39")
    if failures:
        sys.exit("IS-95 tables do not meet: " + ", ".join(failures))

    lines = [
        "// Generated by IS95FilterTables.py; do not edit. The design and the figures each table meets",
        "// are described there.",
        f"// Reference roll-off {r_ref:.9f}; TX measurement roll-off {r_tx:.9f}, offset {tau_tx:.9f} chips;",
        f"// TX EQ measurement roll-off {r_eq:.9f}, offset {tau_eq:.9f} chips.",
    ]
    sums = []
    for name, tab, sizes in (("kIS95Reference", ref, REF_SIZES), ("kIS95TXMeasurement", tx, MEA_SIZES),
                             ("kIS95TXEQMeasurement", eq, MEA_SIZES)):
        for os_, n, _ in sizes:
            v = tab[os_]
            sums.append(f"{name}{os_}: sum {v.sum(dtype=np.float64):.6f}")
            lines.append(f"const float {name}{os_}[{n}] = {{")
            vals = [literal(x) for x in v]
            for i in range(0, n, 6):
                lines.append("    " + ", ".join(vals[i:i + 6]) + ",")
            lines.append("};")
    out = os.path.join(os.path.dirname(os.path.abspath(__file__)), "IS95FilterTables.inc")
    with open(out, "w") as fh:
        fh.write("\n".join(lines) + "\n")
    print(f"r_ref {r_ref:.9f}  r_tx {r_tx:.9f} tau_tx {tau_tx:.9f}  r_eq {r_eq:.9f} tau_eq {tau_eq:.9f}")
    print("\n".join(sums))
    print("wrote", out)


if __name__ == "__main__":
    main()
