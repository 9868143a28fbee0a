#!/usr/bin/env bash
# Configures the build tree build/ with the tests, the demo and the benchmarks. cmake's progress goes
# to build/configure.log; its notes and errors reach the terminal, and when configuring fails the
# whole log is shown as well.
set -euo pipefail
cd "$(dirname "$0")/.."
mkdir -p build
if ! cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DZSPGEN_BUILD_TESTS=ON \
     -DZSPGEN_BUILD_EXAMPLES=ON -DZSPGEN_BUILD_BENCH=ON >build/configure.log; then
  cat build/configure.log >&2
  echo "configure failed: cmake's output is above (also in build/configure.log)" >&2
  exit 1
fi
