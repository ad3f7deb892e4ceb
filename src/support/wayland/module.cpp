#include "support/wayland/module.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <mutex>

#include "support/log.h"

namespace support::wayland {
namespace {

constexpr char kFile[] = "tarsin-wayland.so";

std::vector<std::filesystem::path> folders() {
    std::vector<std::filesystem::path> paths;
    if (const char* folder = std::getenv("TARSIN_MODULES"); folder != nullptr) {
        paths.emplace_back(folder);
    }
    std::error_code ignored;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
    paths.push_back(folder);
    paths.push_back(folder / "../lib/tarsinndi");
    return paths;
}

void writeLog(int level, const char* file, const char* function, int line,
              const std::string& message) {
    logAt(level, file, function, line, message);
}

void* load(ModuleError& error) {
    const auto path = deliveredFile(kFile, error);
    if (path.empty()) {
        return nullptr;
    }
    void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        error = {::dlerror(), "install PipeWire's client library (libpipewire-0.3-0)"};
        return nullptr;
    }
    const auto version = reinterpret_cast<ModuleVersion>(::dlsym(module, kModuleVersion));
    const std::string found = version != nullptr ? version() : "unknown";
    if (found != programVersion()) {
        ::dlclose(module);
        error = {path.string() + " is of another build (" + found + ") than the program (" +
                     programVersion() + ")",
                 "install both together"};
        return nullptr;
    }
    reinterpret_cast<SetLog>(::dlsym(module, kSetLog))(writeLog);
    return module;
}

}  // namespace

std::filesystem::path deliveredFile(const char* file, ModuleError& error) {
    for (const auto& folder : folders()) {
        std::error_code ignored;
        if (std::filesystem::exists(folder / file, ignored)) {
            return folder / file;
        }
    }
    error = {std::string(file) + " is neither beside the program nor in ../lib/tarsinndi",
             "install the program anew"};
    return {};
}

const char* programVersion() {
    return TARSIN_MODULE_VERSION;
}

void* moduleFunction(const char* name, ModuleError& error) {
    // Never unloaded: PipeWire and GLib keep threads and per-thread data of their own.
    static std::mutex mutex;
    static void* module = nullptr;
    const std::lock_guard lock(mutex);
    if (module == nullptr) {
        module = load(error);
    }
    return module != nullptr ? ::dlsym(module, name) : nullptr;
}

}  // namespace support::wayland
