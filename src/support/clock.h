#pragma once

#include <cstdint>

/// Monotonic clock in microseconds; only differences are meaningful. Any thread.
std::int64_t getLocalTimeUs();
