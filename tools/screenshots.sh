#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/screenshots.sh [FOLDER]
#
# Draws every window of the program, and the main window with a scan of quartz that the virtual instrument plays, into FOLDER (default:
# docs/images, where the manual has its pictures). Needs no display.

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

case ${1:-} in
    -h | --help) usage; exit 0 ;;
    -*) usage >&2; exit 2 ;;
esac
out=$root/docs/images
[[ -z ${1:-} ]] || out=$(cd "$OLDPWD" && realpath -m -- "$1")

build dev draw-windows
QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen} "$root/build/dev/bin/draw-windows" "$out" 2> >(grep -v 'plugin does not support' >&2)
say "$(find "$out" -name '*.png' | wc -l) pictures in $out"
