#include "support/hv/sharedrotatingsink.h"

#include <spdlog/sinks/rotating_file_sink.h>

#include <chrono>
#include <filesystem>
#include <utility>

namespace HV {
namespace {

namespace fs = std::filesystem;

/// Who moves files takes far less; an older lock is that of a program that was killed.
constexpr std::chrono::seconds kStaleLock(10);

/// Held by one program at a time. It is a folder, because making one tells whether it was there.
class RotationLock {
public:
    explicit RotationLock(fs::path folder) : m_folder(std::move(folder)) {
        std::error_code error;
        m_held = fs::create_directory(m_folder, error);
        if (m_held) {
            return;
        }
        const auto made = fs::last_write_time(m_folder, error);
        if (!error && fs::file_time_type::clock::now() - made > kStaleLock) {
            fs::remove(m_folder, error);
        }
    }
    ~RotationLock() {
        if (m_held) {
            std::error_code ignored;
            fs::remove(m_folder, ignored);
        }
    }
    RotationLock(const RotationLock&) = delete;
    RotationLock& operator=(const RotationLock&) = delete;

    explicit operator bool() const { return m_held; }

private:
    const fs::path m_folder;
    bool m_held = false;
};

}  // namespace

SharedRotatingSink::SharedRotatingSink(std::string path, std::size_t maxSize,
                                       std::size_t rotatedFiles)
    : m_path(std::move(path)), m_maxSize(maxSize), m_rotatedFiles(rotatedFiles) {
    open();
}

void SharedRotatingSink::open() {
    m_file.open(m_path);
    m_open = true;
    m_size = m_file.size();
}

void SharedRotatingSink::sink_it_(const spdlog::details::log_msg& message) {
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    if (!m_open) {
        open();  // it failed when the files were moved on
    }
    if (m_size + line.size() > m_maxSize) {
        rotate(line.size());
    }
    m_file.write(line);
    m_size += line.size();
}

void SharedRotatingSink::flush_() {
    if (!m_open) {
        return;
    }
    m_file.flush();
    m_size = m_file.size();  // with the lines of other programs
}

void SharedRotatingSink::rotate(std::size_t needed) {
    m_file.flush();
    const RotationLock lock(m_path + ".lock");
    if (!lock) {
        return;  // Another program is at it; the next line tries again.
    }
    m_file.close();
    m_open = false;
    std::error_code error;
    const auto size = fs::file_size(m_path, error);
    if (!error && size + needed > m_maxSize) {
        moveFilesOn();
    }
    open();
}

/// The oldest one goes. What can't be moved stays where it is and grows.
void SharedRotatingSink::moveFilesOn() const {
    using spdlog::sinks::rotating_file_sink_mt;
    std::error_code ignored;
    if (m_rotatedFiles == 0) {
        fs::remove(m_path, ignored);
    }
    for (std::size_t number = m_rotatedFiles; number > 0; --number) {
        fs::rename(rotating_file_sink_mt::calc_filename(m_path, number - 1),
                   rotating_file_sink_mt::calc_filename(m_path, number), ignored);
    }
}

}  // namespace HV
