#include "support/hv/sharedfile.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cerrno>
#include <system_error>

namespace HV {

std::FILE* openShared(const std::filesystem::path& path) {
    // With append access only, the system writes at the end of the file. A file opened by the C
    // library can't be renamed by others.
    const HANDLE handle =
        CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const auto error = static_cast<int>(GetLastError());
        throw std::system_error(error, std::system_category(),
                                "opening " + path.string() + " for writing");
    }
    // Each call takes ownership of its argument when it succeeds.
    const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_APPEND);
    std::FILE* const file = descriptor < 0 ? nullptr : _fdopen(descriptor, "ab");
    if (file == nullptr) {
        const int error = errno;
        if (descriptor < 0) {
            CloseHandle(handle);
        } else {
            _close(descriptor);
        }
        throw std::system_error(error, std::generic_category(),
                                "opening " + path.string() + " for writing");
    }
    return file;
}

std::filesystem::path localPath(const std::string& name) {
    // The standard library would take each byte for a character. Before Windows 10 version 1903 the
    // system's encoding is not UTF-8, while the program's own names are.
    for (const UINT encoding : {UINT{CP_UTF8}, UINT{CP_ACP}}) {
        std::wstring wide(name.size(), L'\0');
        wide.resize(static_cast<std::size_t>(MultiByteToWideChar(
            encoding, MB_ERR_INVALID_CHARS, name.data(), static_cast<int>(name.size()), wide.data(),
            static_cast<int>(wide.size()))));
        if (!wide.empty()) {
            return wide;
        }
    }
    return {};
}

}  // namespace HV
