#pragma once

namespace speedhq {

/// Physical cores that this process may run on, at least 1. Hyperthreads of a core count once.
[[nodiscard]] int physicalCores();

}  // namespace speedhq
