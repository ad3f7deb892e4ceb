#include "support/hostname.h"

#include <windows.h>

#include "support/utf8.h"

namespace support {
namespace {

std::wstring wideHostName() {
    // gethostname() would give bytes of the code page, with "?" for every character that it lacks.
    DWORD size = 0;
    GetComputerNameExW(ComputerNameDnsHostname, nullptr, &size);
    std::wstring name(size, L'\0');
    if (size == 0 || !GetComputerNameExW(ComputerNameDnsHostname, name.data(), &size)) {
        return {};
    }
    name.resize(size);  // Without the closing zero now.
    return name;
}

}  // namespace

std::string hostName() {
    const std::wstring name = wideHostName();
    return cleanUtf8(utf8FromWide(name.substr(0, name.find(L'.'))));
}

}  // namespace support
