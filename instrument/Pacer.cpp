// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Pacer.h"

#include <algorithm>
#include <utility>

namespace lab {

Pacer::Pacer(const LineSettings& settings)
    : character_(fromSeconds(static_cast<double>(settings.bitsPerCharacter) / settings.baud)),
      pieceLength_(static_cast<std::size_t>(std::max<Time::rep>(1, std::chrono::milliseconds(16) / character_)))
{
}

Time Pacer::characters(std::size_t count) const
{
    return character_ * static_cast<Time::rep>(count);
}

void Pacer::push(Time time, std::string bytes)
{
    if (bytes.empty())
        return;
    const auto later = std::find_if(waiting_.begin(), waiting_.end(), [time](const Piece& piece) { return piece.start > time; });
    // an answer that was held back does not hold back those that were not
    if (later == waiting_.end()) {
        const Time start = std::max(time, lineFree_);
        lineFree_ = start + characters(bytes.size());
        waiting_.push_back({start, std::move(bytes)});
        return;
    }
    const Time start =
        later == waiting_.begin() ? time : std::max(time, std::prev(later)->start + characters(std::prev(later)->bytes.size()));
    Time end = start + characters(bytes.size());
    for (auto piece = waiting_.insert(later, {start, std::move(bytes)}) + 1; piece != waiting_.end(); ++piece) {
        piece->start = std::max(piece->start, end);
        end = piece->start + characters(piece->bytes.size());
    }
    lineFree_ = end;
}

std::string Pacer::pop(Time now)
{
    std::string out;
    while (!waiting_.empty() && waiting_.front().start < now) {
        Piece& piece = waiting_.front();
        const auto gone = static_cast<std::size_t>((now - piece.start) / character_);
        if (gone < piece.bytes.size()) {
            out.append(piece.bytes, 0, gone);
            piece.bytes.erase(0, gone);
            piece.start += characters(gone);
            break;
        }
        out += piece.bytes;
        waiting_.pop_front();
    }
    return out;
}

std::optional<Time> Pacer::due() const
{
    if (waiting_.empty())
        return std::nullopt;
    const Piece& piece = waiting_.front();
    return piece.start + characters(std::min(piece.bytes.size(), pieceLength_));
}

void Pacer::clear()
{
    waiting_.clear();
    lineFree_ = Time{0};
}

} // namespace lab
