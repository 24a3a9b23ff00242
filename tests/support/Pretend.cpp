// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/Pretend.h"

#include <map>
#include <memory>

namespace {
std::map<const OperationKind*, std::unique_ptr<Operation>>& pretended()
{
    static std::map<const OperationKind*, std::unique_ptr<Operation>> all;
    return all;
}
} // namespace

void pretendRunning(const OperationKind& kind, bool running)
{
    if (running)
        pretended()[&kind] = std::make_unique<Operation>(kind);
    else
        pretended().erase(&kind);
}

void pretendNothing()
{
    pretended().clear();
}
