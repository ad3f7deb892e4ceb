#pragma once
// The log lines that a piece of code writes.

#include <spdlog/sinks/base_sink.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>

#include "support/eventually.h"
#include "support/hv/spdlogapplication.h"

namespace tests {

/// Collects the log lines of all threads during its life. Create and destroy it while no other
/// thread logs.
class LogCapture {
public:
    LogCapture() {
        m_sink->set_pattern("[%l] %v");
        HV::SpdlogApplication::instance().logger()->sinks().push_back(m_sink);
    }
    ~LogCapture() {
        auto& sinks = HV::SpdlogApplication::instance().logger()->sinks();
        sinks.erase(std::remove(sinks.begin(), sinks.end(), m_sink), sinks.end());
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    [[nodiscard]] std::string text() const { return m_sink->text(); }

    /// How often the log contains `part`.
    [[nodiscard]] int count(const std::string& part) const {
        const std::string all = text();
        int found = 0;
        for (auto at = all.find(part); at != std::string::npos; at = all.find(part, at + 1)) {
            ++found;
        }
        return found;
    }

    /// Waits until the log contains `part`.
    [[nodiscard]] bool says(const std::string& part) const {
        return eventually([&] { return count(part) > 0; });
    }

private:
    class Sink : public spdlog::sinks::base_sink<std::mutex> {
    public:
        [[nodiscard]] std::string text() {
            const std::lock_guard lock(mutex_);
            return m_text;
        }

    private:
        void sink_it_(const spdlog::details::log_msg& message) override {
            spdlog::memory_buf_t line;
            formatter_->format(message, line);
            m_text.append(line.data(), line.size());
        }
        void flush_() override {}

        std::string m_text;
    };

    const std::shared_ptr<Sink> m_sink = std::make_shared<Sink>();
};

}  // namespace tests
