#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/check-tidy.sh [--preset dev|release] [FILE.cpp...]
#
# Runs clang-tidy over the given files, otherwise over all of src/ and instrument/, with the settings of .clang-tidy. Needs a build of the
# preset (default: release), whose compiler options and generated files it uses. A file that was found clean is passed over as long as
# neither it nor any header of this project that it includes, nor its compiler options or the settings, have changed; what was found clean is
# remembered beside the compiler's own cache (TIDY_CACHE), so that a fresh clone finds it again.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

cache=${TIDY_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/scan-tidy}

# oneFile PRESET KEY FILE: run in parallel by the main part below.
if [[ ${1:-} == --one ]]; then
    findings=$(clang-tidy -p "build/$2" --quiet --header-filter="^$root/(src|instrument|tests)/" --extra-arg=-Wno-unknown-warning-option "$4" 2>&1) || { printf '%s\n' "$findings" | grep -v 'warnings generated'; exit 1; }
    : >"$cache/$3"
    exit 0
fi

preset=release
if [[ ${1:-} == --preset ]]; then
    preset=${2:-}
    shift 2
fi
[[ ${1:-} != -* ]] || { usage; exit 2; }
files=("$@")
if [[ ${#files[@]} -eq 0 ]]; then
    mapfile -t files < <(git ls-files --cached --others --exclude-standard 'src/*.cpp' 'instrument/*.cpp' | while read -r file; do [[ ! -f $file ]] || echo "$file"; done)
fi
if ! command -v clang-tidy >/dev/null; then
    complain "clang-tidy is missing; tools/setup-debian.sh installs it"
    exit 1
fi
if [[ ! -f build/$preset/compile_commands.json ]]; then
    complain "build/$preset is missing; build it first: cmake --preset $preset && cmake --build --preset $preset"
    exit 1
fi

# A file's key: a digest of the settings, its compiler line and the contents of all that it includes from this project.
mkdir -p "$cache"
settings=$({ clang-tidy --version; c++ --version; dpkg-query -W qt6-base-dev 2>/dev/null; cat .clang-tidy; } | sha256sum)
depends=$(ninja -C "build/$preset" -t deps | awk -v root="$root/" '
    /^[^ ].*: #deps/ { object = $1; sub(/:$/, "", object); next }
    /^ /             { path = $1; sub(/^\.\.\/\.\.\//, root, path)
                       if (index(path, root) == 1) print object, substr(path, length(root) + 1) }')
declare -A included optionsOf
while read -r object path; do
    included[$object]+="$path"$'\n'
done <<<"$depends"
while IFS=$'\t' read -r file command; do
    optionsOf[$file]=$command
done < <(awk -v root="$root/" -F'"' '
    /"command":/ { line = $0; sub(/^[^:]*: "/, "", line); sub(/",?$/, "", line) }
    /"file":/ { file = $4; sub(root, "", file); print file "\t" line }' "build/$preset/compile_commands.json")

todo=()
for file in "${files[@]}"; do
    command=${optionsOf[$file]:-}
    if [[ -z $command ]]; then
        complain "$file is not built by the preset $preset; passed over"
        continue
    fi
    object=${command##* -o }
    object=${object%% *}
    key=$({ echo "$settings ${command//"$root"/}"; { echo "$file"; printf '%s' "${included[$object]:-}"; } | sort -u | xargs sha256sum || true; } | sha256sum)
    key=${key%% *}
    [[ -f $cache/$key ]] || todo+=("$preset" "$key" "$file")
done

if [[ ${#todo[@]} -gt 0 ]]; then
    printf '%s\0' "${todo[@]}" | xargs -0 -n 3 -P "$(cores)" "tools/${0##*/}" --one || { complain "clang-tidy found something"; exit 1; }
fi
say "${#files[@]} files are clean ($((${#todo[@]} / 3)) looked at now)."
