#pragma once
// One video stream of the compositor's, received through PipeWire.

#include <pipewire/pipewire.h>
#include <spa/param/video/raw.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture/pipewire/eventloop.h"
#include "capture/pipewire/framebox.h"

namespace capture::pipewire {

/// Connects to PipeWire, receives a node's frames and leaves them in a FrameBox. Belongs to the
/// thread that runs the event loop.
///
/// Frames without an image (size 0, or marked as corrupted: mutter sends them for a pointer that
/// moved) are skipped but for the pointer in them.
class Stream {
public:
    using Clock = std::chrono::steady_clock;

    /// `remote`: a connection to PipeWire, closed in every case; negative: the user's PipeWire.
    /// `loop` and `box` outlive the stream. `withPointer`: the box gets the pointer, too, where it
    /// comes apart from the frames. Null: `error` says why.
    [[nodiscard]] static std::unique_ptr<Stream> open(EventLoop& loop, int remote,
                                                      std::uint32_t node, FrameBox& box,
                                                      bool withPointer, std::string& error);
    ~Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    /// Why no more frames can come; "" while they can.
    [[nodiscard]] const std::string& lost() const { return m_lost; }

    [[nodiscard]] bool streaming() const { return m_streaming; }

    /// Since when the stream has not been in the state "streaming".
    [[nodiscard]] Clock::time_point pausedSince() const { return m_pausedSince; }

    /// Size of the upright frames, {0, 0} until the first one.
    [[nodiscard]] std::pair<int, int> size() const { return m_size; }

    /// Size of the frames as negotiated, neither cropped nor turned; {0, 0} before that.
    [[nodiscard]] std::pair<int, int> negotiatedSize() const { return {m_width, m_height}; }

    /// Frames received, those without an image not counted.
    [[nodiscard]] std::uint64_t frames() const { return m_frames; }

    /// Goes up with everything that the functions above report, frames after the first excepted.
    [[nodiscard]] unsigned changes() const { return m_changes; }

    /// Version of the PipeWire server, "" until it has told.
    [[nodiscard]] const std::string& serverVersion() const { return m_serverVersion; }

private:
    struct LoopDeleter {
        void operator()(pw_loop* loop) const;
    };
    struct ContextDeleter {
        void operator()(pw_context* context) const { pw_context_destroy(context); }
    };
    struct CoreDeleter {
        void operator()(pw_core* core) const { pw_core_disconnect(core); }
    };
    struct StreamDeleter {
        void operator()(pw_stream* stream) const { pw_stream_destroy(stream); }
    };
    struct Events;

    Stream(FrameBox& box, bool withPointer) : m_box(box), m_withPointer(withPointer) {}
    [[nodiscard]] bool connect(EventLoop& loop, int remote, std::uint32_t node, std::string& error);
    void lose(const std::string& why);

    void onCoreInfo(const pw_core_info& info);
    void onState(pw_stream_state state, const char* error);
    void onFormat(const spa_pod* param);
    void onProcess();
    [[nodiscard]] bool take(pw_buffer* buffer);
    [[nodiscard]] std::optional<Image> imageOf(const spa_buffer& buffer, Damage& crop);
    void readPointer(const spa_buffer& buffer);
    [[nodiscard]] bool readDamage(const spa_buffer& buffer, const Damage& crop);

    FrameBox& m_box;
    const bool m_withPointer;
    std::unique_ptr<pw_loop, LoopDeleter> m_loop;
    GHolder<GSource> m_source;
    std::unique_ptr<pw_context, ContextDeleter> m_context;
    std::unique_ptr<pw_core, CoreDeleter> m_core;
    spa_hook m_coreHook{};
    std::unique_ptr<pw_stream, StreamDeleter> m_stream;
    spa_hook m_streamHook{};

    std::string m_lost;
    std::string m_serverVersion;
    std::pair<int, int> m_size{0, 0};
    bool m_connected = false;
    bool m_streaming = false;
    bool m_malformedSaid = false;
    Clock::time_point m_pausedSince = Clock::now();
    std::uint64_t m_frames = 0;
    unsigned m_changes = 0;

    std::optional<PixelOrder> m_order;
    int m_width = 0;  ///< As negotiated.
    int m_height = 0;
    bool m_buildsOnLast = false;  ///< The next frame's damage is against a frame that we had.
    std::uint64_t m_sequence = 0;
    std::vector<Damage> m_damage;  ///< Of the frame at hand.
    Damage m_crop;                 ///< Of the newest frame.
};

}  // namespace capture::pipewire
