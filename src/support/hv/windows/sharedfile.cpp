#include "support/hv/sharedfile.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <system_error>

namespace HV {

std::FILE* openShared(const std::filesystem::path& path) {
    // With the right to append alone, the system itself puts each write at the file's end. The C
    // library's own ways to open a file would keep others from renaming it.
    const HANDLE handle =
        CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                    FILE_ATTRIBUTE_NORMAL, nullptr);
    const std::error_code error(static_cast<int>(GetLastError()), std::system_category());
    if (handle != INVALID_HANDLE_VALUE) {
        const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_APPEND);
        if (std::FILE* const file = _fdopen(descriptor, "ab")) {
            return file;
        }
        CloseHandle(handle);
    }
    throw std::system_error(error, "opening " + path.string() + " for writing");
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
