#!/bin/sh
# How fast the chart draws the largest scan in a real window, at 200 % scaling: bench_plot on an X server of its own, whose screen is large
# enough for the 3200 x 1800 pixels of its chart. Limit: 16 ms of the program's processor time; the server's isn't counted.
# Usage: bench/plot_window.sh [BIN]    BIN: where bench_plot lies (default build/release/bin). Takes a few seconds.
set -eu
bin=$(cd "${1:-$(dirname "$0")/../build/release/bin}" && pwd)
export QT_QPA_PLATFORM=xcb QT_SCALE_FACTOR=2
exec xvfb-run --auto-servernum --server-args='-screen 0 3840x2160x24' "$bin/bench_plot"
