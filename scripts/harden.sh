#!/usr/bin/env bash
# The checks beyond the test suite, each in a build tree of its own beside build/:
#   sanitize  clang with AddressSanitizer and UndefinedBehaviorSanitizer (halt on the first report, no
#             suppressions) over the library, the generated kernels and every test: build-sanitize/
#   gcc-sanitize  the same with gcc, whose intrinsics and checks differ, the code generators built plain
#             (the clang build checks them): build-sanitize-gcc/
#   fuzz      the libFuzzer targets of the clang build, each for ZSPGEN_FUZZ_SECONDS (default 60) seconds,
#             keeping their corpora in build-sanitize/corpus/
#   threads   gcc with ThreadSanitizer: the library and the eight-thread stress test, the generators plain:
#             build-tsan/
#   memcheck  valgrind over the demo and a replay of the fuzz corpora, in the plain build/
# With no argument it runs all five, in this order; name stages to run only those. Each stage prints
# its time; the whole takes about 20 minutes on 2 cores from nothing, less when the trees exist.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh harden
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-2}
jobs=${CTEST_PARALLEL_LEVEL:-2}
fuzz_seconds=${ZSPGEN_FUZZ_SECONDS:-60}
stages=("$@")
[ ${#stages[@]} -eq 0 ] && stages=(sanitize gcc-sanitize fuzz threads memcheck)

export ASAN_OPTIONS=halt_on_error=1:abort_on_error=1:detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1

configure() {  # tree, then cmake options
  local tree=$1
  shift
  mkdir -p "$tree"
  if ! cmake -S . -B "$tree" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZSPGEN_BUILD_BENCH=OFF "$@" >"$tree/configure.log"; then
    cat "$tree/configure.log" >&2
    exit 1
  fi
}

timed() {  # label, then the command
  local label=$1 start=$SECONDS
  shift
  "$@"
  echo "harden: $label took $((SECONDS - start)) s"
}

sanitize() {
  configure build-sanitize -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DZSPGEN_SANITIZE=address,undefined -DZSPGEN_FUZZ=ON
  timed "sanitize: build" cmake --build build-sanitize
  timed "sanitize: tests" ctest --test-dir build-sanitize -j "$jobs" --output-on-failure
}

gcc_sanitize() {
  configure build-sanitize-gcc -DZSPGEN_SANITIZE=address,undefined -DZSPGEN_INSTRUMENT_GENERATORS=OFF
  timed "gcc-sanitize: build" cmake --build build-sanitize-gcc
  timed "gcc-sanitize: tests" ctest --test-dir build-sanitize-gcc -j "$jobs" --output-on-failure
}

fuzz() {
  [ -d build-sanitize ] || sanitize
  for target in dispatch dct4; do
    local corpus=build-sanitize/corpus/$target
    mkdir -p "$corpus"
    # -max_len: the longest input a target reads from is a little over 16 KiB (8192 samples of 2 bytes).
    timed "fuzz: $target" build-sanitize/tests/fuzz/fuzz_$target "$corpus" -max_total_time="$fuzz_seconds" \
      -max_len=20000 -rss_limit_mb=4096 -print_final_stats=1 2>build-sanitize/fuzz_$target.log ||
      { tail -50 build-sanitize/fuzz_$target.log >&2; exit 1; }
    grep -E "^stat::(number_of_executed_units|peak_rss_mb)|cov: [0-9]+" build-sanitize/fuzz_$target.log | tail -3
  done
}

threads() {
  configure build-tsan -DZSPGEN_SANITIZE=thread -DZSPGEN_BUILD_EXAMPLES=OFF -DZSPGEN_INSTRUMENT_GENERATORS=OFF
  timed "threads: build" cmake --build build-tsan --target test_threads
  ZSPGEN_STRESS_ROUNDS=${ZSPGEN_STRESS_ROUNDS:-4} timed "threads: stress" build-tsan/tests/stress/test_threads
}

memcheck() {
  bash scripts/configure.sh
  cmake --build build --target zspgen_demo replay_dispatch replay_dct4
  local valgrind=(valgrind --error-exitcode=1 --leak-check=full --show-leak-kinds=all --errors-for-leak-kinds=all -q)
  timed "memcheck: demo" "${valgrind[@]}" build/examples/zspgen_demo >/dev/null
  for target in dispatch dct4; do
    local corpus=build-sanitize/corpus/$target replay=()
    # The first 300 inputs of the corpus the fuzzer left, or inputs from a fixed seed without one.
    if [ -d "$corpus" ] && [ -n "$(ls -A "$corpus")" ]; then
      mapfile -t replay < <(find "$corpus" -type f | sort | head -300)
    else
      replay=(--random 300)
    fi
    timed "memcheck: $target" "${valgrind[@]}" build/tests/fuzz/replay_$target "${replay[@]}"
  done
}

for stage in "${stages[@]}"; do
  case $stage in
    sanitize | gcc-sanitize | fuzz | threads | memcheck) timed "stage $stage" "${stage//-/_}" ;;
    *) echo "harden: unknown stage $stage (sanitize, gcc-sanitize, fuzz, threads, memcheck)" >&2; exit 2 ;;
  esac
done
