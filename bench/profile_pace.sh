#!/bin/sh
# What the program itself adds to each scan of a temperature profile, at the instrument's own pace: the time on the wall, less the
# instrument's own time and less the waits that the program is told to make. Limit: 1.5 s a scan.
# Usage: bench/profile_pace.sh [BIN]    BIN: where scan-cli and virtual-instrument lie (default build/release/bin). Takes about a minute and a half.
#
# Six short scans, half a kelvin apart, over pseudo-terminals at 9600 baud. The period from one scan's first line to the temperature
# controller to the next scan's is taken from the instrument's trace; the last scan has no period and isn't counted. Demanded are:
#   temperature line   TxDelay before and after each line; an answer's bytes, and one poll without a further byte
#   dwell              as the profile says
#   goniometer line    TxDelay after each line; an answer's bytes, and the RxTimer intervals without a byte that end it
#   counting           what the controller's program takes, rounded up to whole looks at it: one second and one query each
# A query more than that, a look too late, the plot, the file and the report are the program's own.
set -eu
bin=$(cd "${1:-$(dirname "$0")/../build/release/bin}" && pwd)
dir=$(mktemp -d)
instrument=
trap 'test -z "$instrument" || kill "$instrument" 2>/dev/null; rm -rf "$dir"' EXIT INT TERM
dwell=2

"$bin/virtual-instrument" --ltc 331 --dir "$dir" --trace "$dir/trace" > "$dir/served" 2>&1 &
instrument=$!
tries=0
until grep -q ready "$dir/served"; do
    tries=$((tries + 1))
    test $tries -lt 100 || { cat "$dir/served"; exit 1; }
    sleep 0.1
done
# Wide windows: it is the program's pace that counts here, not the cryostat's.
sed -i -e 's/^ScanStop=.*/ScanStop=21/' -e '/^\(Tx\|Rx\)Delay=/d' -e 's/^\[smc\].*/&\nTxDelay=0.1\nRxDelay=0.1/' \
    -e 's/^\[LTC\].*/&\nTxDelay=0.1\nRxDelay=0.02\nSmallWindow=3\nVerySmallWindow=1/' "$dir/scan.ini"
echo "T1:297.5;T2:295;DT:0.5;DW:$dwell;" > "$dir/pace.gtp"
"$bin/scan-cli" --program-dir "$dir" profile run "$dir/pace.gtp" --name pace --yes > "$dir/said" 2>&1 || { cat "$dir/said"; exit 1; }
times > "$dir/times"
kill "$instrument"
wait "$instrument" 2> /dev/null || true # the trace is whole when it has ended
instrument=

awk -v dwell=$dwell -v processor="$(tail -1 "$dir/times")" '
    BEGIN { smcTx = 0.1; smcQuiet = 0.1; tcTx = 0.1; tcPoll = 0.02; look = 1; byte = 1 / 960; limit = 1.5 }
    function most(a, b) { return a > b ? a : b }
    function bytes(text) { sub(/^ *[0-9.]+ [A-Z]+ -> /, "", text); gsub(/<cr>|<lf>/, "x", text); return length(text) }
    # Seconds from a query to the tick that finds the length of its answer unchanged, also unchanged against the answer before.
    function smcQuery(asked, answered, size,    ticks) {
        ticks = int(size * byte / smcQuiet) + 1
        if (ticks > 1 || size != lastSize)
            ticks++
        lastSize = size
        return most(smcTx, answered - asked + ticks * smcQuiet)
    }
    # From the start of the controller to the end of the first look after its program; looks beyond that one are not demanded.
    function counting(    time, i) {
        for (i = 1; i < queries; i++) {
            time += look + query[i]
            if (started + smcTx + time - query[i] >= ended)
                break
        }
        return time
    }
    # The last query asks whether the counts can be fetched.
    function finish(now,    demanded, own) {
        if (begun) {
            demanded = temperature + dwell + sending + counting() + query[queries] + transfer
            own = now - begun - demanded
            printf "scan %d: %.3f s, demanded %.3f s (%d readings, %.3f s of counting), own %.3f s\n", ++scans, now - begun, demanded, readings,
                ended - started, own
            sum += own
            worst = most(worst, own)
        }
        begun = now; temperature = sending = transfer = queries = readings = 0
    }
    / LTC <- PID 1, / { finish($1) }
    / LTC <- / { temperature += 2 * tcTx; asked = $1; readings += /KRDG/ }
    / LTC -> / { temperature += most(0, $1 + bytes($0) * byte - asked - tcTx) + tcPoll }
    / SMC <- / { asked = $1; line = $0 }
    / SMC <- / && !/\?/ { sending += smcTx }
    / SMC -> / { time = smcQuery(asked, $1, bytes($0)) }
    / SMC -> / && line ~ /\?S1;/ { query[++queries] = time }
    / SMC -> / && line ~ /\?CNT;/ { transfer += time }
    / SMC -- program started$/ { started = $1 }
    / SMC -- program ended$/ { ended = $1 }
    END {
        if (scans != 5) { print "The trace is not whole."; exit 1 }
        split(processor, used, /[ms ]+/)
        printf "ratio profile_pace %.2f limit 1   (own %.3f s of %.1f s a scan, worst %.3f s; processor %.2f s a scan with the waits)\n", sum / scans / limit,
            sum / scans, limit, worst, (60 * (used[1] + used[3]) + used[2] + used[4]) / (scans + 1)
        exit worst > limit
    }' "$dir/trace"
