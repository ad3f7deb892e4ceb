// Encodes a number of pictures of one scene, for callgrind: instructions.sh counts what
// bench::measured() does and nothing else.
// usage: instructions ENCODER SCENE PICTURES      ENCODER: ours, libav
//                                                 SCENE: full, caret, scrolling, nothing

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "libavencoder.h"
#include "scenes.h"
#include "speedhq/picturecoder.h"

namespace bench {

constexpr int kQuality = 80;

/// Not inlined: callgrind finds it by its name.
__attribute__((noinline)) std::size_t measured(speedhq::PictureCoder& coder,
                                               const Desktop& desktop) {
    return coder.encode(desktop.view(), desktop.changed(), kQuality)->size;
}

__attribute__((noinline)) std::size_t measured(LibavEncoder& encoder, const Desktop& desktop) {
    const speedhq::PictureView view = desktop.view();
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
    speedhq::RowPool pool(1);
    speedhq::PictureCoder coder(pool, speedhq::bestKernels());
    bench::LibavEncoder libav(1920, 1080, bench::kQuality);
    (void)coder.encode(desktop.view(), {}, bench::kQuality);
    (void)libav.encodeBgra(desktop.view().pixels, desktop.view().stride);
    std::size_t bytes = 0;
    for (int i = std::atoi(argv[3]); i > 0; --i) {
        desktop.advance(static_cast<bench::Scene>(scene));
        bytes += std::string(argv[1]) == "ours" ? bench::measured(coder, desktop)
                                                : bench::measured(libav, desktop);
    }
    std::printf("%zu bytes\n", bytes);
}
