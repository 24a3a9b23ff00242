#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/update-settings.sh [--preset dev|release|sanitize]
#
# Writes the table of settings (src/core/SettingsTable.cpp) anew into the two files that show it: docs/FORMATS.md and
# packaging/scan.ini.example. What stands outside their marker lines is left alone. The test core_tst_settings compares.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

preset=dev
case ${1:-} in
    --preset) preset=${2:-} ;;
    --preset=*) preset=${1#*=} ;;
    '') ;;
    *) usage >&2; exit 2 ;;
esac

build "$preset" scan-cli
program=build/$preset/bin/scan-cli
own=$(mktemp -d)
trap 'rm -rf "$own"' EXIT

# replace FILE FORM: puts the form of the table between the marker lines of the file.
replace() {
    "$program" --program-dir "$own" settings list "--$2" >"$own/settings"
    awk -v settings="$own/settings" '
        /settings: begin/ { print; while ((getline line < settings) > 0) print line; inside = 1; begun = 1 }
        /settings: end/ { inside = 0; ended = begun }
        !inside
        END { exit !(begun && ended) }' "$1" >"$own/new" || { complain "$1 has lost its marker lines"; exit 1; }
    if cmp -s "$own/new" "$1"; then
        say "$1 is as the table gives it."
    else
        cat "$own/new" >"$1"
        say "$1 is written anew."
    fi
}

replace docs/FORMATS.md markdown
replace packaging/scan.ini.example ini
