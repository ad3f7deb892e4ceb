#include "monitor/recentrate.h"

#include <algorithm>
#include <chrono>

namespace monitor {
namespace {

constexpr std::int64_t kWindowUs = 2'000'000;

}  // namespace

void RecentRate::add(const ArrivedFrame& frame) {
    if (m_firstUs < 0) {
        m_firstUs = frame.arrivedUs;
    }
    m_entries.push_back({frame.arrivedUs, frame.bytes});
    m_bytes += frame.bytes;
    covered(frame.arrivedUs);
}

double RecentRate::framesPerSecond(std::int64_t nowUs) {
    const double seconds = covered(nowUs);
    return seconds > 0 ? static_cast<double>(m_entries.size()) / seconds : 0;
}

double RecentRate::megabitsPerSecond(std::int64_t nowUs) {
    const double seconds = covered(nowUs);
    return seconds > 0 ? static_cast<double>(m_bytes) * 8 / 1e6 / seconds : 0;
}

std::int64_t RecentRate::nowUs() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

double RecentRate::covered(std::int64_t nowUs) {
    while (!m_entries.empty() && m_entries.front().arrivedUs <= nowUs - kWindowUs) {
        m_bytes -= m_entries.front().bytes;
        m_entries.pop_front();
    }
    const auto since = m_firstUs < 0 ? 0 : std::min(nowUs - m_firstUs, kWindowUs);
    return static_cast<double>(since) / 1e6;
}

}  // namespace monitor
