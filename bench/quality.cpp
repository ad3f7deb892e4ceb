// Prints packet sizes and PSNR of this encoder, with several values of the rounding, and of
// libavcodec's encoder, for the same samples and qualities.

#include <algorithm>
#include <cstdio>

#include "libavencoder.h"
#include "scenes.h"
#include "speedhq/incrementalencoder.h"
#include "support/libavspeedhq.h"
#include "unit/speedhq/testframes.h"

namespace {

using namespace tests;

/// The desktop as planes for libavcodec's encoder, and the same samples as UYVY for this one.
void prepare(Planes& planes, TestFrame& packed) {
    const bench::Desktop desktop(packed.width, packed.height);
    const speedhq::FrameView view = desktop.view();
    TestFrame pixels(speedhq::PixelFormat::Bgra, packed.width, packed.height);
    for (int y = 0; y < packed.height; ++y) {
        std::copy_n(view.pixels + y * view.stride, pixels.lineBytes, pixels.at(0, y));
    }
    planes = expectedPlanes(pixels);
    std::size_t luma = 0;
    std::size_t chroma = 0;
    for (int y = 0; y < packed.height; ++y) {
        for (int x = 0; x < packed.width; x += 2, ++chroma) {
            std::uint8_t* const group = packed.at(x, y);
            group[0] = planes.cb[chroma];
            group[1] = planes.y[luma++];
            group[2] = planes.cr[chroma];
            group[3] = planes.y[luma++];
        }
    }
}

}  // namespace

int main() {
    constexpr int kWidth = 1920;
    constexpr int kHeight = 1080;
    Planes planes;
    TestFrame packed(speedhq::PixelFormat::Uyvy, kWidth, kHeight);
    prepare(planes, packed);
    std::printf("quality  libavcodec: bytes  PSNR Y  rounding  ours: bytes           PSNR Y\n");
    for (const int quality : {98, 96, 92, 88, 80, 60, 38}) {
        bench::LibavEncoder libav(kWidth, kHeight, quality);
        const bench::LibavEncoder::Packet theirs = libav.encode(planes);
        const double theirPsnr =
            psnr(decodeWithLibav(theirs.data, theirs.size, kWidth, kHeight).y, planes.y);
        for (const double rounding : {0.33, speedhq::kRounding, 0.42, 0.5}) {
            speedhq::WorkerPool pool(1);
            speedhq::IncrementalEncoder encoder(pool, speedhq::bestKernels(),
                                                speedhq::kMaxSliceBytes, rounding);
            const auto ours = encoder.encode(packed.view(), {}, quality);
            const Planes decoded = decodeWithLibav(ours->data, ours->size, kWidth, kHeight);
            const double ourPsnr = psnr(decoded.y, planes.y);
            const double more =
                100.0 * static_cast<double>(ours->size) / static_cast<double>(theirs.size) - 100;
            std::printf("%7d %18zu %7.2f %9.3f %12zu (%+5.2f %%) %7.2f (%+.2f)\n", quality,
                        theirs.size, theirPsnr, rounding, ours->size, more, ourPsnr,
                        ourPsnr - theirPsnr);
        }
    }
}
