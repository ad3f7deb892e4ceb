#include "sender/capturewatch.h"

#include <utility>

namespace sender {
namespace {

constexpr std::int64_t kNoFramePauseMs = 2;
constexpr std::int64_t kRetryPauseMs = 250;
constexpr std::int64_t kQuickRetriesMs = 1000;
constexpr std::int64_t kUntilToldMs = 5000;
constexpr std::int64_t kInitAnywayMs = 5000;

}  // namespace

CaptureWatch::Advice CaptureWatch::noFrame(const CaptureFailure& failure, std::int64_t now) {
    if (failure.reason.empty()) {
        frame();
        return {kNoFramePauseMs, false};
    }
    const std::int64_t lasts = now - m_failingSince.value_or(now);
    m_failingSince = now - lasts;
    if (lasts >= kUntilToldMs) {
        publish(failure.reason);
    }
    // Making devices anew is no quick attempt, not even in the first second.
    const std::int64_t pause = failure.needsInit ? kRetryPauseMs : kInitAnywayMs;
    const bool init = m_lastInit ? now - *m_lastInit >= pause : failure.needsInit || lasts >= pause;
    if (init) {
        m_lastInit = now;
    }
    return {lasts >= kQuickRetriesMs ? kRetryPauseMs : kNoFramePauseMs, init};
}

void CaptureWatch::frame() {
    m_failingSince.reset();
    m_lastInit.reset();
    publish({});
}

void CaptureWatch::opened(const std::string& error) {
    frame();
    publish(error);
}

void CaptureWatch::publish(std::string reason) {
    if (reason == m_published) {
        return;
    }
    m_published = reason;
    const std::lock_guard lock(m_reasonMutex);
    m_reason = std::move(reason);
}

std::string CaptureWatch::reason() const {
    const std::lock_guard lock(m_reasonMutex);
    return m_reason;
}

}  // namespace sender
