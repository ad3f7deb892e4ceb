#include <algorithm>
#include <asio/ip/host_name.hpp>

#include "ndi/wire/sourcename.h"
#include "support/utf8.h"

namespace ndi::wire {

std::string machineName() {
    asio::error_code error;
    std::string name = asio::ip::host_name(error);
    name = support::cleanUtf8(std::string_view(name).substr(0, name.find('.')));
    if (error || name.empty()) {
        name = "localhost";
    }
    std::transform(name.begin(), name.end(), name.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return name;
}

}  // namespace ndi::wire
