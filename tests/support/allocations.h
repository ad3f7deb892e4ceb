#pragma once
// Counts operator new; allocations.cpp is to be compiled into the test program itself.

namespace tests {

/// Calls so far, of the whole program and of this thread.
[[nodiscard]] int allocations();
[[nodiscard]] int allocationsHere();

}  // namespace tests
