// Sound and picture as SDL finds them. (That a taken name is numbered shows in the whole program.)

#include "sender/ndisource.h"

#define SDL_MAIN_HANDLED
#include <SDL.h>
#include <gmock/gmock.h>

#include <csignal>

namespace {

TEST(Media, ComeUpWithoutHardwareAndLeaveSignalsAlone) {
    const auto real = NdiSourceCalls::real();
    // What a machine without sound looks like to SDL: no driver that works.
    SDL_SetHintWithPriority(SDL_HINT_AUDIODRIVER, "none such", SDL_HINT_DEFAULT);
    EXPECT_EQ(real.initializeMedia(), std::nullopt);
    EXPECT_EQ(SDL_WasInit(49), 49U);
    SDL_Quit();
    EXPECT_EQ(std::signal(SIGTERM, SIG_DFL), SIG_DFL) << "SIGTERM would no longer end the program";

    // But a driver asked for in the environment must exist.
    SDL_ClearHints();
    SDL_setenv("SDL_AUDIODRIVER", "none such", 1);
    EXPECT_THAT(real.initializeMedia().value_or(""), testing::HasSubstr("none such"));
    SDL_setenv("SDL_AUDIODRIVER", "", 1);  // As good as unset to SDL.
}

}  // namespace
