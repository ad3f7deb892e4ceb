#include "ndi/loader/sharedlibrary.h"

#include <windows.h>

#include <fmt/format.h>

#include "support/utf8.h"

namespace ndi {
namespace {

class WindowsLibrary : public SharedLibrary {
public:
    explicit WindowsLibrary(HMODULE module) : m_module(module) {}
    ~WindowsLibrary() override {
        if (!m_stays) {
            ::FreeLibrary(m_module);
        }
    }
    WindowsLibrary(const WindowsLibrary&) = delete;
    WindowsLibrary& operator=(const WindowsLibrary&) = delete;

    [[nodiscard]] void* symbol(const char* name) const override {
        return reinterpret_cast<void*>(::GetProcAddress(m_module, name));
    }
    void stay() override { m_stays = true; }

private:
    bool m_stays = false;
    const HMODULE m_module;
};

}  // namespace

std::unique_ptr<SharedLibrary> loadLibrary(const std::string& path, std::string& reason) {
    // Its dependencies are searched in its own folder, never in the current one.
    const HMODULE module = ::LoadLibraryExW(support::wideFromUtf8(path).c_str(), nullptr,
                                            LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module == nullptr) {
        reason = fmt::format("{}: error 0x{:08x}", path, ::GetLastError());
        return nullptr;
    }
    return std::make_unique<WindowsLibrary>(module);
}

std::string libraryPathOf(const void* address) {
    HMODULE module = nullptr;
    if (::GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            static_cast<LPCWSTR>(address), &module) == 0) {
        return {};
    }
    std::wstring path(32768, L'\0');
    path.resize(::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
    return support::utf8FromWide(path);
}

std::string environment(const char* name) {
    std::wstring value(32768, L'\0');
    value.resize(::GetEnvironmentVariableW(support::wideFromUtf8(name).c_str(), value.data(),
                                           static_cast<DWORD>(value.size())));
    return support::utf8FromWide(value);
}

std::vector<std::string> vendorLibraryNames() {
    return {"Processing.NDI.Lib.x64.dll"};
}

bool vendorLibraryOnSearchPath() {
    return false;
}

}  // namespace ndi
