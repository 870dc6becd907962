#!/usr/bin/env bash
# Sets up, builds and runs the whole test suite three ways: a normal build,
# an AddressSanitizer + UndefinedBehaviorSanitizer build, and the threaded tests
# under ThreadSanitizer. Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
jobs=$(nproc)

run_suite() {  # <build dir> <ctest arguments...>
  local dir=$1; shift
  cmake --build "$dir" -j "$jobs"
  ctest --test-dir "$dir" --output-on-failure --no-tests=error -j "$jobs" "$@"
}

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
run_suite build

cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKAVIX_ASAN=ON -DKAVIX_BENCH=OFF
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  run_suite build-asan

cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKAVIX_TSAN=ON -DKAVIX_BENCH=OFF
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 run_suite build-tsan -L threaded
