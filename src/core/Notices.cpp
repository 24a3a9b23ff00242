// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Notices.h"

#include "core/modTools.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
QList<Notices::Notice>& notices()
{
    static QList<Notices::Notice> theNotices;
    return theNotices;
}
} // namespace

namespace Notices {
const QList<Notice>& all()
{
    return notices();
}

void show(const Notice& notice)
{
    const auto same = std::find_if(notices().begin(), notices().end(), [&](const Notice& one) { return one.id == notice.id; });
    const bool isNew = same == notices().end() || same->text != notice.text;
    if (same == notices().end())
        notices() += notice;
    else
        *same = notice;
    if (isNew) {
        modTools::WriteLog(false, u"Notice: "_s + notice.text);
        emit notifier().shown(notice.text);
    }
    emit notifier().changed();
}

void show(const QString& id, const QString& text)
{
    show({id, text, {}});
}

void take(const QString& id)
{
    if (notices().removeIf([&](const Notice& one) { return one.id == id; }) > 0)
        emit notifier().changed();
}

void reset()
{
    notices().clear();
    emit notifier().changed();
}

Notifier& notifier()
{
    static Notifier theNotifier;
    return theNotifier;
}
} // namespace Notices
