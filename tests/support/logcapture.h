#pragma once
// The lines that a piece of code logs.

#include <spdlog/sinks/ostream_sink.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>

#include "support/hv/spdlogapplication.h"

namespace tests {

/// Collects what is logged during its life. Read it only while no other thread logs.
class LogCapture {
public:
    LogCapture() : m_sink(std::make_shared<spdlog::sinks::ostream_sink_mt>(m_stream)) {
        m_sink->set_pattern("[%l] %v");
        HV::SpdlogApplication::instance().logger()->sinks().push_back(m_sink);
    }
    ~LogCapture() {
        auto& sinks = HV::SpdlogApplication::instance().logger()->sinks();
        sinks.erase(std::remove(sinks.begin(), sinks.end(), m_sink), sinks.end());
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    [[nodiscard]] std::string text() const { return m_stream.str(); }

    /// How often `part` was logged.
    [[nodiscard]] int count(const std::string& part) const {
        const std::string all = text();
        int found = 0;
        for (auto at = all.find(part); at != std::string::npos; at = all.find(part, at + 1)) {
            ++found;
        }
        return found;
    }

private:
    std::ostringstream m_stream;
    std::shared_ptr<spdlog::sinks::ostream_sink_mt> m_sink;
};

}  // namespace tests
