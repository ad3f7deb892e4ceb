#pragma once

#include <spdlog/details/file_helper.h>
#include <spdlog/sinks/base_sink.h>

#include <cstddef>
#include <mutex>
#include <string>

namespace HV {

/// A rotating log file that several programs may write at a time: whoever finds it full moves the
/// files on, one program at a time, and no line is lost by that. The files are called as those of
/// spdlog's own rotating sink. Any thread.
class SharedRotatingSink : public spdlog::sinks::base_sink<std::mutex> {
public:
    /// `path` in the local 8-bit encoding; `rotatedFiles` older files are kept beside it. Throws
    /// spdlog::spdlog_ex when the file can't be opened.
    SharedRotatingSink(std::string path, std::size_t maxSize, std::size_t rotatedFiles);

protected:
    void sink_it_(const spdlog::details::log_msg& message) override;
    void flush_() override;

private:
    void open();
    void rotate(std::size_t needed);
    void moveFilesOn() const;

    const std::string m_path;
    const std::size_t m_maxSize;
    const std::size_t m_rotatedFiles;
    spdlog::details::file_helper m_file;
    bool m_open = false;
    std::size_t m_size = 0;  ///< Of the file, as far as we know.
};

}  // namespace HV
