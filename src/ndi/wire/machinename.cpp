#include <algorithm>

#include "ndi/wire/sourcename.h"
#include "support/hostname.h"

namespace ndi::wire {

std::string machineName() {
    std::string name = support::hostName();
    if (name.empty()) {
        name = "localhost";
    }
    std::transform(name.begin(), name.end(), name.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return name;
}

}  // namespace ndi::wire
