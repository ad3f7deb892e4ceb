#include "support/hv/spdlogapplication.h"

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_color_sinks.h>

#include <array>
#include <cstdio>
#include <utility>

#include "support/hv/sharedfile.h"
#include "support/hv/sharedrotatingsink.h"

namespace HV {
namespace {

/// "%l" in five characters, with critical shown as FATAL. spdlog's level names are compiled in, so
/// this custom flag replaces its own.
class PaddedLevelFlag : public spdlog::custom_flag_formatter {
public:
    void format(const spdlog::details::log_msg& message, const std::tm& /*time*/,
                spdlog::memory_buf_t& out) override {
        static constexpr std::array<spdlog::string_view_t, 7> kNames = {
            "TRACE", "DEBUG", "INFO ", "WARN ", "ERROR", "FATAL", "OFF  "};
        const auto name = kNames.at(static_cast<std::size_t>(message.level));
        out.append(name.data(), name.data() + name.size());
    }

    [[nodiscard]] std::unique_ptr<custom_flag_formatter> clone() const override {
        return std::make_unique<PaddedLevelFlag>();
    }
};

void applyFormat(spdlog::sinks::sink& sink, int level, const std::string& pattern) {
    auto formatter = std::make_unique<spdlog::pattern_formatter>();
    formatter->add_flag<PaddedLevelFlag>('l').set_pattern(pattern);
    sink.set_formatter(std::move(formatter));
    sink.set_level(static_cast<spdlog::level::level_enum>(level));
}

}  // namespace

SpdlogBase::SpdlogBase(std::string loggerName)
    : m_loggerName(std::move(loggerName)), m_logger(makeLogger({})) {}

void SpdlogBase::appendConsoleSink(int level, const std::string& pattern) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);  // lines appear without a flush
    auto sink = std::make_shared<spdlog::sinks::stdout_color_sink_mt>();
    applyFormat(*sink, level, pattern);
    const std::lock_guard lock(m_mutex);
    m_sinks.push_back(std::move(sink));
}

void SpdlogBase::appendRotatingFileSink(int level, const std::string& pattern,
                                        const std::string& filePath, std::size_t maxSize,
                                        std::size_t maxFiles) {
    auto sink = std::make_shared<SharedRotatingSink>(localPath(filePath), maxSize, maxFiles - 1);
    applyFormat(*sink, level, pattern);
    const std::lock_guard lock(m_mutex);
    m_sinks.push_back(std::move(sink));
}

void SpdlogBase::setupLogger() {
    const std::lock_guard lock(m_mutex);
    m_logger = makeLogger(m_sinks);
}

std::shared_ptr<spdlog::logger> SpdlogBase::logger() const {
    const std::lock_guard lock(m_mutex);
    return m_logger;
}

void SpdlogBase::flush() {
    logger()->flush();
}

void SpdlogBase::shutdownLogger() {
    flush();
    const std::lock_guard lock(m_mutex);
    m_sinks.clear();
    m_logger = makeLogger({});
}

std::shared_ptr<spdlog::logger> SpdlogBase::makeLogger(std::vector<spdlog::sink_ptr> sinks) const {
    auto made = std::make_shared<spdlog::logger>(m_loggerName, sinks.begin(), sinks.end());
    made->set_level(spdlog::level::trace);
    // The lines that explain a crash must be in the file when it happens. The others are written
    // soon, without a wait.
    made->flush_on(spdlog::level::warn);
    return made;
}

SpdlogApplication::SpdlogApplication() : SpdlogBase("TarsinNDI") {}

SpdlogApplication& SpdlogApplication::instance() {
    static SpdlogApplication application;
    return application;
}

}  // namespace HV
