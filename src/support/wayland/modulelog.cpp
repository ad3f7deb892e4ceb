#include "support/wayland/modulelog.h"

namespace support::wayland {
namespace {

LogFunction g_log = nullptr;

}  // namespace

void setModuleLog(LogFunction log) {
    g_log = log;
}

void moduleLog(int level, const char* file, const char* function, int line,
               const std::string& message) {
    if (g_log != nullptr) {
        g_log(level, file, function, line, message);
    }
}

}  // namespace support::wayland
