#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/check-docs.sh
#
# Checks what the documents say against the project: every file that they link to is there, and packaging/scan.ini.example has just the
# keys that the program reads, in each section.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

wrong=0
links=0
while IFS=: read -r document link; do
    links=$((links + 1))
    link=${link#*](}
    link=${link%)}
    link=${link%%#*}
    [[ -z $link || $link == *://* || -e ${document%/*}/$link ]] || { complain "$document: there is no $link"; wrong=1; }
done < <(grep -HoE '\]\([^)]+\)' ./*.md docs/*.md)

# "section key" for each key that is read: a reader names its section once, and sections are compared without regard to case.
readKeys() {
    awk '/const Section section\("/ { split($0, part, "\""); section = tolower(part[2]) }
         { rest = $0
           while (match(rest, /section\.[a-zA-Z]+\("[^"]+"/)) {
               call = substr(rest, RSTART, RLENGTH); split(call, part, "\"")
               print section, part[2]
               rest = substr(rest, RSTART + RLENGTH)
           } }' src/core/Configuration.cpp | sort -u
}
exampleKeys() {
    awk '/^\[/ { section = tolower(substr($0, 2, index($0, "]") - 2)) }
         /^;?[A-Za-z0-9_]+=/ { sub(/^;/, ""); print section, substr($0, 1, index($0, "=") - 1) }' packaging/scan.ini.example | sort -u
}
keys=$(readKeys)
if [[ $(wc -l <<<"$keys") -lt 50 ]]; then
    complain "the keys could not be read from src/core/Configuration.cpp"
    exit 1
fi
if ! diff <(echo "$keys") <(exampleKeys); then
    complain "packaging/scan.ini.example and src/core/Configuration.cpp have different keys (< read, > in the example)"
    wrong=1
fi
[[ $wrong -eq 0 && $links -gt 0 ]] || exit 1
say "$links links lead somewhere; the example has the $(wc -l <<<"$keys") keys that are read."
