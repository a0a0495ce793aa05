#!/usr/bin/env bash
# Installs, as root on Debian 12, every package that the build, tests and benchmarks need.
# Idempotent: packages already present are left as they are.
set -euo pipefail

PACKAGES=(
    build-essential cmake pkg-config git
    libfftw3-dev       # FFT plans
    libsleef-dev       # vectorised transcendental functions
    liblapack-dev liblapacke-dev  # LU factorisation and inverse
    zlib1g-dev         # crc32 anchor of the checksum benchmark
    googletest libgtest-dev libbenchmark-dev
    libvolk2-dev       # peer kernels for the benchmarks
    libliquid-dev      # peer half-band decimators for the benchmarks
    python3-numpy python3-scipy  # numerical oracles of the tests (/usr/bin/python3)
    python3-pil        # Pillow: the image-resize anchor of the display benchmark
    octave gnuplot-nox fonts-freefont-otf ghostscript  # MGraph's plotting server (headless Octave, gnuplot, PNG output); a reader of our MAT-files in the tests
    pybind11-dev python3-pybind11  # the corvane Python package
    python3-pytest python3-matplotlib  # its tests and its example plot
    valgrind
    libmatio-dev       # MAT-files (level 5) of MatFileWriter and VSAFileWriter
    nlohmann-json3-dev # JSON metadata of SigMF recordings (SigMFReader, SigMFWriter)
    clang-14 libclang-rt-14-dev  # libFuzzer harnesses of the file readers (fuzz/, CORVANE_FUZZ)
)

missing=()
for p in "${PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
    echo "install-deps: all ${#PACKAGES[@]} packages present"
    exit 0
fi
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
echo "install-deps: installing ${missing[*]}"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
