// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Flags.h"

Flags& flags()
{
    static Flags theFlags;
    return theFlags;
}

const char* goniometerTypeName()
{
    return flags().goniometerType == 1 ? "Theta-2-Theta" : "Guinier";
}

const char* scanModeName()
{
    return flags().scanMode == 0 ? "Online" : "Silent";
}
