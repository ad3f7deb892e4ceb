#include "support/hv/sharedrotatingsink.h"

#include <spdlog/details/os.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "support/hv/sharedfile.h"

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

/// "log.txt", "log.1.txt", "log.2.txt"...
fs::path numbered(const fs::path& path, std::size_t number) {
    if (number == 0) {
        return path;
    }
    fs::path name = path.stem();
    name += "." + std::to_string(number);
    name += path.extension();
    return path.parent_path() / name;
}

}  // namespace

SharedRotatingSink::SharedRotatingSink(fs::path path, std::size_t maxSize, std::size_t rotatedFiles)
    : m_path(std::move(path)), m_maxSize(maxSize), m_rotatedFiles(rotatedFiles) {
    open();
}

void SharedRotatingSink::open() {
    m_file.reset(openShared(m_path));
    m_size = spdlog::details::os::filesize(m_file.get());
}

void SharedRotatingSink::sink_it_(const spdlog::details::log_msg& message) {
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    if (!m_file) {
        open();  // it failed when the files were moved on
    }
    if (m_size + line.size() > m_maxSize) {
        rotate(line.size());
    }
    if (std::fwrite(line.data(), 1, line.size(), m_file.get()) != line.size()) {
        throw spdlog::spdlog_ex("Failed writing to file " + m_path.string(), errno);
    }
    m_size += line.size();
}

void SharedRotatingSink::flush_() {
    if (!m_file) {
        return;
    }
    std::fflush(m_file.get());
    m_size = spdlog::details::os::filesize(m_file.get());  // with the lines of other programs
}

void SharedRotatingSink::rotate(std::size_t needed) {
    std::fflush(m_file.get());
    fs::path lockPath = m_path;
    lockPath += ".lock";
    const RotationLock lock(lockPath);
    if (!lock) {
        return;  // Another program is at it; the next line tries again.
    }
    m_file.reset();
    std::error_code error;
    const auto size = fs::file_size(m_path, error);
    if (!error && size + needed > m_maxSize) {
        moveFilesOn();
    }
    open();
}

/// The oldest one goes when every number is taken. What can't be moved stays where it is and grows;
/// the number that is free then keeps the next try from moving the older ones on again.
void SharedRotatingSink::moveFilesOn() const {
    std::error_code ignored;
    if (m_rotatedFiles == 0) {
        fs::remove(m_path, ignored);
        return;
    }
    std::size_t number = 1;
    while (number < m_rotatedFiles && fs::exists(numbered(m_path, number), ignored)) {
        ++number;
    }
    for (; number > 0; --number) {
        fs::rename(numbered(m_path, number - 1), numbered(m_path, number), ignored);
    }
}

}  // namespace HV
