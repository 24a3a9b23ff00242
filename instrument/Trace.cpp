// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Trace.h"

#include <cstdio>

namespace lab {

std::string visible(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        if (byte == '\r')
            text += "<cr>";
        else if (byte == '\n')
            text += "<lf>";
        else if (code >= 0x20 && code < 0x7f)
            text += byte;
        else {
            char hex[8];
            std::snprintf(hex, sizeof hex, "<%02x>", static_cast<unsigned>(code));
            text += hex;
        }
    }
    return text;
}

void Trace::write(Time time, std::string_view device, std::string_view direction, std::string_view bytes) const
{
    if (!sink_)
        return;
    char stamp[32];
    std::snprintf(stamp, sizeof stamp, "%12.3f ", toSeconds(time));
    std::string line = stamp;
    line.append(device).append(" ").append(direction).append(" ").append(visible(bytes));
    sink_(line);
}

} // namespace lab
