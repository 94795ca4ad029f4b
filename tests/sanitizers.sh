#!/usr/bin/env bash
# The sanitizer pass of ./test.sh: the whole suite once more under
# AddressSanitizer and UndefinedBehaviorSanitizer (build-asan; the fuzz
# regression inputs are replayed there by test_fuzz_regressions), then the
# thread test under ThreadSanitizer (build-tsan, that target only). Debug
# builds: they compile much faster and the suite itself runs in about a minute.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DKXSVG_SANITIZE=ON -DKXSVG_BUILD_TESTS=ON -DKXSVG_BUILD_BENCH=OFF -DKXSVG_BUILD_APPS=ON
cmake --build build-asan -j2
# The corpus sweep takes every file in the normal pass; here an evenly spread
# sample of them keeps the instrumented run short.
(cd build-asan &&
  KXSVG_CORPUS_SAMPLE=3000 \
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:detect_stack_use_after_return=0 \
  UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
  ctest --output-on-failure -j2)

cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS="-fsanitize=thread -O1" \
  -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=thread -DCMAKE_SHARED_LINKER_FLAGS=-fsanitize=thread \
  -DKXSVG_BUILD_TESTS=ON -DKXSVG_BUILD_BENCH=OFF -DKXSVG_BUILD_APPS=OFF
cmake --build build-tsan -j2 --target test_threads
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 ./build-tsan/tests/test_threads
