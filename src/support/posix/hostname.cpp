#include "support/hostname.h"

#include <unistd.h>

#include <array>
#include <string_view>

#include "support/utf8.h"

namespace support {

std::string hostName() {
    std::array<char, 256> buffer{};  // POSIX: at most 255 bytes.
    if (gethostname(buffer.data(), buffer.size() - 1) != 0) {
        return {};
    }
    const std::string_view name(buffer.data());
    return cleanUtf8(name.substr(0, name.find('.')));
}

}  // namespace support
