#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/check-docs.sh
#
# Checks what the documents say against the project: every file that they link to is there, and so are the files and procedures that the walks
# in docs/ARCHITECTURE.md name. The keys of scan.ini in docs/FORMATS.md and
# packaging/scan.ini.example are compared by the test core_tst_settings.

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

# Files and procedures that the walks through the house name: `src/room/File.cpp` (`Procedure`, ...).
named=0
while IFS= read -r file; do
    named=$((named + 1))
    [[ -f $file ]] || { complain "docs/ARCHITECTURE.md: there is no $file"; wrong=1; }
done < <(grep -oE '`src/[A-Za-z_/]+\.(cpp|h)`' docs/ARCHITECTURE.md | tr -d '`' | sort -u)
while read -r file procedures; do
    for procedure in ${procedures//[(),\`]/ }; do
        grep -qE "\b$procedure\(" "$file" || { complain "docs/ARCHITECTURE.md: there is no $procedure in $file"; wrong=1; }
    done
done < <(tr '\n' ' ' <docs/ARCHITECTURE.md | grep -oE '`src/[A-Za-z_/]+\.cpp` \([^)]*\)' | tr -d '`')

[[ $wrong -eq 0 && $links -gt 0 && $named -gt 0 ]] || exit 1
say "$links links lead somewhere, and $named files are where the walks say."
