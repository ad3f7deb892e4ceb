#pragma once

#include <spdlog/sinks/base_sink.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace HV {

/// A rotating log file that several programs may write at the same time. The program that finds it
/// full rotates the files, one program at a time; no line is lost. The files are named like those
/// of spdlog's own rotating sink. Any thread.
class SharedRotatingSink : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
public:
    /// `rotatedFiles` older files are kept beside `path`. Throws std::system_error when the file
    /// can't be opened.
    SharedRotatingSink(std::filesystem::path path, std::size_t maxSize, std::size_t rotatedFiles);
    /// Writes what is left.
    ~SharedRotatingSink() override;
    SharedRotatingSink(const SharedRotatingSink&) = delete;
    SharedRotatingSink& operator=(const SharedRotatingSink&) = delete;

protected:
    void sink_it_(const spdlog::details::log_msg& message) override;
    /// Waits until every line so far is in the file.
    void flush_() override;

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void writeLoop();
    void write(const std::vector<std::string>& lines);
    void writeLine(const std::string& line);
    void open();
    void rotate(std::size_t needed);
    void shiftFiles() const;

    const std::filesystem::path m_path;
    const std::size_t m_maxSize;
    const std::size_t m_rotatedFiles;

    // The writing thread.
    std::unique_ptr<std::FILE, Close> m_file;  ///< Null: reopening failed.
    std::size_t m_size = 0;  ///< The file's size at the last flush, plus what this sink wrote.
    bool m_failed = false;   ///< The last lines could not be written.

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_written;
    std::vector<std::string> m_waiting;
    std::size_t m_waitingBytes = 0;
    std::uint64_t m_lost = 0;  ///< Lines dropped because too many were waiting.
    std::uint64_t m_linesIn = 0;
    std::uint64_t m_linesOut = 0;
    bool m_closing = false;
    std::thread m_thread;
};

}  // namespace HV
