// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

class QObject;

/// The message bar that says, while a scan or a profile runs, that the tube warms up or is at idle power. It goes when that is over.
namespace TubeNotice {
/// Looks whenever something begins or ends, or something else becomes known of the tube, as long as `owner` lives.
void watch(QObject* owner);
} // namespace TubeNotice
