#!/bin/sh
# How long the window program takes from its process's start to the main window that is drawn and hears its operator, beyond the waits that
# it is told to make: the second before the main window, and the three exchanges with the goniometer controller (the answer's bytes at 9600
# baud, and the RxTimer intervals without a byte that end an answer). Limit: 300 ms. The median of seven starts counts.
# Usage: bench/start_up.sh [BIN]    BIN: where scan and virtual-instrument lie (default build/release/bin). Takes about 15 s a platform.
#
# Runs on the offscreen platform and, where Xvfb is installed, on an X server of its own. The moment of drawing is what Qt itself logs.
# Processor time is printed with the time on the wall: on a busy machine the first tells more.
set -eu
bin=$(cd "${1:-$(dirname "$0")/../build/release/bin}" && pwd)
dir=$(mktemp -d)
instrument=
server=
program=
process=
trap 'for process in $program $server $instrument; do kill "$process" 2>/dev/null || true; done; rm -rf "$dir"' EXIT INT TERM
limit=300
starts=7

until_seen() { # TEXT FILE: waits until the file has the text, ten seconds at most
    tries=0
    until grep -q "$1" "$2" 2>/dev/null; do
        tries=$((tries + 1))
        test $tries -lt 200 || { echo "'$1' did not come:"; tail -3 "$2"; exit 1; }
        sleep 0.05
    done
}

begin_instrument() {
    "$bin/virtual-instrument" --dir "$dir" --trace "$dir/trace" > "$dir/served" 2>&1 &
    instrument=$!
    until_seen ready "$dir/served"
}

end_instrument() { # the trace is whole when it has ended
    kill "$instrument"
    wait "$instrument" 2> /dev/null || true
    instrument=
}

start() { # appends "milliseconds on the wall, milliseconds of the processor" to the list
    : > "$dir/drawn"
    began=$(cut -d' ' -f1 /proc/uptime)
    QT_LOGGING_RULES='qt.widgets.painting=true' QT_MESSAGE_PATTERN='%{time boot} %{message}' \
        "$bin/scan" --program-dir "$dir" 2> "$dir/drawn" &
    program=$!
    until_seen 'Flushing QRegion(0,0 .* of frmMain' "$dir/drawn"
    ticks=$(awk '{ print $14 + $15 }' "/proc/$program/stat")
    drawn=$(awk '/Flushing QRegion\(0,0 .* of frmMain/ { print $1; exit }' "$dir/drawn")
    kill "$program"
    wait "$program" 2> /dev/null || true
    program=
    echo "$began $drawn $ticks $(getconf CLK_TCK)" | awk '{ printf "%.0f %.0f\n", ($2 - $1) * 1000, $3 / $4 * 1000 }' >> "$dir/starts"
}

# The waits of one start: each answer ends with the first RxTimer tick that finds its length unchanged, also unchanged against the answer before.
demanded() {
    awk -v quiet=0.1 -v before=1 '
        / SMC -> / {
            text = $0; sub(/^ *[0-9.]+ SMC -> /, "", text); gsub(/<cr>|<lf>/, "x", text)
            bytes = length(text)
            wait += bytes / 960 + (bytes == last ? 1 : 2) * quiet
            last = bytes; answers++
        }
        END { if (answers != 3) { print "three answers expected, not " answers > "/dev/stderr"; exit 1 } printf "%.0f\n", (before + wait) * 1000 }
    ' "$dir/trace"
}

measure() { # PLATFORM NAME
    QT_QPA_PLATFORM=$1
    export QT_QPA_PLATFORM
    : > "$dir/starts"
    begin_instrument
    start
    end_instrument
    waits=$(demanded)
    first=$(cut -d' ' -f1 "$dir/starts")
    : > "$dir/starts"
    begin_instrument
    for _ in $(seq $starts); do start; done
    end_instrument
    sort -n "$dir/starts" | awk -v starts=$starts -v name="$2" -v waits="$waits" -v limit=$limit -v first="$first" '
        { wall[NR] = $1; processor += $2 }
        END {
            if (NR != starts) { print "Not every start was measured."; exit 1 }
            own = wall[(NR + 1) / 2] - waits
            printf "ratio start_up_%s %.2f limit 1   (%d ms of %d ms; on the wall %d ms, first start %d ms, demanded %d ms, processor %d ms)\n",
                name, own / limit, own, limit, own + waits, first, waits, processor / NR
            exit own > limit
        }'
}

good=0
measure offscreen offscreen || good=1
if command -v Xvfb > /dev/null; then
    Xvfb -displayfd 3 -screen 0 1600x1000x24 3> "$dir/display" > /dev/null 2>&1 &
    server=$!
    until_seen . "$dir/display"
    DISPLAY=:$(cat "$dir/display")
    export DISPLAY
    measure xcb xvfb || good=1
fi
exit $good
