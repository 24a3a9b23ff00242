#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/setup-debian.sh [--run | --test]
#
# Installs with apt-get what is missing on a Debian 12 system, and nothing else. When nothing is missing, it takes a moment and
# needs no network. On another system it says what is needed and goes on.
#
#   --run    what building and running the programs needs
#   --test   that, and what the tests and checks need (default)

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

toRun=(
    cmake ninja-build g++                  # the build
    qt6-base-dev qt6-base-dev-tools        # event loop, text, files, network, widgets, tests
    qt6-serialport-dev qt6-svg-dev
    libqcustomplot-dev libgl-dev           # the chart
    qt6-qpa-plugins fonts-dejavu-core      # windows, also without a display
)
toTest=(
    git ccache clang-format clang-tidy
    libbenchmark-dev
    xvfb xauth                             # a display for tests of real windows
    libxy-bin                              # xyconv, a reader of powder data that we did not write
)

packages=("${toRun[@]}" "${toTest[@]}")
case ${1:---test} in
    --test) ;;
    --run) packages=("${toRun[@]}") ;;
    -h | --help) usage; exit 0 ;;
    *) usage >&2; exit 2 ;;
esac

# On Debian and on what derives from it; /etc/os-release says which it is.
likeDebian=$(sed -n 's/^ID\(_LIKE\)\?=//p' /etc/os-release 2>/dev/null | tr -d '"' | tr '\n' ' ')
if [[ " $likeDebian " != *" debian "* ]] || ! command -v apt-get dpkg-query >/dev/null; then
    say "This is not a Debian system, so nothing is installed. The programs need what Debian 12 calls: ${packages[*]}"
    exit 0
fi

missing=()
for package in "${packages[@]}"; do
    [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
done
[[ ${#missing[@]} -gt 0 ]] || exit 0

say "Installing: ${missing[*]}"
asRoot=()
if [[ $(id -u) -ne 0 ]]; then
    if ! command -v sudo >/dev/null; then
        complain "to install them, run as root: apt-get update && apt-get install --no-install-recommends ${missing[*]}"
        exit 1
    fi
    say "Packages are installed as root; sudo may ask for your password."
    asRoot=(sudo)
fi
asRoot+=(env DEBIAN_FRONTEND=noninteractive)
"${asRoot[@]}" apt-get update -q || complain "the package lists could not be renewed; going on with those at hand"
if ! "${asRoot[@]}" apt-get install -q -y --no-install-recommends "${missing[@]}"; then
    complain "these packages could not be installed: ${missing[*]}"
    exit 1
fi
