#pragma once
// The interface between a source and its frame encoder.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "speedhq/colour.h"
#include "support/dirtyrows.h"

namespace speedhq {

enum class PixelFormat {
    Bgra,  ///< 4 bytes a pixel: blue, green, red, alpha. Alpha is ignored: frames are opaque.
    Bgrx,  ///< Like Bgra; the fourth byte is undefined.
    Uyvy,  ///< 2 bytes a pixel: Cb, Y0, Cr, Y1; limited range, the matrix being the caller's.
           ///< A row of odd width ends with a complete group whose Y1 is undefined.
};

/// A view of the caller's pixels. The encoder reads them during the call only.
struct FrameView {
    PixelFormat format = PixelFormat::Bgra;
    int width = 0;              ///< Pixels, 1 to 8192.
    int height = 0;             ///< Pixels, 1 to 8192.
    std::ptrdiff_t stride = 0;  ///< Bytes from one row to the next.
    const std::uint8_t* pixels = nullptr;
    int rateNumerator = 30000;  ///< Frames per second, for the rate control.
    int rateDenominator = 1001;
    /// The matrix of the main stream, for pixels that are not Uyvy. A preview of 720x576 or less
    /// from a larger frame has BT.601 always: receivers judge it by its own size.
    ColourChoice colours = ColourChoice::Automatic;
};

/// One complete SpeedHQ packet. Immutable and shared: all receivers get the same bytes.
struct EncodedFrame {
    std::uint32_t fourCC = 0;  ///< "SHQ2", the first character in the lowest byte.
    /// The size to announce. The width is the frame's, rounded up to a multiple of 16, because
    /// receivers handle other widths differently. The added columns repeat the last one.
    int width = 0;
    int height = 0;
    int quality = 0;  ///< The packet's quality byte, 0 to 99.
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};
using EncodedFramePtr = std::shared_ptr<const EncodedFrame>;

/// The streams that at least one receiver wants.
struct Streams {
    bool main = false;
    bool preview = false;  ///< About 640 pixels wide, same aspect.
};

struct EncodedStreams {
    EncodedFramePtr main;     ///< Null when not wanted.
    EncodedFramePtr preview;  ///< Likewise.
};

/// Encodes the frames of one source. It keeps the newest frame as its reference frame. So it can
/// encode that frame again, for a receiver that joins or in better quality while the screen is
/// still, when the caller's pixels are gone. One caller at a time.
class FrameEncoder {
public:
    virtual ~FrameEncoder() = default;

    /// Makes the frame the reference frame without encoding it, for when no receivers are
    /// connected. `dirty` is relative to the frame of the previous updateReference() or encode().
    /// Known dirty rows are read in macroblocks, 16 pixels wide, that their columns touch; nothing
    /// else is.
    virtual void updateReference(const FrameView& frame, const support::DirtyRows& dirty) = 0;

    /// Makes the frame the reference frame and returns the packets of the wanted streams. An
    /// unchanged frame gives the same packet object as before.
    [[nodiscard]] virtual EncodedStreams encode(const FrameView& frame,
                                                const support::DirtyRows& dirty,
                                                Streams wanted) = 0;

    /// The packets of the reference frame, in equal or better quality than before. Null when there
    /// is no reference frame yet. Once the best quality is reached, every call returns the same
    /// packet object at no cost.
    [[nodiscard]] virtual EncodedStreams encodeReference(Streams wanted) = 0;
};

/// The encoder of the built-in output.
[[nodiscard]] std::unique_ptr<FrameEncoder> createFrameEncoder();

}  // namespace speedhq
