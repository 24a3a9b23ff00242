// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/modFile.h"

#include <QDir>

namespace modFile {
State& state()
{
    static State instance;
    return instance;
}

PathParts SplitPath(const QString& path)
{
    qsizetype last = path.lastIndexOf(u'\\');
#ifndef Q_OS_WIN
    last = qMax(last, path.lastIndexOf(u'/'));
#endif
    if (last < 0)
        return {};
    return {path.left(last + 1), path.mid(last + 1)};
}

QString WithSeparator(const QString& directory)
{
    const PathParts parts = SplitPath(directory);
    if (!parts.directory.isEmpty() && parts.name.isEmpty())
        return directory;
    return directory + QDir::separator();
}
} // namespace modFile
