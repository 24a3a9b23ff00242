#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Usage: tools/check-rooms.sh
#
# Checks the rules of the house (docs/ARCHITECTURE.md) that can be read off the #include lines and the CMakeLists.txt files:
#
#   - a file includes headers only of its own room and of the rooms that its room links, directly or through another;
#   - a room links only rooms that stand above it in src/CMakeLists.txt;
#   - below src/plot in that list everything may show a window; above it nothing links or includes one, and the same holds for
#     scan-cli and for the virtual instrument;
#   - instrument/ and src/ include nothing of each other;
#   - only src/core/startup picks a temperature controller by its name; everybody else asks the row that is active (temperature/Controller.h).

source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

wrong=0
report() {
    printf '%s\n' "$*" >&2
    wrong=$((wrong + 1))
}

# --- the rooms: folder and name, in the order of src/CMakeLists.txt, and what each may include

declare -A nameOf folderOf links orderOf
folders=()
while read -r folder; do
    folders+=("$folder")
    orderOf[$folder]=${#folders[@]}
    # the calls may be spread over lines: join them first
    text=$(tr '\n' ' ' <"src/$folder/CMakeLists.txt")
    [[ $text =~ scan_room\(([a-z]+)([^\)]*)\) ]] || continue
    nameOf[$folder]=scan_${BASH_REMATCH[1]}
    folderOf[scan_${BASH_REMATCH[1]}]=$folder
    links[$folder]=${BASH_REMATCH[2]/LINKS/}
