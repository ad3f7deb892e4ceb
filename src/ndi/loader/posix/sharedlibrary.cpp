#include "ndi/loader/sharedlibrary.h"

#include <dlfcn.h>

#include <cstdlib>

namespace ndi {
namespace {

class PosixLibrary : public SharedLibrary {
public:
    explicit PosixLibrary(void* handle) : m_handle(handle) {}
    ~PosixLibrary() override {
        if (!m_stays) {
            ::dlclose(m_handle);
        }
    }
    PosixLibrary(const PosixLibrary&) = delete;
    PosixLibrary& operator=(const PosixLibrary&) = delete;

    [[nodiscard]] void* symbol(const char* name) const override { return ::dlsym(m_handle, name); }
    void stay() override { m_stays = true; }

private:
    bool m_stays = false;
    void* const m_handle;
};

}  // namespace

std::unique_ptr<SharedLibrary> loadLibrary(const std::string& path, std::string& reason) {
    void* const handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* const error = ::dlerror();
        reason = error != nullptr ? error : "unknown error";
        return nullptr;
    }
    return std::make_unique<PosixLibrary>(handle);
}

std::string libraryPathOf(const void* address) {
    Dl_info info{};
    return ::dladdr(address, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : "";
}

std::string environment(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::vector<std::string> vendorLibraryNames() {
    return {"libndi.so.6", "libndi.so.5", "libndi.so.4"};
}

bool vendorLibraryOnSearchPath() {
    return true;
}

}  // namespace ndi
