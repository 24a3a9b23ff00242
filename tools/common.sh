# SPDX-License-Identifier: GPL-3.0-or-later
# shellcheck shell=bash
# What the scripts of this folder share. Sourced, never run; the caller stands in the project's root afterwards.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD

# Compiler results are found again from another clone of the project, too.
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$root} CCACHE_NOHASHDIR=1

say() { printf '%s\n' "$*"; }
complain() { printf '%s: %s\n' "${0##*/}" "$*" >&2; }

# usage: prints the comment block at the head of the running script.
usage() { awk 'NR > 2 { if (!/^#/) exit; sub(/^# ?/, ""); print }' "$root/tools/${0##*/}"; }

cores() { nproc 2>/dev/null || echo 2; }

# build PRESET [TARGET...]: configures when there is nothing yet to build from (ninja itself configures anew when a CMakeLists.txt
# has changed), then builds the targets, all without any. CONFIGURE holds options for the first configuring.
build() {
    local preset=$1
    shift
    if [[ ! -f build/$preset/build.ninja || -n ${CONFIGURE:-} ]]; then
        # shellcheck disable=SC2086 # several options in one variable
        cmake --preset "$preset" ${CONFIGURE:-} || return
    fi
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
