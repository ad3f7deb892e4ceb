#pragma once

namespace testing_support {

/// Calls of operator new in the whole program so far, on all threads.
[[nodiscard]] int allocationsSoFar();

}  // namespace testing_support
