#!/usr/bin/env bash
# Checks the binary interface of the shared library: the public classes are exported, and nothing of
# the kernel layer or the internal helpers is. Usage: check_exports.sh path/to/libcorvane.so
set -euo pipefail
lib="$1"
syms="$(nm -DC --defined-only "$lib" | awk '{ $1 = ""; $2 = ""; sub(/^  /, ""); print }')"
fail=0
for want in 'VELA::FT::Forward' 'VELA::VecCplx32::' 'VELA::SteppedSpectrum::Init' 'VELA::VELAAllocReal32' \
            'typeinfo for VELA::VELAException' 'VELA::UnitTestRecorder::' \
            'VELA::OrrinLUMASupport::SetMeasurementParameters' 'VELA::SorrelNexaSupport::GetVrVector'; do
    if ! grep -qF "$want" <<<"$syms"; then
        echo "missing export: $want"
        fail=1
    fi
done
# The display-path functions have C linkage: exported under their plain, unmangled names.
raw="$(nm -D --defined-only "$lib" | awk '{ print $3 }')"
for want in NormalizeDensity MapDensityDataToColorRange MapHitDataToColorRange StretchBitmap; do
    if ! grep -qx "$want" <<<"$raw"; then
        echo "missing unmangled export: $want"
        fail=1
    fi
done
# Internal namespaces and the third-party libraries linked in must stay hidden.
leaks="$(grep -E '(^| for )VELA::(kern|convdetail|internal|detail|halfband)::|\(anonymous namespace\)|^fftw|^Sleef_|^sgetr|^dgetr' <<<"$syms" || true)"
if [ -n "$leaks" ]; then
    echo "internal symbols exported:"
    head -n 20 <<<"$leaks"
    fail=1
fi
count="$(wc -l <<<"$syms")"
echo "exported symbols: $count"
exit "$fail"
