#!/usr/bin/env bash
# Installs the Debian packages that building and testing zspgen need, when any is missing.
# demo.sh, test.sh and the CI script run it first; it does nothing when all are there. With the argument
# `harden` it also installs what scripts/harden.sh needs: clang with its sanitizer and fuzzer runtimes,
# and valgrind.
# As root it installs them itself, otherwise through sudo; without either it prints the one command
# to run and stops.
set -euo pipefail

# libfftw3-dev only serves the benchmarks against FFTW; the build skips them without it.
# The Python module and its tests are built for Debian's /usr/bin/python3: pybind11, numpy, scipy,
# pytest and hypothesis; matplotlib draws the benchmarks' plots.
packages=(cmake ninja-build g++ libgtest-dev libbenchmark-dev pkg-config binutils libfftw3-dev
  python3-dev pybind11-dev python3-pybind11 python3-numpy python3-scipy python3-pytest python3-hypothesis
  python3-matplotlib)
if [ "${1:-}" = harden ]; then
  packages+=(clang libclang-rt-14-dev valgrind)
fi

if ! command -v dpkg-query >/dev/null 2>&1; then
  echo "setup: not a Debian system; make sure the equivalents of these are installed: ${packages[*]}" >&2
  exit 0
fi

missing=()
for p in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

install="apt-get update && apt-get install -y ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
if [ "$(id -u)" -eq 0 ]; then
  echo "setup: installing missing Debian packages: ${missing[*]}"
  apt-get update
  apt-get install -y "${missing[@]}"
elif command -v sudo >/dev/null 2>&1 && { [ -t 0 ] || sudo -n true 2>/dev/null; }; then
  echo "setup: installing missing Debian packages through sudo: ${missing[*]}"
  sudo apt-get update
  sudo DEBIAN_FRONTEND=noninteractive apt-get install -y "${missing[@]}"
else
  echo "setup: these packages are missing and this user can't install them: ${missing[*]}" >&2
  if command -v sudo >/dev/null 2>&1; then as_root=(sudo sh -c); else as_root=(su -c); fi
  echo "setup: run this one command, then run the script again:" >&2
  echo "    ${as_root[*]} '$install'" >&2
  exit 1
fi
