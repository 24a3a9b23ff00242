#!/bin/sh
# How much longer a scan takes than the instrument needs: 501 points of 0.1 s, at the instrument's own pace, over a pseudo-terminal at 9600 baud,
# with the lines' delays as the program has them by itself.
# Usage: bench/scan_pace.sh [BIN]    BIN: where scan-cli and virtual-instrument lie (default build/release/bin). Takes about 80 s.
#
# The run lasts from the console program's first byte on the line (presence checks and status questions included) to the closed line, with the
# file saved. The instrument's time is that of its program (positioning, steps, counts) and of the bytes that it sends while no program runs;
# those that it is sent travel within TxDelay.
# What remains is the same for long and short scans, the fixed part. It is split into waits that the program is told to make:
#   commands   TxDelay after each of the 18 lines of the counting program but the last, behind which the instrument counts already
#   answers    from a query to the RxTimer interval without a byte that ends its answer, less the bytes; four before the program, three behind it
#   look       from the program's end to the look that finds it: one second and one query at most
# and the program's own: a line or a query more than those, a look too late, every wait that lasts too long, plot and file.
# The ratio is that of the run without these waits to the instrument's time: one hundredth is the program's own 0.6 s.
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
kill "$instrument"
wait "$instrument" 2> /dev/null || true # the trace is whole when it has ended
instrument=

awk '
    BEGIN { tx = 0.1; quiet = 0.1; look = 1; byte = 1 / 960; most["lines"] = 17; most["before"] = 4; most["after"] = 3; limit = 1.01 }
    function least(a, b) { return a < b ? a : b }
    function size(text) { sub(/^ *[0-9.]+ SMC -> /, "", text); gsub(/<cr>|<lf>/, "x", text); return length(text) }
    # Seconds of waiting for an answer: the RxTimer interval that finds its length unchanged, also unchanged against the answer before.
    function answer(bytes,    ticks) {
        ticks = int(bytes * byte / quiet) + 1
        if (ticks > 1 || bytes != lastBytes)
            ticks++
        lastBytes = bytes
        return ticks * quiet - bytes * byte
    }
    / SMC <- / && !first { first = $1 }
    / SMC <- / && !/\?/ && !started && ++seen["lines"] <= most["lines"] { commands += tx }
    / SMC <- / && ended && !found { found = $1 }
    / SMC -> / { wait = answer(size($0)); which = ended ? "after" : started ? "meanwhile" : "before" }
    / SMC -> / && which != "meanwhile" { bytes += lastBytes }
    / SMC -> / && ++seen[which] <= most[which] { answers += wait }
    / SMC -- program started$/ { started = $1 }
    / SMC -- program ended$/ { ended = $1 }
    / SMC -- line left$/ { last = $1 }
    END {
        if (!first || !started || !ended || !found || !last) { print "The trace is not whole."; exit 1 }
        run = last - first
        program = ended - started
        line = bytes * byte
        look = least(found - ended, look + tx + quiet)
        fixed = run - program - line
        printf "run %.2f s, program %.2f s, line %.2f s for %d bytes\n", run, program, line, bytes
        waits = commands + answers + look
        printf "fixed part %.2f s: commands %.2f s, answers %.2f s, look %.2f s, own %.2f s; %d lines, %d and %d queries\n",
            fixed, commands, answers, look, fixed - waits, seen["lines"], seen["before"], seen["after"]
        ratio = (run - waits) / (program + line)
        printf "ratio scan_pace %.4f limit %.2f   (with the waits %.3f)\n", ratio, limit, run / (program + line)
        exit ratio > limit
    }' "$dir/trace"
