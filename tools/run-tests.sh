#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/run-tests.sh [--preset dev|release|sanitize] [CTEST-ARGUMENT...]
#        tools/run-tests.sh --all
#
# Builds everything and runs the tests: those of one preset (default: release), or with --all what has to pass before a change is
# accepted: layout, documents, rules of the house, clang-tidy, the tests, and the tests again under the sanitizers.
#
# Further arguments go to ctest:
#   tools/run-tests.sh -L unit           only the quick ones; the labels are unit, wire, window, explore, system and real
#   tools/run-tests.sh -R goniometer     only those whose names contain "goniometer"

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

preset=release
all=
case ${1:-} in
    --preset) preset=${2:-}
        shift 2 ;;
    --preset=*) preset=${1#*=}
        shift ;;
    --all) all=yes
        shift ;;
    -h | --help) usage; exit 0 ;;
esac
case $preset in
    dev | release | sanitize) ;;
    *) usage >&2; exit 2 ;;
esac

times=()
failures=()
# stage NAME COMMAND...: runs it, notes its time, and goes on whatever it gives.
stage() {
    local name=$1 began=$SECONDS
    shift
    say "== $name"
    if "$@"; then
        times+=("$(printf '%5d s  %s' $((SECONDS - began)) "$name")")
    else
        times+=("$(printf '%5d s  %s: FAILED' $((SECONDS - began)) "$name")")
        failures+=("$name")
        return 1
    fi
}

# A first configuring by run-demo.sh leaves the tests out.
configureAndBuild() {
    local CONFIGURE=
    grep -qs '^SCAN_TESTS:BOOL=ON' "build/$1/CMakeCache.txt" || CONFIGURE=-DSCAN_TESTS=ON
    [[ $1 != release ]] || grep -qs '^SCAN_BENCH:BOOL=ON' "build/$1/CMakeCache.txt" || CONFIGURE+=" -DSCAN_BENCH=ON"
    build "$1"
}

passed=0
failed=0
# runTests PRESET CTEST-ARGUMENT...: what ctest prints, and the sums.
runTests() {
    local log result=0
    log=build/$1/ctest.log
    # Most of them wait for a line most of the time: two for each core.
    ctest --preset "$1" -j "$((2 * $(cores)))" --no-tests=error "${@:2}" 2>&1 | tee "$log" || result=1
    if [[ $(tail -n 40 "$log") =~ ([0-9]+)%\ tests\ passed,\ ([0-9]+)\ tests\ failed\ out\ of\ ([0-9]+) ]]; then
        failed=$((failed + BASH_REMATCH[2]))
        passed=$((passed + BASH_REMATCH[3] - BASH_REMATCH[2]))
    fi
    return $result
}

tools/setup-debian.sh --test
if [[ -z $all ]]; then
    configureAndBuild "$preset"
    runTests "$preset" "$@"
    exit
fi

stage "layout" tools/check-format.sh || true
stage "documents" tools/check-docs.sh || true
stage "release: build" configureAndBuild release && { stage "release: tests" runTests release "$@" || true; }
stage "rules of the house" tools/check-rooms.sh || true
stage "clang-tidy" tools/check-tidy.py || true
stage "sanitize: build" configureAndBuild sanitize && { stage "sanitize: tests" runTests sanitize "$@" || true; }

say ""
say "Time by stage, $((SECONDS / 60)) min $((SECONDS % 60)) s in all:"
printf '%s\n' "${times[@]}"
for name in ${failures[@]+"${failures[@]}"}; do
    say "FAILED: $name"
done
say "$passed passed, $failed failed"
[[ ${#failures[@]} -eq 0 && $passed -gt 0 ]]
