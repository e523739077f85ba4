#!/usr/bin/env bash
# Installs what is missing, then builds and runs the whole test suite twice: an optimised
# build with warnings as errors, and a build with AddressSanitizer and UndefinedBehaviorSanitizer.
# Both builds' suites run whatever fails first. Networked tests run inside lab/netlab as the
# calling user. The closing lines name every failed and skipped suite, then count them; the
# exit code is non-zero on any failure, and with CI=true on any skipped suite too.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

"$root/scripts/install-deps.sh" || exit 1

echo "test: running as $(id -un), open files limit $(ulimit -Sn) (hard limit $(ulimit -Hn))"
[ "$(id -u)" -ne 0 ] ||
    echo "test: note: running as root; users run this as themselves, and CI runs it as an ordinary user (.ci/run)"

# How each build ended, as NAME=build when it did not build (its suites did not run, and the
# summary counts it as one failure), or NAME=STATUS, ctest's exit status.
outcomes=()
build_and_test() {
    local name=$1
    shift
    local dir="$root/build/$name"
    rm -f "$dir/ctest-results.xml"
    if ! cmake -S "$root" -B "$dir" -DWARNINGS_AS_ERRORS=ON "$@" || ! cmake --build "$dir" -j2; then
        outcomes+=("$name=build")
        return
    fi
    ctest --test-dir "$dir" --output-on-failure --no-tests=error -j2 --output-junit "$dir/ctest-results.xml"
    outcomes+=("$name=$?")
}

build_and_test release -DCMAKE_BUILD_TYPE=RelWithDebInfo

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:halt_on_error=1"
export LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
build_and_test sanitize -DCMAKE_BUILD_TYPE=Debug -DSANITIZE=ON

# ctest's "100% tests passed" counts a skipped suite as no failure; say what did not run.
python3 - "$root/build" "${outcomes[@]}" <<'EOF_PY'
import collections
import os
import sys
import xml.etree.ElementTree as ET

counts = collections.Counter()
lines = []
for outcome in sys.argv[2:]:
    build, status = outcome.split("=")
    if status == "build":
        counts["fail"] += 1
        lines.append(f"failed: the {build} build, so none of its suites ran")
        continue
    results = os.path.join(sys.argv[1], build, "ctest-results.xml")
    cases = list(ET.parse(results).getroot().iter("testcase")) if os.path.exists(results) else []
    # ctest can fail where no suite does, as when it finds no suites at all.
    if status != "0" and not any(case.get("status") == "fail" for case in cases):
        counts["fail"] += 1
        lines.append(f"failed: ctest of the {build} build ended with status {status}")
    for case in cases:
        state = case.get("status")
        counts[state] += 1
        output = [line for line in (case.findtext("system-out") or "").splitlines() if line.strip()]
        if state == "notrun":
            reason = ([line for line in output if "SKIP" in line] or output or ["no reason given"])[-1]
            lines.append(f"skipped: {case.get('name')} in {build}: {reason}")
        elif state == "fail":
            lines.append(f"failed: {case.get('name')} in {build}")
for line in lines:
    print(line)
skips_fail = counts["notrun"] and os.environ.get("CI") == "true"
if skips_fail:
    print(f"{counts['notrun']} suites were skipped: CI must run every suite, so this run fails.")
print(f"tests: {counts['run']} passed, {counts['fail']} failed, {counts['notrun']} skipped")
sys.exit(1 if counts["fail"] or skips_fail else 0)
EOF_PY
