#include "mdns/names.h"

#include <fmt/format.h>

#include <utility>

#include "support/utf8.h"

namespace mdns {

std::string instanceNameError(const std::string& instance) {
    constexpr std::size_t kMaxInstanceName = 63;  // Bytes in a DNS label (RFC 1035).
    if (instance.empty()) {
        return "the name of the service is empty";
    }
    if (instance.size() > kMaxInstanceName) {
        return fmt::format("the name \"{}\" has {} bytes; a service name may have {}", instance,
                           instance.size(), kMaxInstanceName);
    }
    if (support::cleanUtf8(instance) != instance) {
        return "the name of the service is not UTF-8 or has control characters";
    }
    return {};
}

InstanceNames::InstanceNames(std::string first,
                             std::function<std::string(unsigned number)> numbered)
    : m_numbered(std::move(numbered)), m_current(std::move(first)) {}

bool InstanceNames::takeNext() {
    constexpr unsigned kMaxNumber = 9999;
    while (m_mayRename && m_numbered && m_number < kMaxNumber) {
        std::string next = m_numbered(++m_number);
        if (next.empty()) {
            return false;
        }
        if (next != m_current && instanceNameError(next).empty()) {
            m_current = std::move(next);
            return true;
        }
    }
    return false;
}

}  // namespace mdns
