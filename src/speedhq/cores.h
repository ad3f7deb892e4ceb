#pragma once

namespace speedhq {

/// Cores this process can run on, hyperthreads counted once; at least 1.
[[nodiscard]] int physicalCores();

}  // namespace speedhq
