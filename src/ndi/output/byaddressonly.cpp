#include "ndi/output/discovery.h"

namespace ndi {

/// For builds without the discovery room.
AnnounceOutcome announceService(const std::string& /*instance*/, std::uint16_t /*port*/) {
    return {AnnounceResult::Failed, nullptr, "this build announces nothing"};
}

}  // namespace ndi
