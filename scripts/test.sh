#!/usr/bin/env bash
# Builds everything and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DZSPGEN_BUILD_TESTS=ON -DZSPGEN_BUILD_EXAMPLES=ON -DZSPGEN_BUILD_BENCH=ON >/dev/null
cmake --build build -j2
ctest --test-dir build -j2 --output-on-failure
