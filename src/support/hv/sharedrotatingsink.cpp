#include "support/hv/sharedrotatingsink.h"

#include <spdlog/details/os.h>

#include <cerrno>
#include <chrono>
#include <exception>
#include <system_error>
#include <utility>

#include "support/hv/sharedfile.h"

namespace HV {
namespace {

namespace fs = std::filesystem;

/// Rotating takes far less; an older lock was left by a program that was killed.
constexpr std::chrono::seconds kStaleLock(10);

/// Of lines that wait for a slow disk; more are lost.
constexpr std::size_t kMaxWaitingBytes = 8 << 20;

/// Held by one program at a time. It is a folder, because creating one fails when it exists.
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
    m_thread = std::thread([this] { writeLoop(); });
}

SharedRotatingSink::~SharedRotatingSink() {
    {
        const std::lock_guard lock(m_mutex);
        m_closing = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void SharedRotatingSink::sink_it_(const spdlog::details::log_msg& message) {
    const std::lock_guard lock(m_mutex);
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    if (m_waitingBytes + line.size() > kMaxWaitingBytes) {
        ++m_lost;
        return;
    }
    m_waiting.emplace_back(line.data(), line.size());
    m_waitingBytes += line.size();
    ++m_linesIn;
    m_wake.notify_one();
}

void SharedRotatingSink::flush_() {
    std::unique_lock lock(m_mutex);
    const std::uint64_t last = m_linesIn;
    m_written.wait(lock, [&] { return m_linesOut >= last; });
}

void SharedRotatingSink::writeLoop() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_closing || !m_waiting.empty(); });
        if (m_waiting.empty()) {
            return;
        }
        std::vector<std::string> lines = std::exchange(m_waiting, {});
        m_waitingBytes = 0;
        const std::size_t taken = lines.size();
        if (const std::uint64_t lost = std::exchange(m_lost, 0); lost > 0) {
            lines.push_back(
                fmt::format("{} log lines were lost here: the disk is too slow\n", lost));
        }
        lock.unlock();
        write(lines);
        lock.lock();
        m_linesOut += taken;
        m_written.notify_all();
    }
}

void SharedRotatingSink::write(const std::vector<std::string>& lines) {
    try {
        for (const std::string& line : lines) {
            writeLine(line);
        }
        m_size = spdlog::details::os::filesize(m_file.get());  // with the lines of other programs
        m_failed = false;
    } catch (const std::exception& error) {
        if (!std::exchange(m_failed, true)) {
            std::fprintf(stderr, "writing the log file %s failed: %s\n", m_path.string().c_str(),
                         error.what());
        }
    }
}

void SharedRotatingSink::writeLine(const std::string& line) {
    if (!m_file) {
        open();  // it failed when the files were moved on
    }
    if (m_size + line.size() > m_maxSize) {
        rotate(line.size());
    }
    // One write per line: the file is shared, and a buffer that fills up would tear a line apart
    // for the other programs' lines to come between.
    if (std::fwrite(line.data(), 1, line.size(), m_file.get()) != line.size() ||
        std::fflush(m_file.get()) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
    m_size += line.size();
}

void SharedRotatingSink::open() {
    m_file.reset(openShared(m_path));
    m_size = spdlog::details::os::filesize(m_file.get());
}

void SharedRotatingSink::rotate(std::size_t needed) {
    fs::path lockPath = m_path;
    lockPath += ".lock";
    const RotationLock lock(lockPath);
    if (!lock) {
        return;  // Another program is rotating; the next line tries again.
    }
    m_file.reset();
    std::error_code error;
    const auto size = fs::file_size(m_path, error);
    if (!error && size + needed > m_maxSize) {
        shiftFiles();
    }
    open();
}

/// Renames each file to the next number; the oldest one is overwritten when every number is taken.
/// A file that can't be renamed stays and grows; the free number after it keeps the next attempt
/// from shifting the older files again.
void SharedRotatingSink::shiftFiles() const {
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
