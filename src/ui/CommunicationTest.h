// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

/// The communication test of the status bar: asks the controller for its version again and again; panel 1 shows the number of exchanges
/// and the last answer.
namespace CommunicationTest {
/// The click of the status bar. Offers the test, and runs it until the status bar is clicked again or the program closes. Refused with a
/// message while the controller works for a scan, a profile or the ratemeter.
void Click();
bool isRunning();
} // namespace CommunicationTest
