#!/usr/bin/env bash
# Installs the build tree into a scratch prefix and runs the installed self-test host, from an empty
# directory, on the classes whose self-tests read reference files: it must find the installed library
# and the installed files relative to itself, not to the working directory or the build tree.
# Usage: check_installed_selftest.sh <build dir> <scratch dir> <class>...
set -euo pipefail
build="$1"
scratch="$2"
shift 2
prefix="$scratch/prefix"
rm -rf "$scratch"
mkdir -p "$scratch/run"
cmake --install "$build" --prefix "$prefix" >/dev/null
host="$prefix/bin/corvane-selftest"
test -x "$host"
# The host must load the installed library, not the build tree's.
lib="$(env -u LD_LIBRARY_PATH ldd "$host" | awk '/libcorvane/ { print $3 }')"
case "$lib" in
"$prefix"/*) ;;
*)
    echo "installed host loads '$lib', not a library under $prefix"
    exit 1
    ;;
esac
(cd "$scratch/run" && env -u LD_LIBRARY_PATH "$host" "$@")
rm -rf "$scratch"
