#pragma once

#include <filesystem>
#include <string>

namespace testsupport {

/// Sends the process log into a file of its own for as long as it lives. One at a time.
class LogFile {
public:
    LogFile();
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    [[nodiscard]] std::string text() const;
    [[nodiscard]] int count(const std::string& part) const;
    /// Waits up to two seconds for a line with that part.
    [[nodiscard]] bool says(const std::string& part) const;

private:
    std::filesystem::path m_path;
};

}  // namespace testsupport
