#!/usr/bin/env bash
# Installs what is missing, builds the library and runs the demo.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/configure.sh
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-2}
cmake --build build --target zspgen_demo
./build/examples/zspgen_demo
