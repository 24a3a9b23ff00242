#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/check-format.sh [--fix]
#
# Checks that every C++ file of the project is laid out as .clang-format says. --fix lays them out so.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

how=(--dry-run -Werror)
case ${1:-} in
    '') ;;
    --fix) how=(-i) ;;
    -h | --help) usage; exit 0 ;;
    *) usage >&2; exit 2 ;;
esac

# Major versions of clang-format differ in details; Debian 12 has 14.
formatter=$(command -v clang-format-14 || command -v clang-format || true)
if [[ -z $formatter ]]; then
    complain "clang-format is missing; tools/setup-debian.sh installs it"
    exit 1
fi
mapfile -t files < <(git ls-files --cached --others --exclude-standard '*.cpp' '*.h' | while read -r file; do [[ ! -f $file ]] || echo "$file"; done)
printf '%s\0' "${files[@]}" | xargs -0 -n 20 -P "$(cores)" "$formatter" "${how[@]}" || exit 1
say "${#files[@]} files are laid out as .clang-format says."
