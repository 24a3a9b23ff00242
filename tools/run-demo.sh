#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/run-demo.sh [--headless] [--out DIR]
#
# Shows the program at work without a diffractometer: builds it, starts the virtual instrument with quartz powder in the beam, and
#
#   - with a display opens the desktop program on it;
#   - without one, or with --headless, measures a scan with the console program, saves it and lists its strongest peaks.
#
#   --headless   use no display
#   --out DIR    where scans go (default: build/demo)

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

headless=
out=$root/build/demo
while [[ $# -gt 0 ]]; do
    case $1 in
        --headless) headless=yes ;;
        --out) [[ -n ${2:-} ]] || { usage >&2; exit 2; }
            out=$(cd "$OLDPWD" && realpath -m -- "$2")
            shift ;;
        --out=?*) out=$(cd "$OLDPWD" && realpath -m -- "${1#*=}") ;;
        -h | --help) usage; exit 0 ;;
        *) usage >&2; exit 2 ;;
    esac
    shift
done
[[ -n ${DISPLAY:-}${WAYLAND_DISPLAY:-} ]] || headless=yes

tools/setup-debian.sh --run
# The console program and the instrument are all that a machine without a display needs.
targets=(scan-cli virtual-instrument)
[[ -n $headless ]] || targets+=(scan)
[[ -f build/release/build.ninja ]] || CONFIGURE="-DSCAN_TESTS=OFF -DSCAN_BENCH=OFF"
build release "${targets[@]}"
bin=$root/build/release/bin

# --- the virtual instrument, in a directory of its own that goes when it goes

mkdir -p "$out" build/demo
instrument=$(mktemp -d build/demo/instrument.XXXXXX)
instrument=$root/$instrument
pid=
stopInstrument() {
    if [[ -n $pid ]]; then
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    fi
    rm -rf "$instrument"
}
trap stopInstrument EXIT
trap 'exit 130' INT TERM HUP

# The instrument completes this file with the lines that it serves.
printf '%s\n' '[General]' "WorkDir=$out/" ScanMode=online GoniometerType=theta-2-theta ThetaMin=0 ThetaMax=160 \
    ScanStart=20 ScanStop=52 ScanStep=0.02 CounterTime=0.5 FileName=quartz DelaySleep=1 >"$instrument/scan.ini"

speed=60
[[ -z $headless ]] || speed=200
mkfifo "$instrument/says"
"$bin/virtual-instrument" --dir "$instrument" --sample quartz --generator --speed $speed >"$instrument/says" 2>&1 &
pid=$!
exec 3<"$instrument/says"
ready=
while IFS= read -r -t 30 line <&3; do
    say "  virtual instrument: $line"
    [[ $line != ready* ]] || { ready=yes; break; }
done
if [[ -z $ready ]]; then
    complain "the virtual instrument did not start"
    exit 1
fi
cat <&3 >/dev/null & # what it says later must not block it

# --- the program

say ""
say "Opening the X-ray shutter of the virtual generator:"
"$bin/scan-cli" --program-dir "$instrument" generator shutter open

if [[ -z $headless ]]; then
    say ""
    say "The window that opens now controls the virtual instrument. Choose Measurement > Start Data Acquisition and press OK:"
    say "a scan of quartz takes about half a minute and can then be saved with File > Save, into $out."
    "$bin/scan" --program-dir "$instrument"
    exit
fi

scan=$out/quartz.sdf
say ""
say "Measuring quartz from 20 to 52 degrees 2-Theta, 1601 points of 0.5 s. The virtual instrument runs $speed times as fast as a real one;"
say "the remaining time is reckoned for a real one:"
if ! timeout --foreground 115 "$bin/scan-cli" --program-dir "$instrument" acquire --start 20 --stop 52 --step 0.02 --time 0.5 \
    --name quartz --comment "Demonstration on the virtual instrument" --yes --out "$scan"; then
    complain "the scan was not measured"
    exit 1
fi
say ""
"$bin/scan-cli" --program-dir "$instrument" info "$scan" --peaks 5
say ""
say "The scan lies in $scan"
