#include "support/clock.h"

#include <chrono>

std::int64_t getLocalTimeUs() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}
