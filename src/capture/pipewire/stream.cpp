#include "capture/pipewire/stream.h"

#include <spa/buffer/meta.h>
#include <spa/param/props.h>
#include <spa/param/video/format-utils.h>
#include <spa/utils/result.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "capture/pipewire/pointermeta.h"
#include "capture/pipewire/streamparams.h"
#include "support/wayland/modulelog.h"

namespace capture::pipewire {
namespace {

constexpr std::size_t kMostDamage = 16;  ///< Rectangles; compositors send up to as many.

template <typename Meta>
const Meta* findMeta(const spa_buffer& buffer, std::uint32_t type) {
    return static_cast<const Meta*>(spa_buffer_find_meta_data(&buffer, type, sizeof(Meta)));
}

Damage rectangle(const spa_region& region) {
    return {region.position.x, region.position.y, static_cast<int>(region.size.width),
            static_cast<int>(region.size.height)};
}

/// The state of PipeWire's that is never taken down, because GLib's and its own threads may be
/// using it to the end.
void initialiseOnce() {
    static const bool done = [] {
        pw_init(nullptr, nullptr);
        return true;
    }();
    (void)done;
}

}  // namespace

struct Stream::Events {
    static Stream& self(void* data) { return *static_cast<Stream*>(data); }

    static constexpr pw_core_events core() {
        pw_core_events events{};
        events.version = PW_VERSION_CORE_EVENTS;
        events.info = [](void* data, const pw_core_info* info) { self(data).onCoreInfo(*info); };
        events.error = [](void* data, std::uint32_t id, int /*seq*/, int result,
                          const char* message) {
            if (id == PW_ID_CORE) {
                self(data).lose(std::string("PipeWire: ") + message + " (" + spa_strerror(result) +
                                ")");
            }
        };
        return events;
    }

    static constexpr pw_stream_events stream() {
        pw_stream_events events{};
        events.version = PW_VERSION_STREAM_EVENTS;
        events.state_changed = [](void* data, pw_stream_state /*old*/, pw_stream_state state,
                                  const char* error) { self(data).onState(state, error); };
        events.param_changed = [](void* data, std::uint32_t id, const spa_pod* param) {
            if (id == SPA_PARAM_Format) {
                self(data).onFormat(param);
            }
        };
        events.remove_buffer = [](void* data, pw_buffer* buffer) {
            self(data).m_box.withdraw(buffer);
        };
        events.process = [](void* data) { self(data).onProcess(); };
        return events;
    }
};

void Stream::LoopDeleter::operator()(pw_loop* loop) const {
    pw_loop_leave(loop);
    pw_loop_destroy(loop);
}

std::unique_ptr<Stream> Stream::open(EventLoop& loop, int remote, std::uint32_t node, FrameBox& box,
                                     bool withPointer, std::string& error) {
    initialiseOnce();
    std::unique_ptr<Stream> stream(new Stream(box, withPointer));
    if (!stream->connect(loop, remote, node, error)) {
        return nullptr;
    }
    return stream;
}

Stream::~Stream() {
    // Hooks are removed with the objects they are on; the order is that of PipeWire's own programs.
    m_stream.reset();
    m_core.reset();
    m_context.reset();
    m_source.reset();
}

bool Stream::connect(EventLoop& loop, int remote, std::uint32_t node, std::string& error) {
    static constexpr auto kCoreEvents = Events::core();
    static constexpr auto kStreamEvents = Events::stream();
    m_loop.reset(pw_loop_new(nullptr));
    pw_loop_enter(m_loop.get());
    m_source =
        loop.watch(pw_loop_get_fd(m_loop.get()), [this] { pw_loop_iterate(m_loop.get(), 0); });
    m_context.reset(pw_context_new(m_loop.get(), nullptr, 0));
    if (!m_context) {
        error = std::string("PipeWire's client library did not start: ") + std::strerror(errno);
        return false;
    }
    m_core.reset(remote >= 0 ? pw_context_connect_fd(m_context.get(), remote, nullptr, 0)
                             : pw_context_connect(m_context.get(), nullptr, 0));
    if (!m_core) {
        error = std::string("PipeWire can't be reached: ") + std::strerror(errno);
        return false;
    }
    pw_core_add_listener(m_core.get(), &m_coreHook, &kCoreEvents, this);
    m_stream.reset(
        pw_stream_new(m_core.get(), "tarsinndi",
                      pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY,
                                        "Capture", PW_KEY_MEDIA_ROLE, "Screen", nullptr)));
    if (!m_stream) {
        error = std::string("PipeWire made no stream: ") + std::strerror(errno);
        return false;
    }
    pw_stream_add_listener(m_stream.get(), &m_streamHook, &kStreamEvents, this);
    StreamParams params;
    const spa_pod* formats[] = {params.format()};
    // Without DONT_RECONNECT a stream whose compositor has gone waits for another node, silently.
    const auto flags = static_cast<pw_stream_flags>(
        PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_DONT_RECONNECT);
    const int result =
        pw_stream_connect(m_stream.get(), PW_DIRECTION_INPUT, node, flags, formats, 1);
    if (result < 0) {
        error = std::string("PipeWire did not connect the stream: ") + spa_strerror(result);
        return false;
    }
    return true;
}

