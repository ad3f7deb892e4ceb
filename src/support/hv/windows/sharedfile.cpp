#include "support/hv/sharedfile.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <cerrno>
#include <system_error>

namespace HV {

std::FILE* openShared(const std::filesystem::path& path) {
    // With the right to append alone, the system itself puts each write at the file's end. The C
    // library's own ways to open a file would keep others from renaming it.
    const HANDLE handle =
        CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const auto error = static_cast<int>(GetLastError());
        throw std::system_error(error, std::system_category(),
                                "opening " + path.string() + " for writing");
    }
    // Each of the two takes over what it is given, if it succeeds.
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
    // The standard library would take the name for UTF-8.
    std::wstring wide(name.size(), L'\0');
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_ACP, 0, name.data(), static_cast<int>(name.size()), wide.data(),
                            static_cast<int>(wide.size()))));
    return wide;
}

}  // namespace HV
