#include <fmt/format.h>

#include <utility>
#include <vector>

#include "ndi/loader/sharedlibrary.h"
#include "ndi/sendlibrary.h"
#include "support/log.h"

namespace ndi {
namespace {

template <typename Function>
bool bind(const SharedLibrary& library, const char* name, Function& function, std::string& reason) {
    function = reinterpret_cast<Function>(library.symbol(name));
    if (function == nullptr) {
        reason = fmt::format("it does not export {}", name);
    }
    return function != nullptr;
}

class VendorLibrary : public SendLibrary {
public:
    /// Null when the library can't be used; `reason` says why.
    static std::unique_ptr<VendorLibrary> open(std::unique_ptr<SharedLibrary> library,
                                               std::string& path, std::string& reason) {
        std::unique_ptr<VendorLibrary> vendor(new VendorLibrary(std::move(library)));
        const SharedLibrary& file = *vendor->m_library;
        decltype(&NDIlib_initialize) initialize = nullptr;
        if (!bind(file, "NDIlib_initialize", initialize, reason) ||
            !bind(file, "NDIlib_send_create", vendor->m_create, reason) ||
            !bind(file, "NDIlib_send_send_video_v2", vendor->m_send, reason) ||
            !bind(file, "NDIlib_send_destroy", vendor->m_destroy, reason)) {
            return nullptr;
        }
        if (!initialize()) {
            reason = "its NDIlib_initialize() reports that it can't run on this machine";
            return nullptr;
        }
        vendor->m_library->stay();
        path = libraryPathOf(reinterpret_cast<const void*>(initialize));
        return vendor;
    }

    NDIlib_send_instance_t create(const NDIlib_send_create_t* settings) override {
        return m_create(settings);
    }
    void send(NDIlib_send_instance_t instance, const NDIlib_video_frame_v2_t* frame) override {
        m_send(instance, frame);
    }
    void destroy(NDIlib_send_instance_t instance) override { m_destroy(instance); }
    void hint(NDIlib_send_instance_t /*instance*/, const support::DirtyRows& /*rows*/) override {}
    [[nodiscard]] bool readsAlpha() const override { return true; }
    [[nodiscard]] SourceStatus status(NDIlib_send_instance_t /*instance*/) override { return {}; }
    void configure(OutputSettings settings) override {
        const OutputSettings defaults;
        if (!settings.networkInterfaces.empty() || !settings.allowedReceivers.empty() ||
            settings.maximumReceivers != defaults.maximumReceivers ||
            settings.firstPort != defaults.firstPort) {
            HV_WARN(
                "the settings for network interfaces, receivers and ports have no effect: the "
                "vendor's runtime publishes the sources");
        }
    }

private:
    explicit VendorLibrary(std::unique_ptr<SharedLibrary> library)
        : m_library(std::move(library)) {}

    std::unique_ptr<SharedLibrary> m_library;
    decltype(&NDIlib_send_create) m_create = nullptr;
    decltype(&NDIlib_send_send_video_v2) m_send = nullptr;
    decltype(&NDIlib_send_destroy) m_destroy = nullptr;
};

struct Candidate {
    std::string path;
    bool promised;  ///< Named by a variable, so its absence is an error.
};

std::vector<Candidate> candidates(const Environment& variable) {
    std::vector<Candidate> result;
    for (const char* name : {"NDI_RUNTIME_DIR_V6", "NDI_RUNTIME_DIR_V5", "NDI_RUNTIME_DIR_V4"}) {
        const std::string folder = variable(name);
        for (const auto& file : vendorLibraryNames()) {
            if (!folder.empty()) {
                result.push_back({fmt::format("{}/{}", folder, file), true});
            }
        }
    }
    if (result.empty() && vendorLibraryOnSearchPath()) {
        for (auto& file : vendorLibraryNames()) {
            result.push_back({file, false});
        }
    }
    return result;
}

}  // namespace

std::unique_ptr<SendLibrary> loadVendorLibrary(const Environment& environment, std::string& path,
                                               std::string& reason) {
    reason.clear();
    for (const auto& candidate : candidates(environment)) {
        std::string error;
        auto file = loadLibrary(candidate.path, error);
        const bool found = file != nullptr;
        if (found) {
            if (auto vendor = VendorLibrary::open(std::move(file), path, error)) {
                return vendor;
            }
            error = fmt::format("{}: {}", candidate.path, error);
        }
        if (found || candidate.promised) {
            reason.append(reason.empty() ? "" : "; ").append(error);
        }
    }
    return nullptr;
}

}  // namespace ndi