void Stream::lose(const std::string& why) {
    if (m_lost.empty()) {
        m_lost = why;
        ++m_changes;
    }
}

void Stream::onCoreInfo(const pw_core_info& info) {
    if (m_serverVersion.empty() && info.version != nullptr) {
        m_serverVersion = info.version;
        ++m_changes;
    }
}

void Stream::onState(pw_stream_state state, const char* error) {
    const bool streaming = state == PW_STREAM_STATE_STREAMING;
    if (std::exchange(m_streaming, streaming) && !streaming) {
        m_pausedSince = Clock::now();
    }
    if (state == PW_STREAM_STATE_ERROR) {
        lose(std::string("the stream failed: ") + (error != nullptr ? error : "unknown error"));
    } else if (state == PW_STREAM_STATE_UNCONNECTED && m_connected) {
        lose("the compositor's stream has gone");
    }
    m_connected = m_connected || state == PW_STREAM_STATE_PAUSED || streaming;
    ++m_changes;
}

void Stream::onFormat(const spa_pod* param) {
    m_buildsOnLast = false;
    spa_video_info_raw format{};
    if (param == nullptr || spa_format_video_raw_parse(param, &format) < 0) {
        return;
    }
    m_order = pixelOrder(format.format);
    m_width = static_cast<int>(format.size.width);
    m_height = static_cast<int>(format.size.height);
    StreamParams params;
    const spa_pod* wanted[] = {
        params.buffers(),
        params.meta(SPA_META_Header, sizeof(spa_meta_header), 0),
        params.meta(SPA_META_VideoCrop, sizeof(spa_meta_region), 0),
        params.meta(SPA_META_VideoDamage, sizeof(spa_meta_region),
                    sizeof(spa_meta_region) * kMostDamage),
        params.meta(SPA_META_VideoTransform, sizeof(spa_meta_videotransform), 0),
        params.meta(SPA_META_Cursor, pointerMetaBytes(1), pointerMetaBytes(kLargestPointer))};
    pw_stream_update_params(m_stream.get(), wanted, std::size(wanted) - (m_withPointer ? 0 : 1));
}

void Stream::onProcess() {
    while (pw_buffer* buffer = pw_stream_dequeue_buffer(m_stream.get())) {
        if (!take(buffer)) {
            pw_stream_queue_buffer(m_stream.get(), buffer);
        }
    }
}

/// True: the box has taken the buffer.
bool Stream::take(pw_buffer* buffer) {
    const spa_buffer& content = *buffer->buffer;
    Damage crop;
    const auto image = imageOf(content, crop);
    m_crop = image ? crop : m_crop;
    readPointer(content);
    if (!image) {
        return false;
    }
    const bool damageKnown = readDamage(content, crop);
    if (pw_buffer* old = m_box.put(buffer, *image, damageKnown ? &m_damage : nullptr)) {
        pw_stream_queue_buffer(m_stream.get(), old);
    }
    const std::pair size(uprightWidth(*image), uprightHeight(*image));
    if (m_frames++ == 0 || m_size != size) {
        m_size = size;
        ++m_changes;
    }
    return true;
}

