#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/run-demo.sh [--headless | --profile] [--out DIR]
#
# Shows the program at work without a diffractometer: builds it, starts the virtual instrument with quartz powder in a cryostat in the beam,
# puts demo.gtp, a temperature profile of five temperatures, where scans go, and
#
#   - with a display opens the desktop program on it;
#   - without one, or with --headless, measures a scan with the console program, saves it and lists its strongest peaks;
#   - with --profile runs demo.gtp to its end with the console program and prints the report.
#
#   --headless   use no display
#   --profile    run the temperature profile, without a display
#   --out DIR    where scans go (default: build/demo)

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

headless=
profile=
out=$root/build/demo
while [[ $# -gt 0 ]]; do
    case $1 in
        --headless) headless=yes ;;
        --profile) headless=yes profile=yes ;;
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
    ScanStart=20 ScanStop=52 ScanStep=0.02 CounterTime=0.5 FileName=quartz DelaySleep=1 \
    '[LTC]' TxDelay=0.03 RxDelay=0.03 >"$instrument/scan.ini"
demo=$out/demo.gtp
[[ -e $demo ]] || printf '%s\r\n' '#quartz, cooled step by step;' 'T1:295;T2:95;DT:50;DW:2;' >"$demo"

speed=60
[[ -z $headless ]] || speed=200
[[ -z $profile ]] || speed=500
mkfifo "$instrument/says"
"$bin/virtual-instrument" --dir "$instrument" --sample quartz --generator --ltc 331 --regulating 295 \
    --speed $speed >"$instrument/says" 2>&1 &
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

if [[ -z $headless ]]; then
    say ""
    say "The window that opens now controls the virtual instrument, which runs $speed times as fast as a real one."
    say "  1. Open the X-ray shutter: Extras > X-Ray Generator > OPEN X-Ray Shutter."
    say "  2. Choose Measurement > Start Data Acquisition and press OK: a scan of quartz takes about half a minute."
    say "  3. Save it with File > Save, into $out."
    say "  4. For a temperature profile choose Measurement > Execute Temperature Profile, open demo.gtp there with File > Open, and"
    say "     press OK. A second question lists the scans; its default answer is No: choose Yes. Five temperatures take about three minutes."
    say "When the window is closed it asks whether what is still on (shutter, heater) is to be switched off."
    "$bin/scan" --program-dir "$instrument"
    exit
fi

say ""
say "Opening the X-ray shutter of the virtual generator:"
"$bin/scan-cli" --program-dir "$instrument" generator shutter open

if [[ -n $profile ]]; then
    console=("$bin/scan-cli" --program-dir "$instrument" profile)
    said=$instrument/said
    say ""
    say "The temperature profile $demo:"
    "${console[@]}" check "$demo" --name quartz
    say ""
    say "The virtual instrument runs $speed times as fast as a real one:"
    if ! timeout --foreground 180 "${console[@]}" run "$demo" --name quartz --yes | tee "$said"; then
        complain "the profile was not measured"
        exit 1
    fi
    report=$(sed -n 's/^Report: //p' "$said")
    say ""
    cat "$report"
    exit
fi

scan=$out/quartz.sdf
say ""
say "Measuring quartz from 20 to 52 degrees 2-Theta, 1601 points of 0.5 s. The virtual instrument runs $speed times as fast as a real one,"
say "and the remaining time is reckoned at that speed:"
if ! timeout --foreground 115 "$bin/scan-cli" --program-dir "$instrument" acquire --start 20 --stop 52 --step 0.02 --time 0.5 \
    --name quartz --comment "Demonstration on the virtual instrument" --yes --out "$scan"; then
    complain "the scan was not measured"
    exit 1
fi
say ""
"$bin/scan-cli" --program-dir "$instrument" info "$scan" --peaks 5
say ""
say "The scan lies in $scan"
say "A temperature profile: tools/run-demo.sh --profile"
