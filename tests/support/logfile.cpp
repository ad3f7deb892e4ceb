#include "support/logfile.h"

#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "support/hv/spdlogapplication.h"

namespace testsupport {

LogFile::LogFile() {
    static int number = 0;
    m_path = std::filesystem::temp_directory_path() / ("tarsin-test-" + std::to_string(::getpid()) +
                                                       "-" + std::to_string(++number) + ".log");
    auto& logger = HV::SpdlogApplication::instance();
    logger.appendRotatingFileSink(0, "%l %v", m_path.string(), 64U << 20, 1);
    logger.setupLogger();
}

LogFile::~LogFile() {
    HV::SpdlogApplication::instance().shutdownLogger();
    std::error_code ignored;
    std::filesystem::remove(m_path, ignored);
}

std::string LogFile::text() const {
    HV::SpdlogApplication::instance().flush();
    std::ostringstream text;
    text << std::ifstream(m_path).rdbuf();
    return text.str();
}

int LogFile::count(const std::string& part) const {
    const std::string all = text();
    int found = 0;
    for (auto at = all.find(part); at != std::string::npos; at = all.find(part, at + 1)) {
        ++found;
    }
    return found;
}

bool LogFile::says(const std::string& part) const {
    for (int i = 0; i < 200; ++i) {
        if (count(part) > 0) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

}  // namespace testsupport
