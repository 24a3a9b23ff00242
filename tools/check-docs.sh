#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/check-docs.sh
#
# Checks what the documents say against the project: every file that they link to is there. The keys of scan.ini in docs/FORMATS.md and
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

[[ $wrong -eq 0 && $links -gt 0 ]] || exit 1
say "$links links lead somewhere."
