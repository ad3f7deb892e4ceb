#pragma once
// The process-wide logger: a thin layer over spdlog. No Qt.

#include <spdlog/spdlog.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace HV {

/// Collects sinks, then creates one logger with them. Every member function may be called from any
/// thread; the append functions take effect at the next setupLogger().
class SpdlogBase {
public:
    explicit SpdlogBase(std::string loggerName);
    virtual ~SpdlogBase() = default;
    SpdlogBase(const SpdlogBase&) = delete;
    SpdlogBase& operator=(const SpdlogBase&) = delete;

    /// Adds a coloured console sink. `level` is spdlog's number (0 trace ... 6 off).
    /// Throws spdlog::spdlog_ex when the sink can't be created.
    void appendConsoleSink(int level, const std::string& pattern);

    /// Adds a file sink that rotates at `maxSize` bytes; at most `maxFiles` files (1 or more) exist
    /// at a time, the one being written included.
    /// `filePath` is in the local 8-bit encoding. Throws spdlog::spdlog_ex when the file can't be
    /// opened.
    void appendRotatingFileSink(int level, const std::string& pattern, const std::string& filePath,
                                std::size_t maxSize, std::size_t maxFiles);

    /// Creates the process logger with the sinks appended so far, if any.
    void setupLogger();

    /// The process logger. Never null: before setupLogger() and after shutdownLogger() it is a
    /// logger without sinks, so that a late log line is lost but harmless.
    [[nodiscard]] std::shared_ptr<spdlog::logger> logger() const;

    void flush();

    /// Flushes and releases the logger and its sinks.
    void shutdownLogger();

private:
    [[nodiscard]] std::shared_ptr<spdlog::logger> makeLogger(
        std::vector<spdlog::sink_ptr> sinks) const;

    const std::string m_loggerName;
    mutable std::mutex m_mutex;
    std::vector<spdlog::sink_ptr> m_sinks;
    std::shared_ptr<spdlog::logger> m_logger;
};

class SpdlogApplication : public SpdlogBase {
public:
    static SpdlogApplication& instance();

private:
    SpdlogApplication();
};

}  // namespace HV
