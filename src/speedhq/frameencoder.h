#pragma once
// The seam between a source and the encoder of its frames.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "support/dirtyrows.h"

namespace speedhq {

enum class PixelFormat {
    Bgra,  ///< 4 bytes a pixel: blue, green, red, alpha. Alpha is ignored: frames are opaque.
    Bgrx,  ///< As Bgra, the fourth byte without meaning.
    Uyvy,  ///< 2 bytes a pixel: Cb, Y0, Cr, Y1; limited range, matrix as the encoder would choose.
           ///< A row of odd width ends with a whole group, whose Y1 means nothing.
};

/// Somebody else's pixels, valid for one call.
struct FrameView {
    PixelFormat format = PixelFormat::Bgra;
    int width = 0;              ///< Pixels, 1 to 8192.
    int height = 0;             ///< Pixels, 1 to 8192.
    std::ptrdiff_t stride = 0;  ///< Bytes from one row to the next.
    const std::uint8_t* pixels = nullptr;
    int rateNumerator = 30000;  ///< Frames per second, for the rate control.
    int rateDenominator = 1001;
};

/// One finished SpeedHQ packet. Immutable and shared: every receiver sends from the same bytes.
struct EncodedFrame {
    std::uint32_t fourCC = 0;  ///< Four characters, first one lowest: "SHQ2".
    /// The size to announce. The width is the source's, rounded up to a multiple of 16, because
    /// receivers disagree about other widths; the added columns repeat the last one.
    int width = 0;
    int height = 0;
    int quality = 0;  ///< The packet's quality byte, 0 to 99.
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};
using EncodedFramePtr = std::shared_ptr<const EncodedFrame>;

/// The two frames a receiver may ask for.
struct Streams {
    bool main = false;
    bool preview = false;  ///< About 640 pixels wide, same aspect.
};

struct EncodedStreams {
    EncodedFramePtr main;     ///< Null when not wanted.
    EncodedFramePtr preview;  ///< Null when not wanted.
};

/// Turns one source's frames into packets. It keeps a copy of the newest frame, so that it can
/// be encoded again for a receiver that joins, or better while nothing moves, after the caller's
/// pixels are gone. One caller at a time.
class FrameEncoder {
public:
    virtual ~FrameEncoder() = default;

    /// Takes the frame over without encoding it: no receivers are connected. `changed` is measured
    /// against the frame of the previous updateReference() or encode().
    virtual void updateReference(const FrameView& frame, const support::DirtyRows& dirty) = 0;

    /// updateReference(), then the packets of the wanted streams. A frame that did not change gives
    /// the very packet it gave before.
    [[nodiscard]] virtual EncodedStreams encode(const FrameView& frame,
                                                const support::DirtyRows& dirty,
                                                Streams wanted) = 0;

    /// The packets of the kept frame, in equal or better quality than before. Empty when no
    /// frame has been taken yet. A frame that is as good as it gets is returned as it was,
    /// at no cost.
    [[nodiscard]] virtual EncodedStreams encodeReference(Streams wanted) = 0;
};

/// The encoder of the built-in output.
[[nodiscard]] std::unique_ptr<FrameEncoder> createFrameEncoder();

}  // namespace speedhq
