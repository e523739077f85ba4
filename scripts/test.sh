#!/usr/bin/env bash
# Installs what is missing, then builds and runs the whole test suite twice: an optimised
# build with warnings as errors, and a build with AddressSanitizer and UndefinedBehaviorSanitizer.
# Networked tests run inside private network namespaces and need root; without it they are skipped.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

"$root/scripts/install-deps.sh"

configure_and_build() {
    local dir=$1
    shift
    cmake -S "$root" -B "$dir" -DWARNINGS_AS_ERRORS=ON "$@"
    cmake --build "$dir" -j2
}

run_tests() {
    ctest --test-dir "$1" --output-on-failure --no-tests=error -j2
}

configure_and_build "$root/build/release" -DCMAKE_BUILD_TYPE=RelWithDebInfo
run_tests "$root/build/release"

configure_and_build "$root/build/sanitize" -DCMAKE_BUILD_TYPE=Debug -DSANITIZE=ON
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:halt_on_error=1"
export LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
run_tests "$root/build/sanitize"
