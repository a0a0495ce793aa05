#!/usr/bin/env bash
# The library's main job: set up, build, and run the self-test host over every class.
# Usage: scripts/selftest.sh [class names...]   (extra arguments go to corvane-selftest)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
bash "$root/scripts/install-deps.sh"
# A build directory of its own: the test command's directories keep their tests switched on.
build="$root/build-selftest"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DCORVANE_BUILD_TESTS=OFF -DCORVANE_BUILD_TOOLS=ON \
    -DCORVANE_BUILD_BENCH=OFF -DCORVANE_SANITIZE=OFF -DCORVANE_TSAN=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target corvane-selftest
mkdir -p "$build/selftest-run"
cd "$build/selftest-run"
"$build/tools/corvane-selftest" "$@"
