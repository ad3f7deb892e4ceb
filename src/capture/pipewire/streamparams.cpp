#include "capture/pipewire/streamparams.h"

#include <spa/buffer/buffer.h>
#include <spa/param/buffers.h>
#include <spa/param/format.h>
#include <spa/param/param.h>

namespace capture::pipewire {
namespace {

constexpr spa_video_format kFormats[] = {SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA,
                                         SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA,
                                         SPA_VIDEO_FORMAT_xRGB};
constexpr spa_rectangle kUsualSize = {1920, 1080};
constexpr spa_rectangle kSmallest = {1, 1};
constexpr spa_rectangle kLargest = {16384, 16384};
constexpr spa_fraction kVariable = {0, 1};
constexpr spa_fraction kSlowest = {1, 1};
constexpr spa_fraction kUsualRate = {60, 1};
constexpr spa_fraction kFastest = {240, 1};

void addId(spa_pod_builder& builder, std::uint32_t key, std::uint32_t value) {
    spa_pod_builder_prop(&builder, key, 0);
    spa_pod_builder_id(&builder, value);
}

/// A choice whose first value is the preferred one.
template <typename Add>
void addChoice(spa_pod_builder& builder, std::uint32_t key, std::uint32_t kind, const Add& add) {
    spa_pod_frame frame{};
    spa_pod_builder_prop(&builder, key, 0);
    spa_pod_builder_push_choice(&builder, &frame, kind, 0);
    add();
    spa_pod_builder_pop(&builder, &frame);
}

void addRange(spa_pod_builder& builder, std::uint32_t key, int usual, int least, int most) {
    addChoice(builder, key, SPA_CHOICE_Range, [&] {
        for (const int value : {usual, least, most}) {
            spa_pod_builder_int(&builder, value);
        }
    });
}

void addRates(spa_pod_builder& builder, std::uint32_t key, const spa_fraction& usual,
              const spa_fraction& least) {
    addChoice(builder, key, SPA_CHOICE_Range, [&] {
        for (const auto& rate : {usual, least, kFastest}) {
            spa_pod_builder_fraction(&builder, rate.num, rate.denom);
        }
    });
}

}  // namespace

StreamParams::StreamParams()
    : m_memory(4096),
      m_builder{m_memory.data(), static_cast<std::uint32_t>(m_memory.size()), 0, {}, {}} {}

const spa_pod* StreamParams::format() {
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&m_builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    addId(m_builder, SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_video);
    addId(m_builder, SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_raw);
    addChoice(m_builder, SPA_FORMAT_VIDEO_format, SPA_CHOICE_Enum, [this] {
        spa_pod_builder_id(&m_builder, kFormats[0]);
        for (const auto format : kFormats) {
            spa_pod_builder_id(&m_builder, format);
        }
    });
    addChoice(m_builder, SPA_FORMAT_VIDEO_size, SPA_CHOICE_Range, [this] {
        for (const auto& size : {kUsualSize, kSmallest, kLargest}) {
            spa_pod_builder_rectangle(&m_builder, size.width, size.height);
        }
    });
    addRates(m_builder, SPA_FORMAT_VIDEO_framerate, kVariable, kVariable);
    addRates(m_builder, SPA_FORMAT_VIDEO_maxFramerate, kUsualRate, kSlowest);
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&m_builder, &frame));
}

const spa_pod* StreamParams::buffers() {
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&m_builder, &frame, SPA_TYPE_OBJECT_ParamBuffers,
                                SPA_PARAM_Buffers);
    addRange(m_builder, SPA_PARAM_BUFFERS_buffers, 4, 3, 8);
    addChoice(m_builder, SPA_PARAM_BUFFERS_dataType, SPA_CHOICE_Flags, [this] {
        spa_pod_builder_int(&m_builder, 1 << SPA_DATA_MemFd | 1 << SPA_DATA_MemPtr);
    });
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&m_builder, &frame));
}

const spa_pod* StreamParams::meta(std::uint32_t type, std::size_t size, std::size_t most) {
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&m_builder, &frame, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta);
    addId(m_builder, SPA_PARAM_META_type, type);
    if (most > size) {
        addRange(m_builder, SPA_PARAM_META_size, static_cast<int>(most), static_cast<int>(size),
                 static_cast<int>(most));
    } else {
        spa_pod_builder_prop(&m_builder, SPA_PARAM_META_size, 0);
        spa_pod_builder_int(&m_builder, static_cast<int>(size));
    }
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&m_builder, &frame));
}

std::optional<PixelOrder> pixelOrder(spa_video_format format) {
    switch (format) {
        case SPA_VIDEO_FORMAT_BGRx:
        case SPA_VIDEO_FORMAT_BGRA:
            return PixelOrder::Bgrx;
        case SPA_VIDEO_FORMAT_RGBx:
        case SPA_VIDEO_FORMAT_RGBA:
            return PixelOrder::Rgbx;
        case SPA_VIDEO_FORMAT_xRGB:
            return PixelOrder::Xrgb;
        default:
            return {};
    }
}

}  // namespace capture::pipewire
