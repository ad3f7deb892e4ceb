#include "support/hv/sharedfile.h"

#include <cerrno>
#include <system_error>

namespace HV {

std::FILE* openShared(const std::filesystem::path& path) {
    std::FILE* const file = std::fopen(path.c_str(), "abe");
    if (file == nullptr) {
        throw std::system_error(errno, std::generic_category(),
                                "opening " + path.string() + " for writing");
    }
    return file;
}

std::filesystem::path localPath(const std::string& name) {
    return name;
}

}  // namespace HV
