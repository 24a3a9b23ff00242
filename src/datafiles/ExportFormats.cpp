// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/ExportFormats.h"

#include "datafiles/ExportWriters.h"
#include "datafiles/modFile.h"

namespace {
QString asChosen(const QString& chosen)
{
    return chosen;
}

QString fort4Name(const QString& chosen)
{
    return chosen.toLower().trimmed().endsWith(QStringLiteral("fort4")) ? chosen : chosen + QStringLiteral(".fort4");
}

qint16 writeNative(const ScanRecord& scan, const QString& path)
{
    QString written = path;
    return modFile::CreateZELKOFile(scan, written, false);
}
} // namespace

namespace ExportFormats {
const QList<Format>& formats()
{
    // The unbalanced parentheses belong to the texts.
    static const QList<Format> all{
        {"sdf", u"ZELKO Scan data(*.sdf)", "*.sdf", ".sdf", u"File creation", writeNative, asChosen},
        {"rietica", u"Rietica (*.dat)", "*.dat", ".dat", u"Rietica file creation", CreateRieticaFile, asChosen},
        {"uxd", u"Siemens (*.uxd) 3.0.0.8", "*.uxd", ".uxd", u"Siemens file creation", CreateUXDFile, asChosen},
        {"ascii-y", u"ASCII Y (*.prn)", "*.prn", ".prn", u"File creation", CreateAsciiYFile, asChosen},
        {"ascii-xy", u"ASCII XY (*.asc)", "*.asc", ".asc", u"File creation", CreateAsciiXYFile, asChosen},
        {"fort4", u"Wyriet FORT4", "fort4", ".fort4", u"File creation", CreateFort4File, fort4Name},
        {"stoe", u"Stoe (*.raw) 1.06)", "*.raw", ".raw", u"STOE file creation", CreateSTOEFile, asChosen},
        {"pro", u"PRO (*.pro) 1.06)", "*.pro", ".pro", u"PRO file creation", CreateProFile, asChosen},
    };
    return all;
}

const Format* ofFilterIndex(int index)
{
    return index >= 1 && index <= formats().size() ? &formats()[index - 1] : nullptr;
}

const Format* ofKey(const QString& key)
{
    for (const Format& format : formats())
        if (key.compare(QLatin1String(format.key), Qt::CaseInsensitive) == 0)
            return &format;
    return nullptr;
}

QString filter()
{
    QStringList parts;
    for (const Format& format : formats())
        parts << QString::fromUtf16(format.filterText) << QString::fromLatin1(format.pattern);
    return parts.join(u'|');
}
} // namespace ExportFormats
