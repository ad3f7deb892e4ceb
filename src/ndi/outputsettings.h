#pragma once
// How the built-in output publishes its sources.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "speedhq/colour.h"

namespace ndi {

struct OutputSettings {
    /// The names or addresses of the network interfaces on which sources are announced and
    /// receivers accepted ("eth0", "10.0.0.5"); empty: all of them.
    std::vector<std::string> networkInterfaces;
    /// Addresses or networks ("10.0.0.7", "10.1.0.0/16", "fd00::/8") of the receivers that are
    /// accepted; empty: every receiver.
    std::vector<std::string> allowedReceivers;
    /// The connection limit of a source.
    std::uint16_t maximumReceivers = 250;
    /// Sources listen on the first free port of this one and the 999 above it.
    std::uint16_t firstPort = 5961;
    /// The matrix that BGRA frames are sent with.
    speedhq::ColourChoice colours = speedhq::ColourChoice::Automatic;

    /// Called after a change of a source's status, counters excepted, on a thread of the source's,
    /// ten times a second at most. Must not block. Not called for a source that is destroyed. May
    /// be empty.
    std::function<void()> onStatusChange;
};

/// Reads the keys `networkInterfaces`, `allowedReceivers` (entries separated by commas or blanks),
/// `maximumReceivers`, `firstPort` and `colorMatrix` through `read`, which gives the text of a key,
/// "" when it is absent. A wrong value is logged with what was expected, and the default holds.
[[nodiscard]] OutputSettings readOutputSettings(
    const std::function<std::string(const char* key)>& read);

}  // namespace ndi
