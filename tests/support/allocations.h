#pragma once
// Counts calls of operator new. Compile allocations.cpp into the test program itself.

namespace tests {

/// Calls so far: of the whole program, of this thread.
[[nodiscard]] int allocations();
[[nodiscard]] int allocationsHere();

}  // namespace tests