done < <(sed -n 's/^add_subdirectory(\(.*\))/\1/p' src/CMakeLists.txt)
if [[ ${#nameOf[@]} -lt 5 ]]; then
    complain "the rooms could not be read from src/CMakeLists.txt"
    exit 1
fi
windowsFrom=${orderOf[plot]}
graphical='^(Qt6::(Gui|Widgets|PrintSupport|Svg|SvgWidgets|OpenGL|OpenGLWidgets)|QCustomPlotQt6)$'

# mayInclude FOLDER: the folders of the rooms that a room links, with those that they link.
declare -A reach
mayInclude() {
    local folder=$1 library other
    [[ -z ${reach[$folder]+known} ]] || return 0
    reach[$folder]=" $folder "
    for library in ${links[$folder]:-}; do
        other=${folderOf[$library]:-}
        [[ -n $other ]] || continue
        mayInclude "$other"
        reach[$folder]+=${reach[$other]}
    done
}

for folder in "${folders[@]}"; do
    for library in ${links[$folder]:-}; do
        if [[ $library == scan_* && -z ${folderOf[$library]:-} ]]; then
            report "src/$folder/CMakeLists.txt: links $library, which is no room"
        elif [[ $library == scan_* && ${orderOf[${folderOf[$library]}]} -ge ${orderOf[$folder]} ]]; then
            report "src/$folder/CMakeLists.txt: links $library, which does not stand above it in src/CMakeLists.txt"
        elif [[ ${orderOf[$folder]} -lt $windowsFrom && $library =~ $graphical ]]; then
            report "src/$folder/CMakeLists.txt: links $library, but rooms above src/plot show no window"
        fi
    done
    mayInclude "$folder"
done

# roomOf PATH (below src/): the folder of the room in which a file stands; the longest folder wins (core/startup is not core).
roomOf() {
    local folder=${1%/*}
    while [[ -z ${orderOf[$folder]:-} ]]; do
        [[ $folder == */* ]] || return 1
        folder=${folder%/*}
    done
    room=$folder
}

# --- the headers that show windows, by the names that Qt has for them

headers=$(qtpaths6 --query QT_INSTALL_HEADERS 2>/dev/null || true)
declare -A windowHeader=([qcustomplot.h]=1)
for module in QtGui QtWidgets QtPrintSupport QtSvg QtSvgWidgets QtOpenGL QtOpenGLWidgets; do
    windowHeader[$module]=1
    for header in "$headers/$module"/*; do
        [[ ! -f $header ]] || windowHeader[${header##*/}]=1
    done
done
if [[ ${#windowHeader[@]} -lt 100 ]]; then
    complain "Qt's headers were not found; tools/setup-debian.sh installs them"
    exit 1
fi

showsWindow() {
    local header=$1
    [[ -n ${windowHeader[$header]:-} || -n ${windowHeader[${header%%/*}]:-} ]]
}

# --- every #include line

count=0
while IFS=: read -r file line; do
    count=$((count + 1))
    [[ $line =~ \#[[:space:]]*include[[:space:]]*([\<\"])([^\>\"]+) ]] || continue
    header=${BASH_REMATCH[2]}
    system=
    [[ ${BASH_REMATCH[1]} == '"' ]] || system=yes
    case $file in
        src/app/scan.cpp) ;;
        src/*)
            roomOf "${file#src/}" || { report "$file: stands in no room"; continue; }
            from=$room
            if [[ -n $system ]]; then
                if showsWindow "$header" && [[ ${orderOf[$from]} -lt $windowsFrom || $from == app ]]; then
                    report "$file: includes <$header>, but shows no window"
                fi
            elif [[ $header == */* ]]; then
                if [[ $header == ../* || ! -f src/$header ]]; then
                    report "$file: \"$header\" is not written from src/"
                elif roomOf "$header" && [[ $from == app ]]; then
                    [[ ${orderOf[$room]} -lt $windowsFrom || $room == app ]] || report "$file: includes \"$header\", but shows no window"
                elif [[ ${reach[$from]} != *" $room "* ]]; then
                    report "$file: includes \"$header\", but room $from does not link room $room"
                fi
            elif [[ $header != *.moc && ! -f ${file%/*}/$header ]]; then
                report "$file: \"$header\" is not written from src/"
            fi
            ;;
        instrument/*)
            if [[ -n $system ]]; then
                showsWindow "$header" && report "$file: includes <$header>, but the instrument has no window"
            elif [[ $header != *.moc && ! -f instrument/$header && ! -f ${file%/*}/$header ]] || [[ $header == *../* ]]; then
                report "$file: \"$header\" does not stand in instrument/"
            fi
            ;;
    esac
done < <(git ls-files --cached --others --exclude-standard 'src/*.cpp' 'src/*.h' 'instrument/*.cpp' 'instrument/*.h' |
    while read -r file; do [[ ! -f $file ]] || echo "$file"; done | xargs grep -HE '^[[:space:]]*#[[:space:]]*include')
if [[ $count -lt 10 ]]; then
    complain "no #include lines were found"
    exit 1
fi

if grep -nE '\.\./|/src\b|scan_(core|serial|gpib|datafiles|goniometer|generator|temperature|profile|startup|plot|ui)' instrument/CMakeLists.txt | grep -v ':#'; then
    report "instrument/CMakeLists.txt: links or names something of src/"
fi

# --- the temperature controllers: rows, not names

# only PATTERN WHAT FILE...: reports the files of src/ with the pattern that are not among those named (folders end in "/").
only() {
    local pattern=$1 what=$2 file allowed
    shift 2
    while read -r file; do
        for allowed in "$@"; do
            [[ $file != "$allowed" && ($allowed != */ || $file != "$allowed"*) ]] || continue 2
        done
        report "$file: $what"
    done < <(git ls-files --cached --others --exclude-standard 'src/*.cpp' 'src/*.h' |
        while read -r file; do [[ ! -f $file ]] || echo "$file"; done | xargs grep -lE "$pattern")
}
device='(HTC|LTC|Laser)'
if ! grep -q 'named(' src/temperature/Controller.h || ! grep -q 'htcEnabled' src/core/Flags.h; then
    complain "the table of temperature controllers was not found"
    exit 1
fi
only '\bnamed\(' "picks a temperature controller by its name, which is for src/core/startup" src/core/startup/ src/temperature/Controller.h \
    src/temperature/Controller.cpp
only '\b(htc|ltc|laser)Enabled\b' "asks which temperature controller is in use, where Temperature::active() is the one" src/temperature/ \
    src/core/Flags.h src/core/Menu.cpp src/serial/modCOM.cpp src/serial/modCOM.h
only "\\bmod(LTC|HTC|HTC_Laser)::controller\\(|(==|!=) *(u|QStringLiteral\\(|QLatin1String\\()?\"$device\"|case [A-Za-z:]*\\b$device:" \
    "tells temperature controllers apart, where their rows say what differs" src/temperature/ src/app/cli/DeviceCommands.cpp
while read -r file; do
    report "$file: a profile knows of temperature only Controller.h and SteadyState.h"
done < <(grep -lE '#include "temperature/(mod|PIDTable|CooldownLog)|\b(htc|ltc|laser)\.' src/profile/*.cpp src/profile/*.h)

# --- the programs that were built: what they really load

for program in build/*/bin/scan-cli build/*/bin/virtual-instrument; do
    [[ -x $program ]] || continue
    if loaded=$(readelf -d "$program" 2>/dev/null | grep -oE 'libQt6(Gui|Widgets|PrintSupport|Svg)[^]]*|libQCustomPlot[^]]*'); then
        report "$program: loads $(tr '\n' ' ' <<<"$loaded")"
    fi
done

if [[ $wrong -gt 0 ]]; then
    say "$wrong breaches of the rules of the house."
    exit 1
fi
say "${#nameOf[@]} rooms keep the rules of the house ($count #include lines)."
