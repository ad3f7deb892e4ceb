#include "ndi/ndilibrary.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "ndi/loader/sharedlibrary.h"
#include "ndi/sendlibrary.h"
#include "support/log.h"

// The vendor's runtime reads these records by position.
static_assert(sizeof(void*) == 8, "the layouts below are those of 64-bit machines");
static_assert(sizeof(NDIlib_send_create_t) == 24);
static_assert(offsetof(NDIlib_send_create_t, p_groups) == 8);
static_assert(offsetof(NDIlib_send_create_t, clock_video) == 16);
static_assert(offsetof(NDIlib_send_create_t, clock_audio) == 17);
static_assert(sizeof(NDIlib_video_frame_v2_t) == 72);
static_assert(offsetof(NDIlib_video_frame_v2_t, FourCC) == 8);
static_assert(offsetof(NDIlib_video_frame_v2_t, frame_rate_N) == 12);
static_assert(offsetof(NDIlib_video_frame_v2_t, frame_rate_D) == 16);
static_assert(offsetof(NDIlib_video_frame_v2_t, picture_aspect_ratio) == 20);
static_assert(offsetof(NDIlib_video_frame_v2_t, frame_format_type) == 24);
static_assert(offsetof(NDIlib_video_frame_v2_t, timecode) == 32);
static_assert(offsetof(NDIlib_video_frame_v2_t, p_data) == 40);
static_assert(offsetof(NDIlib_video_frame_v2_t, line_stride_in_bytes) == 48);
static_assert(offsetof(NDIlib_video_frame_v2_t, p_metadata) == 56);
static_assert(offsetof(NDIlib_video_frame_v2_t, timestamp) == 64);

namespace {

std::unique_ptr<ndi::SendLibrary> chooseLibrary() {
    std::string path;
    std::string reason;
    if (auto vendor = ndi::loadVendorLibrary(ndi::environment, path, reason)) {
        HV_INFO("NDI: using the vendor's runtime {}", path);
        return vendor;
    }
    const std::string self = ndi::libraryPathOf(reinterpret_cast<const void*>(&chooseLibrary));
    if (reason.empty()) {
        HV_INFO("NDI: using the built-in output in {}; the vendor's runtime is not installed",
                self);
    } else {
        HV_WARN("NDI: using the built-in output in {}; the vendor's runtime can't be used: {}",
                self, reason);
    }
    return ndi::makeBuiltInLibrary();
}

/// The implementation, chosen once by the first NDIlib_initialize().
class Choice {
public:
    void make() {
        std::call_once(m_once, [this] {
            auto library = chooseLibrary();
            const std::lock_guard lock(m_mutex);
            m_library = std::move(library);
            if (m_settings) {
                m_library->configure(*m_settings);
            }
            m_made = m_library.get();
        });
    }
    void configure(ndi::OutputSettings settings) {
        const std::lock_guard lock(m_mutex);
        m_settings = std::move(settings);
        if (m_library != nullptr) {
            m_library->configure(*m_settings);
        }
    }
    [[nodiscard]] ndi::SendLibrary* library(const char* caller) {
        ndi::SendLibrary* const library = m_made;
        if (library == nullptr) {
            HV_ERROR("{} was called before NDIlib_initialize()", caller);
        }
        return library;
    }

private:
    std::once_flag m_once;
    std::mutex m_mutex;  ///< Of m_library's making, and m_settings.
    std::optional<ndi::OutputSettings> m_settings;
    std::unique_ptr<ndi::SendLibrary> m_library;
    std::atomic<ndi::SendLibrary*> m_made{nullptr};
};

Choice& choice() {
    static Choice theChoice;
    return theChoice;
}

}  // namespace

bool NDIlib_initialize() {
    choice().make();
    return true;
}

NDIlib_send_instance_t NDIlib_send_create(const NDIlib_send_create_t* p_create_settings) {
    auto* const library = choice().library(__func__);
    return library != nullptr ? library->create(p_create_settings) : nullptr;
}

void NDIlib_send_send_video_v2(NDIlib_send_instance_t p_instance,
                               const NDIlib_video_frame_v2_t* p_video_data) {
    if (auto* const library = choice().library(__func__)) {
        library->send(p_instance, p_video_data);
    }
}

void NDIlib_send_destroy(NDIlib_send_instance_t p_instance) {
    if (auto* const library = choice().library(__func__)) {
        library->destroy(p_instance);
    }
}

namespace ndi {

void hintDirtyRows(NDIlib_send_instance_t instance, const support::DirtyRows& dirty) {
    if (auto* const library = choice().library(__func__)) {
        library->hint(instance, dirty);
    }
}

bool readsAlpha() {
    const auto* const library = choice().library(__func__);
    return library == nullptr || library->readsAlpha();
}

SourceStatus sourceStatus(NDIlib_send_instance_t instance) {
    auto* const library = choice().library(__func__);
    return library != nullptr ? library->status(instance) : SourceStatus();
}

void configureOutput(OutputSettings settings) {
    choice().configure(std::move(settings));
}

}  // namespace ndi
