#!/bin/sh
# What waiting costs: processor time and wake-ups of the console program while it polls a scan, waits for a temperature and logs a cooldown, and
# of the ratemeter without its window, with DelaySleep and the lines' delays as the program has them by itself. Linux only; takes about 110 s.
# Usage: bench/waiting.sh [BIN]    BIN: where scan-cli, ratemeter-alone and virtual-instrument lie (default build/release/bin)
#
# Each is looked at for 20 s in its midst: /proc/PID/stat (user and system time) and /proc/PID/status (voluntary context switches).
set -eu
bin=$(cd "${1:-$(dirname "$0")/../build/release/bin}" && pwd)
dir=$(mktemp -d)
instrument=
program=
trap 'test -z "$program" || kill "$program" 2>/dev/null; test -z "$instrument" || kill "$instrument" 2>/dev/null; rm -rf "$dir"' EXIT INT TERM
seconds=20
wrong=0

touch "$dir/served"
"$bin/virtual-instrument" --dir "$dir" --ltc 331 > "$dir/served" 2>&1 &
instrument=$!
tries=0
until grep -q ready "$dir/served"; do
    tries=$((tries + 1))
    test $tries -lt 100 || { cat "$dir/served"; exit 1; }
    sleep 0.1
done
sed -i '/^DelaySleep=/d; /^[TR]xDelay=/d' "$dir/scan.ini"

ticks() { awk '{ print $14 + $15 }' "/proc/$program/stat"; }
wakes() { awk '/^voluntary_ctxt_switches/ { print $2 }' "/proc/$program/status"; }

# look NAME PROGRAM WORDS...: runs the program and looks at it in its midst.
look() {
    name=$1
    shift
    "$@" > "$dir/out" 2>&1 &
    program=$!
    sleep 6
    ticks0=$(ticks) wakes0=$(wakes)
    sleep $seconds
    ticks1=$(ticks) wakes1=$(wakes)
    kill "$program" 2>/dev/null || { cat "$dir/out"; exit 1; }
    wait "$program" 2> /dev/null || true
    program=
    awk -v name="$name" -v t=$((ticks1 - ticks0)) -v w=$((wakes1 - wakes0)) -v s=$seconds -v hz="$(getconf CLK_TCK)" 'BEGIN {
        share = t / hz / s; rate = w / s
        printf "%-10s %.2f %% of a processor (limit 0.5), %.0f wake-ups a second (limit 60)\n", name, 100 * share, rate
        printf "ratio waiting_%s %.3f limit 1\n", name, (share / 0.005 > rate / 60 ? share / 0.005 : rate / 60)
        exit share > 0.005 || rate > 60
    }' || wrong=1
}

console() {
    name=$1
    shift
    look "$name" "$bin/scan-cli" --program-dir "$dir" "$@" --yes
}

console scan acquire --start 20 --stop 40 --step 0.1 --time 1 --out "$dir/waiting.sdf"
"$bin/scan-cli" --program-dir "$dir" stop > /dev/null # what the killed program has left running
look ratemeter "$bin/ratemeter-alone" "$dir"
echo "$(grep -c 'counts/s' "$dir/out") readings"
console settling ltc setpoint 200
console log ltc log 600
exit $wrong
