// SPDX-License-Identifier: GPL-3.0-or-later
//
// The command that tells about scan.ini. It asks no device.

#include "app/cli/Commands.h"

#include "core/SettingsText.h"

int cli::settings(const Arguments& arguments)
{
    if (arguments.text("action") != u"list") {
        Terminal::note(QStringLiteral("settings: list is wanted."));
        return WrongUsage;
    }
    if (arguments.has("markdown") && arguments.has("ini")) {
        Terminal::note(QStringLiteral("settings list: --markdown or --ini, not both."));
        return WrongUsage;
    }
    const QString text = arguments.has("markdown") ? Settings::markdown()
                         : arguments.has("ini")    ? Settings::exampleFile()
                                                   : Settings::plainText();
    Terminal::result(text.chopped(1)); // the last line end comes with it
    return Done;
}
