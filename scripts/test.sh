#!/usr/bin/env bash
# The whole test suite: set up, then
#   1. release build, every GoogleTest case and the self-test host under ctest;
#   2. the same under AddressSanitizer and UndefinedBehaviorSanitizer;
#   3. the thread tests under ThreadSanitizer;
#   4. install, then build and run a consumer project against the installed package, once through
#      find_package(Corvane) and once through pkg-config, and import the installed Python package;
#   5. the fuzzing harnesses of the file readers, a short run of each over its seed corpus.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
jobs="$(nproc)"
bash "$root/scripts/install-deps.sh"

# Every option is set explicitly: a build directory configured earlier with other options (by the
# self-test command, or by hand) must not weaken what runs here. ctest fails when it finds no tests.
common=(-DCORVANE_BUILD_TESTS=ON -DCORVANE_BUILD_TOOLS=ON -DCORVANE_BUILD_BENCH=OFF)

echo "== release build and tests"
cmake -S "$root" -B "$root/build" -DCMAKE_BUILD_TYPE=Release "${common[@]}" \
    -DCORVANE_SANITIZE=OFF -DCORVANE_TSAN=OFF -DCORVANE_BUILD_PYTHON=ON >/dev/null
cmake --build "$root/build" -j"$jobs"
(cd "$root/build" && ctest --no-tests=error --output-on-failure -j"$jobs")

echo "== sanitizer build and tests (address, undefined)"
cmake -S "$root" -B "$root/build-asan" -DCMAKE_BUILD_TYPE=RelWithDebInfo "${common[@]}" \
    -DCORVANE_SANITIZE=ON -DCORVANE_TSAN=OFF -DCORVANE_BUILD_PYTHON=OFF >/dev/null
cmake --build "$root/build-asan" -j"$jobs"
(cd "$root/build-asan" && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 ctest --no-tests=error --output-on-failure -j"$jobs")

echo "== thread tests under ThreadSanitizer"
cmake -S "$root" -B "$root/build-tsan" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCORVANE_BUILD_TESTS=ON \
    -DCORVANE_BUILD_TOOLS=OFF -DCORVANE_BUILD_BENCH=OFF -DCORVANE_SANITIZE=OFF -DCORVANE_TSAN=ON \
    -DCORVANE_BUILD_PYTHON=OFF >/dev/null
cmake --build "$root/build-tsan" -j"$jobs" --target corvane_tsan_tests
(cd "$root/build-tsan" && ctest --no-tests=error --output-on-failure -j"$jobs")

echo "== install and consumer check"
prefix="$root/build/_install"
rm -rf "$prefix"
cmake --install "$root/build" --prefix "$prefix" >/dev/null
cmake -S "$root/examples/consumer" -B "$root/build/consumer" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$root/build/consumer" -j"$jobs"
"$root/build/consumer/consumer"
PKG_CONFIG_PATH="$prefix/lib/pkgconfig:$prefix/lib/x86_64-linux-gnu/pkgconfig" \
    bash -c 'c++ -std=c++20 -Wall -Wextra -Werror "$0/examples/consumer/main.cpp" -o "$0/build/consumer/consumer-pc" \
             $(pkg-config --cflags --libs corvane) -Wl,-rpath,"$(pkg-config --variable=libdir corvane)"' "$root"
"$root/build/consumer/consumer-pc"
# The installed Python package imports from the prefix (not from the build tree) and runs.
pydir="$prefix/$(/usr/bin/python3 -c 'import sys; print(f"lib/python{sys.version_info[0]}.{sys.version_info[1]}/dist-packages")')"
PYTHONPATH="$pydir" /usr/bin/python3 -c '
import sys, numpy as np, corvane
assert corvane.__file__.startswith(sys.argv[1]), corvane.__file__
print("installed corvane:", corvane.__file__, corvane.Spectrum(size=64).apply(np.ones(64, np.complex64)).max())
' "$pydir"
# The installed self-test host, run from an empty directory, finds the installed library and the
# installed reference files of the self-tests (relative to the library, not to the working directory).
run_dir="$(mktemp -d)"
(cd "$run_dir" && "$prefix/bin/corvane-selftest" DigitalIQDownconverter)
rm -rf "$run_dir"
echo "== fuzzing the file readers (libFuzzer, clang-14, ASan/UBSan), about a minute"
bash "$root/scripts/fuzz.sh" 15

echo "== all checks passed"
