#!/bin/sh
# How much longer a scan takes than the instrument needs: 501 points of 0.1 s, at the instrument's own pace, over a pseudo-terminal at 9600 baud.
# Usage: bench/scan_pace.sh [BIN]    BIN: where scan-cli and virtual-instrument lie (default build/release/bin). Takes about 80 s.
#
# The instrument's time is that of its program (positioning, steps, counts) and of every byte on the line. The run lasts from the first line of
# the program loaded to the closed line, with the file saved. One second of it belongs to the look at the controller that comes once a second.
set -eu
bin=$(cd "${1:-$(dirname "$0")/../build/release/bin}" && pwd)
dir=$(mktemp -d)
instrument=
trap 'test -z "$instrument" || kill "$instrument" 2>/dev/null; rm -rf "$dir"' EXIT INT TERM

"$bin/virtual-instrument" --dir "$dir" --trace "$dir/trace" > "$dir/served" 2>&1 &
instrument=$!
tries=0
until grep -q ready "$dir/served"; do
    tries=$((tries + 1))
    test $tries -lt 100 || { cat "$dir/served"; exit 1; }
    sleep 0.1
done
"$bin/scan-cli" --program-dir "$dir" acquire --start 20 --stop 30 --step 0.02 --time 0.1 --out "$dir/pace.sdf" --yes 2> "$dir/said" || { cat "$dir/said"; exit 1; }
kill "$instrument" && wait "$instrument" || true # the trace is whole when it has ended
instrument=

awk '
    / SMC <- <cr><lf>CLR;$/ { first = $1; bytes = 0 }
    / SMC (<-|->) / { text = $0; sub(/^ *[0-9.]+ SMC (<-|->) /, "", text); gsub(/<cr>|<lf>/, "x", text); bytes += length(text) }
    / SMC -- program started$/ { started = $1 }
    / SMC -- program ended$/ { ended = $1 }
    / SMC -- line left$/ { last = $1 }
    END {
        if (!first || !started || !ended || !last) { print "The trace is not whole."; exit 1 }
        line = bytes / 960
        own = ended - started + line
        printf "run %.2f s, program %.2f s, line %.2f s for %d bytes\n", last - first, ended - started, line, bytes
        ratio = (last - first - 1) / own
        printf "ratio scan_pace %.3f limit 1.05\n", ratio
        exit ratio > 1.05
    }' "$dir/trace"
