#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the golden files beside itself, from the layouts in docs/FORMATS.md and from nothing of the program.

The scans are those of tests/datafiles/GoldenScans.h. Files of 32,001 points are kept as SHA-256 in big.sha256.
"""
import hashlib
import os
import struct
from decimal import Decimal, ROUND_HALF_UP

HERE = os.path.dirname(os.path.abspath(__file__))
NAME = "Quartz\u00e4"
COMMENT = "first line\r\nsecond"
DATE = "Mar 05. 2024 14:07"
SCANS = {  # points: (start, step, counter time)
    1: (10.0, 0.02, 0.25), 9: (10.0, 0.02, 1.0), 10: (0.0, 0.01, 5.0), 11: (-5.5, 0.125, 0.1),
    20: (10.005, 0.0105, 2.0), 23: (995.0, 0.5, 12.0), 32001: (4.0, 0.005, 5.0),
}
FIRST = [0, 9999999, 10000000, 1, 12345, 999999, 123456789, 2147483647, 7, 100, 99999998]


def counts(n):
    return [FIRST[i] if i < len(FIRST) else (i * 7919) % 100003 for i in range(n)]


def decimal15(x):
    return Decimal("%.14e" % x)


def fixed(x, places):
    d = decimal15(x).quantize(Decimal(1).scaleb(-places), ROUND_HALF_UP)
    return format(abs(d) if d == 0 else d, "f")


def print_form(x):
    d = decimal15(x).normalize()
    text = format(abs(d), "f")
    if text.startswith("0."):
        text = text[1:]
    return ("-" if d < 0 else " ") + text


def right(text, width):
    return text.rjust(width)[-width:]


def field8(x):
    return right(fixed(x, 3) + " ", 8)


def tens(fields):
    return "".join(("\r\n" if i % 10 == 0 else "") + f for i, f in enumerate(fields))


def stoe(n, start, step, time, data):
    blocks = -(-4 * n // 512)
    out = bytearray(512 * (5 + blocks))

    def at(where, form, *values):
        struct.pack_into("<" + form, out, where, *values)

    end = start + (n - 1) * step
    at(0x000, "14s", b"RAW_1.06Powdat")
    at(0x010, "15s", b"05-Mar-24 14:07")
    text = NAME.encode("cp1252") + b"\0" + COMMENT.split("\r\n")[0].encode("cp1252") + b"\0"
    out[0x20:0x20 + len(text)] = text
    at(0x156, "f", step)
    for where, value in ((0x1D2, n + 1), (0x200, n + 1), (0x1D6, 1), (0x1DA, blocks), (0x1DC, 5 + blocks), (0x1E0, 5), (0x1F0, blocks)):
        at(where, "H", value)
    at(0x23C, "ff", start, end)
    minutes = 14 * 60 + 7 + int(n * time) // 60
    day, minutes = 5 + minutes // 1440, minutes % 1440
    at(0x800, "16s", b"05-Mar-24 14:07")
    at(0x810, "16s", b"%02d-Mar-24 %02d:%02d" % (day, minutes // 60, minutes % 60))
    at(0x822, "H", n)
    at(0x82C, "ff", start, start / 2)
    at(0x834, "ff", end, end / 2)
    at(0x83C, "ff", step, step / 2)
    at(0x844, "f", time)
    at(0x878, "II", min(data), max(data))
    at(0x9F8, "6s", b"RAWDAT")
    at(0xA00, "%dI" % n, *data)
    return bytes(out)


def files(n):
    start, step, time = SCANS[n]
    stop = start + (n - 1) * step
    data = counts(n)
    angles = [start + i * step for i in range(n)]
    raised = [right(print_form(c + 1), 8) for c in data]
    pointed = [right(print_form(c + 1) + ". ", 8) for c in data]
    padding = "     1. " * (10 - n % 10)
    head3 = field8(start) + field8(step) + field8(stop) + NAME
    lines = lambda rows: "".join(row + "\r\n" for row in rows)
    text = {
        "sdf": lines(["scan 2.1.22", "0", "1", NAME, "n.n", "", DATE, fixed(time, 1), "@PATH@", "/*<beginc>" + COMMENT + "<endc>*/", fixed(start, 3),
                      fixed(stop, 3), fixed(step, 3), "", "0", ""] + [print_form(c) + " " for c in data]),
        "rietica": head3 + tens(raised) + padding + "\r\n",
        "fort4": head3 + tens(pointed) + padding + "\r\n",
        "pro": field8(start) + field8(step) + tens(raised) + "\r\n",
        "ascii-y": "sample: " + NAME.strip() + "\r\n",
        "ascii-xy": "\r\n" + lines([print_form(a).lstrip(" ") + " " + print_form(c) for a, c in zip(angles, data)]),
        "uxd": lines(["_SAMPLE=" + NAME, "_DATEMEASURED=", "_START=" + fixed(start, 3), "_STEPSIZE=" + fixed(step, 3)] +
                     [right(fixed(a, 4), 8) + right(print_form(c), 9) for a, c in zip(angles, data)]),
    }
    result = {key: value.encode("cp1252") for key, value in text.items()}
    result["stoe"] = stoe(n, start, step, time, data)
    return result


big = []
for points in SCANS:
    for key, content in files(points).items():
        if points > 1000:
            big.append(hashlib.sha256(content).hexdigest() + "  " + key + "\n")
        else:
            with open(os.path.join(HERE, "%d.%s" % (points, key)), "wb") as out:
                out.write(content)
with open(os.path.join(HERE, "big.sha256"), "w") as out:
    out.writelines(big)
