// Encodes a number of frames of one scene for callgrind. instructions.sh counts the instructions of
// bench::measured() only.
// usage: instructions ENCODER SCENE FRAMES        ENCODER: ours, libav
//                                                 SCENE: full, caret, scrolling, nothing

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "libavencoder.h"
#include "scenes.h"
#include "speedhq/incrementalencoder.h"

namespace bench {

constexpr int kQuality = 80;

/// Not inlined, because callgrind selects it by name.
__attribute__((noinline)) std::size_t measured(speedhq::IncrementalEncoder& encoder,
                                               const Desktop& desktop) {
    return encoder.encode(desktop.view(), desktop.dirty(), kQuality)->size;
}

__attribute__((noinline)) std::size_t measured(LibavEncoder& encoder, const Desktop& desktop) {
    const speedhq::FrameView view = desktop.view();
    return encoder.encodeBgra(view.pixels, view.stride).size;
}

}  // namespace bench

int main(int argc, char** argv) {
    constexpr const char* kNames[] = {"full", "caret", "scrolling", "nothing"};
    int scene = 0;
    while (argc == 4 && scene < 4 && std::strcmp(argv[2], kNames[scene]) != 0) {
        ++scene;
    }
    if (argc != 4 || scene == 4) {
        std::fprintf(stderr, "usage: instructions ours|libav full|caret|scrolling|nothing N\n");
        return 2;
    }
    bench::Desktop desktop(1920, 1080);
    speedhq::WorkerPool pool(1);
    speedhq::IncrementalEncoder encoder(pool, speedhq::bestKernels());
    bench::LibavEncoder libav(1920, 1080, bench::kQuality);
    (void)encoder.encode(desktop.view(), {}, bench::kQuality);
    (void)libav.encodeBgra(desktop.view().pixels, desktop.view().stride);
    std::size_t bytes = 0;
    for (int i = std::atoi(argv[3]); i > 0; --i) {
        desktop.advance(static_cast<bench::Scene>(scene));
        bytes += std::string(argv[1]) == "ours" ? bench::measured(encoder, desktop)
                                                : bench::measured(libav, desktop);
    }
    std::printf("%zu bytes\n", bytes);
}
