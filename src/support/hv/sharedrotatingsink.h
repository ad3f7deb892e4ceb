#pragma once

#include <spdlog/sinks/base_sink.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

namespace HV {

/// A rotating log file that several programs may write at the same time. The program that finds it
/// full rotates the files, one program at a time; no line is lost. The files are named like those
/// of spdlog's own rotating sink. Any thread.
class SharedRotatingSink : public spdlog::sinks::base_sink<std::mutex> {
public:
    /// `rotatedFiles` older files are kept beside `path`. Throws std::system_error when the file
    /// can't be opened.
    SharedRotatingSink(std::filesystem::path path, std::size_t maxSize, std::size_t rotatedFiles);

protected:
    void sink_it_(const spdlog::details::log_msg& message) override;
    void flush_() override;

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void open();
    void rotate(std::size_t needed);
    void shiftFiles() const;

    const std::filesystem::path m_path;
    const std::size_t m_maxSize;
    const std::size_t m_rotatedFiles;
    std::unique_ptr<std::FILE, Close> m_file;  ///< Null: reopening failed.
    std::size_t m_size = 0;  ///< The file's size at the last flush, plus what this sink wrote.
};

}  // namespace HV
