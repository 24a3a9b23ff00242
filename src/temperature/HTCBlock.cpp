// SPDX-License-Identifier: GPL-3.0-or-later

// How values are packed into the blocks of the high-temperature controller.

#include "temperature/modHTC.h"

using namespace Qt::StringLiterals;

namespace modHTC {
QString Pack(quint16 value)
{
    // 6, 6 and 4 bits: the device's own uneven split.
    return QString(QChar(value / 1024 + 32)) + QChar(value % 1024 / 16 + 32) + QChar(value % 16 + 32);
}

quint16 Unpack(const QString& block, int position)
{
    if (position < 1 || block.size() < position + 2)
        return 0;
    const auto code = [&](int offset) { return block[position - 1 + offset].unicode() - 32; };
    return static_cast<quint16>(code(0) * 1024 + code(1) * 16 + code(2));
}

quint16 UnpackCharacter(const QString& block, int position)
{
    return position >= 1 && block.size() >= position ? static_cast<quint16>(block[position - 1].unicode() - 32) : quint16{0};
}

QString Checksum(const QString& block)
{
    quint16 sum = 0;
    for (const QChar character : block)
        sum = static_cast<quint16>(sum + character.unicode());
    return QString::number(sum, 16).toUpper().rightJustified(4, u'0');
}
} // namespace modHTC
