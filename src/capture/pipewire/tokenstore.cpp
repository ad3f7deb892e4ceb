#include "capture/pipewire/tokenstore.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

namespace capture::pipewire {
namespace {

/// A name as it can stand in a file's name: other characters as % and two digits.
std::string fileName(const std::string& screen) {
    std::string name;
    for (const char character : screen) {
        const auto byte = static_cast<unsigned char>(character);
        if (std::isalnum(byte) != 0 || character == '-' || character == '_') {
            name += character;
        } else {
            name += fmt::format("%{:02X}", byte);
        }
    }
    return name;
}

bool writeAll(int file, const std::string& text) {
    return ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

}  // namespace

TokenStore::TokenStore(std::string folder) : m_folder(std::move(folder)) {}

std::string TokenStore::settingsFolder() {
    const char* data = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    const std::string base = data != nullptr && *data == '/'
                                 ? data
                                 : std::string(home != nullptr ? home : "") + "/.local/share";
    return base + "/Halvark/TarsinNDI";
}

std::string TokenStore::path(const std::string& screen) const {
    return m_folder + "/screencast-" + fileName(screen) + ".token";
}

std::string TokenStore::load(const std::string& screen) const {
    std::ifstream file(path(screen));
    std::string token;
    std::getline(file, token);
    return token;
}

bool TokenStore::save(const std::string& screen, const std::string& token) const {
    std::error_code ignored;
    std::filesystem::create_directories(m_folder, ignored);
    // Written aside and renamed: another instance never reads half a token.
    const std::string aside = path(screen) + "." + std::to_string(::getpid());
    const int file = ::open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0) {
        return false;
    }
    const bool written = writeAll(file, token + "\n");
    ::close(file);
    std::error_code failed;
    std::filesystem::rename(aside, path(screen), failed);
    return written && !failed;
}

void TokenStore::drop(const std::string& screen) const {
    std::error_code ignored;
    std::filesystem::remove(path(screen), ignored);
}

}  // namespace capture::pipewire
