#pragma once
// The checks of ndimonitor --doctor. They change nothing on this machine and block until they are
// done.

#include <atomic>
#include <chrono>

#include "monitor/browser.h"
#include "monitor/doctor/finding.h"

namespace monitor::doctor {

/// Interfaces that are up, support multicast and have an address.
[[nodiscard]] Findings checkInterfaces();

/// Whether a multicast DNS query and its answer, both sent here, come back on every interface, and
/// whether another machine answers for this one's name. Takes about a second.
[[nodiscard]] Findings checkDiscovery();

/// The TCP ports that sources listen on.
[[nodiscard]] Findings checkPorts();

/// Receives from each of the sources (16 at most) for a moment: can they be reached, does the clock
/// of their machine agree with this one's? And do several machines announce by one name?
[[nodiscard]] Findings checkSources(const FoundSources& sources,
                                    const std::atomic<bool>& interrupted);

/// The machines that several of the sources name as theirs although they share no address.
[[nodiscard]] Findings checkMachineNames(const FoundSources& sources);

/// `latencyMs`: time of arrival minus timestamp of the fastest frame of a source.
[[nodiscard]] Finding describeClock(const std::string& source, double latencyMs);

// Each platform has its own implementation of these.

/// The mDNS daemon.
[[nodiscard]] Findings checkDaemon();

/// The rules of the firewall, as far as this user may read them.
[[nodiscard]] Findings checkFirewall();

/// What capturing the screen of this session needs.
[[nodiscard]] Findings checkCapture();

}  // namespace monitor::doctor
