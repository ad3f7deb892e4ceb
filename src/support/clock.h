#pragma once

#include <cstdint>

/// Monotonic wall clock in microseconds; only differences mean anything. Any thread.
std::int64_t getLocalTimeUs();
