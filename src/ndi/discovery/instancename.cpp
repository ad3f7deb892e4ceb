#include "ndi/discovery/instancename.h"

#include <fmt/format.h>

namespace ndi::mdns {
namespace {

/// Bytes of the character that starts with `lead`; 0 when none does.
std::size_t characterLength(unsigned char lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return 0;
    }
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

bool isUtf8(const std::string& text) {
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = characterLength(static_cast<unsigned char>(text[i]));
        if (length == 0 || length > text.size() - i) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0U) != 0x80U) {
                return false;
            }
        }
        i += length;
    }
    return true;
}

}  // namespace

std::string whyNotAnInstance(const std::string& instance) {
    if (instance.empty()) {
        return "the name of the service is empty";
    }
    if (instance.size() > 63) {
        return fmt::format("the name \"{}\" has {} bytes, a service name may have 63", instance,
                           instance.size());
    }
    if (!isUtf8(instance)) {
        return "the name of the service is not UTF-8";
    }
    return {};
}

}  // namespace ndi::mdns