/// Nothing for a buffer that holds no image.
std::optional<Image> Stream::imageOf(const spa_buffer& buffer, Damage& crop) {
    const spa_data& data = buffer.datas[0];
    if (!m_order || buffer.n_datas == 0 || data.data == nullptr || data.chunk->size == 0 ||
        (data.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED) != 0) {
        return {};
    }
    crop = {0, 0, m_width, m_height};
    const auto* region = findMeta<spa_meta_region>(buffer, SPA_META_VideoCrop);
    if (region != nullptr && spa_meta_region_is_valid(region)) {
        crop = rectangle(region->region);
    }
    const std::size_t stride = data.chunk->stride > 0 ? static_cast<std::size_t>(data.chunk->stride)
                                                      : static_cast<std::size_t>(m_width) * 4;
    const std::size_t offset = data.chunk->offset;
    const auto bottom = static_cast<std::size_t>(crop.y) + static_cast<std::size_t>(crop.height);
    const auto right = static_cast<std::size_t>(crop.x) + static_cast<std::size_t>(crop.width);
    const bool fits = crop.x >= 0 && crop.y >= 0 && crop.width > 0 && crop.height > 0 &&
                      right * 4 <= stride && offset <= data.maxsize &&
                      (bottom - 1) * stride + right * 4 <= data.maxsize - offset;
    if (!fits) {
        if (!std::exchange(m_malformedSaid, true)) {
            MODULE_WARN(
                "the compositor sends frames that don't fit their buffers ({}x{} at {},{}, stride "
                "{}, {} bytes); they are left out",
                crop.width, crop.height, crop.x, crop.y, stride, data.maxsize);
        }
        return {};
    }
    Image image;
    image.pixels = static_cast<const std::uint8_t*>(data.data) + offset +
                   static_cast<std::size_t>(crop.y) * stride + static_cast<std::size_t>(crop.x) * 4;
    image.stride = stride;
    image.width = crop.width;
    image.height = crop.height;
    image.order = *m_order;
    if (const auto* turn = findMeta<spa_meta_videotransform>(buffer, SPA_META_VideoTransform)) {
        image.transform = static_cast<Transform>(turn->transform & 7U);
    }
    return image;
}

/// In a buffer without valid data about it the pointer is not on this screen.
void Stream::readPointer(const spa_buffer& buffer) {
    const spa_meta* const meta =
        m_withPointer ? spa_buffer_find_meta(&buffer, SPA_META_Cursor) : nullptr;
    if (meta == nullptr) {
        return;
    }
    PointerShape shape;
    bool reshaped = false;
    FrameBox::Pointer pointer;
    if (readPointerMeta(meta->data, meta->size, pointer, shape, reshaped)) {
        pointer.x -= m_crop.x;
        pointer.y -= m_crop.y;
    }
    m_box.putPointer(pointer, reshaped ? &shape : nullptr);
}

/// Fills m_damage. False: what changed is not known.
bool Stream::readDamage(const spa_buffer& buffer, const Damage& crop) {
    const auto* header = findMeta<spa_meta_header>(buffer, SPA_META_Header);
    // A frame that was dropped on its way took its damage with it.
    const bool follows = header == nullptr || header->seq == m_sequence + 1;
    m_sequence = header != nullptr ? header->seq : 0;
    const bool builds = std::exchange(m_buildsOnLast, true) && follows;
    const spa_meta* meta = spa_buffer_find_meta(&buffer, SPA_META_VideoDamage);
    if (meta == nullptr || !builds) {
        return false;
    }
    m_damage.clear();
    const auto* region = static_cast<const spa_meta_region*>(meta->data);
    const std::size_t most = meta->size / sizeof(spa_meta_region);
    for (std::size_t i = 0; i < most && spa_meta_region_is_valid(region + i); ++i) {
        Damage damage = rectangle(region[i].region);
        damage.x -= crop.x;
        damage.y -= crop.y;
        m_damage.push_back(damage);
    }
    // A frame that names no damage at all is one whose sender doesn't tell.
    return !m_damage.empty();
}

}  // namespace capture::pipewire
