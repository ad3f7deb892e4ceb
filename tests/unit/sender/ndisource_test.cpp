#include "sender/ndisource.h"

#define SDL_MAIN_HANDLED
#include <SDL.h>
#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>

namespace {

NDIlib_send_instance_t handle(std::uintptr_t value) {
    return reinterpret_cast<NDIlib_send_instance_t>(value);
}

TEST(NdiSource, TriesSeventeenNamesAndTellsWhatFails) {
    std::string calls;
    int failures = 0;
    std::optional<std::string> mediaError;
    const NdiSourceCalls stubs{[] { return true; }, [&] { return mediaError; },
                               [&](const NDIlib_send_create_t* settings) {
                                   calls += std::string(settings->p_ndi_name) + ", ";
                                   return failures-- > 0 ? nullptr : handle(7);
                               },
                               [&](NDIlib_send_instance_t) { calls += "destroy, "; },
                               [&](int milliseconds) { EXPECT_EQ(milliseconds, 1000); }};
    auto instance = handle(0);
    failures = 2;
    createNdiSource("Cam", instance, stubs);
    EXPECT_EQ(calls, "Cam, Cam1, Cam2, ");
    EXPECT_EQ(instance, handle(7));

    calls.clear();
    failures = 1000;
    createNdiSource("Cam", instance, stubs);
    EXPECT_EQ(calls,
              "destroy, Cam, Cam1, Cam2, Cam3, Cam4, Cam5, Cam6, Cam7, Cam8, Cam9, Cam10, Cam11, "
              "Cam12, Cam13, Cam14, Cam15, Cam16, ");
    EXPECT_EQ(instance, nullptr);

    calls.clear();
    mediaError = "no sound";
    testing::internal::CaptureStdout();
    createNdiSource("Cam", instance, stubs);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ndisender::Could not initialize SDL -no sound\n");
    EXPECT_EQ(calls, "");
}

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
