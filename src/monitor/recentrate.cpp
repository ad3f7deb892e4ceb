#include "monitor/recentrate.h"

#include <algorithm>
#include <chrono>

namespace monitor {
namespace {

constexpr std::int64_t kWindowUs = 2'000'000;
/// The first frames arrive in a burst, from which no rate can be told.
constexpr std::int64_t kShortestUs = 1'000'000;

}  // namespace

void RecentRate::add(const ArrivedFrame& frame) {
    if (m_firstUs < 0) {
        m_firstUs = frame.arrivedUs;
    }
    m_entries.push_back({frame.arrivedUs, frame.bytes});
    m_bytes += frame.bytes;
    (void)covered(frame.arrivedUs);
}

double RecentRate::framesPerSecond(std::int64_t nowUs) {
    const double seconds = covered(nowUs);
    return static_cast<double>(m_entries.size()) / seconds;
}

double RecentRate::megabitsPerSecond(std::int64_t nowUs) {
    const double seconds = covered(nowUs);
    return static_cast<double>(m_bytes) * 8 / 1e6 / seconds;
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
    const auto since = m_firstUs < 0 ? 0 : nowUs - m_firstUs;
    return static_cast<double>(std::clamp(since, kShortestUs, kWindowUs)) / 1e6;
}

}  // namespace monitor
