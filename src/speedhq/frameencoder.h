#pragma once
// The seam between a source and the encoder of its pictures.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "support/changedrows.h"

namespace speedhq {

enum class PixelFormat {
    Bgra,  ///< 4 bytes a pixel: blue, green, red, alpha. Alpha is ignored: pictures are opaque.
    Bgrx,  ///< As Bgra, the fourth byte without meaning.
    Uyvy,  ///< 2 bytes a pixel: Cb, Y0, Cr, Y1; limited range, matrix as the encoder would choose.
           ///< A row of odd width ends with a whole group, whose Y1 means nothing.
};

/// Somebody else's pixels, valid for one call.
struct PictureView {
    PixelFormat format = PixelFormat::Bgra;
    int width = 0;              ///< Pixels, 1 to 8192.
    int height = 0;             ///< Pixels, 1 to 8192.
    std::ptrdiff_t stride = 0;  ///< Bytes from one row to the next.
    const std::uint8_t* pixels = nullptr;
    int rateNumerator = 30000;  ///< Pictures a second, for the rate control.
    int rateDenominator = 1001;
};

/// One finished SpeedHQ packet. Immutable and shared: every receiver sends from the same bytes.
struct EncodedPicture {
    std::uint32_t fourCC = 0;  ///< Four characters, first one lowest: "SHQ2".
    /// The size to announce. The width is the source's, rounded up to a multiple of 16, because
    /// receivers disagree about other widths; the added columns repeat the last one.
    int width = 0;
    int height = 0;
    int quality = 0;  ///< The packet's quality byte, 0 to 99.
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};
using EncodedPicturePtr = std::shared_ptr<const EncodedPicture>;

/// The two pictures a receiver may ask for.
struct Streams {
    bool full = false;
    bool preview = false;  ///< About 640 pixels wide, same aspect.
};

struct EncodedStreams {
    EncodedPicturePtr full;     ///< Null when not wanted.
    EncodedPicturePtr preview;  ///< Null when not wanted.
};

/// Turns one source's pictures into packets. It keeps a copy of the newest picture, so that it can
/// be encoded again for a receiver that joins, or better while nothing moves, after the caller's
/// pixels are gone. One caller at a time.
class PictureEncoder {
public:
    virtual ~PictureEncoder() = default;

    /// Takes the picture over without encoding it: nobody watches. `changed` is measured against
    /// the picture of the previous keep() or encode().
    virtual void keep(const PictureView& picture, const support::ChangedRows& changed) = 0;

    /// keep(), then the packets of the wanted streams. A picture that did not change gives the very
    /// packet it gave before.
    [[nodiscard]] virtual EncodedStreams encode(const PictureView& picture,
                                                const support::ChangedRows& changed,
                                                Streams wanted) = 0;

    /// The packets of the kept picture, in equal or better quality than before. Empty when no
    /// picture has been taken yet. A picture that is as good as it gets is returned as it was,
    /// at no cost.
    [[nodiscard]] virtual EncodedStreams encodeKept(Streams wanted) = 0;
};

/// The encoder of the built-in output.
[[nodiscard]] std::unique_ptr<PictureEncoder> createPictureEncoder();

}  // namespace speedhq
