#include "sender/ndisource.h"

#define SDL_MAIN_HANDLED
#include <SDL.h>
#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <vector>

namespace {

NDIlib_send_instance_t handle(std::uintptr_t value) {
    return reinterpret_cast<NDIlib_send_instance_t>(value);
}

TEST(NdiSource, TriesSeventeenNamesAndTellsWhatFails) {
    std::string all = "destroy 3, library, media, create Cam, sleep 1000, ";
    for (int i = 1; i <= 16; ++i) {
        all += "create Cam" + std::to_string(i) + ", sleep 1000, ";
    }
    const struct {
        std::uintptr_t before;
        bool library;
        std::optional<std::string> mediaError;
        int failures;  ///< Of the first creations.
        std::uintptr_t after;
        std::string calls, printed;
    } kCases[] = {
        {0, true, {}, 0, 7, "library, media, create Cam, ", ""},
        {0,
         true,
         {},
         2,
         7,
         "library, media, create Cam, sleep 1000, create Cam1, sleep 1000, create Cam2, ",
         ""},
        {3, true, {}, 1000, 0, all, ""},
        // A failure leaves the stale handle.
        {3, false, {}, 0, 3, "destroy 3, library, ", "ndisender::ndi initialize failed\n"},
        {3, true, "no sound", 0, 3, "destroy 3, library, media, ",
         "ndisender::Could not initialize SDL -no sound\n"},
    };
    for (const auto& c : kCases) {
        std::string calls;
        int created = 0;
        const NdiSourceCalls stubs{
            [&] {
                calls += "library, ";
                return c.library;
            },
            [&] {
                calls += "media, ";
                return c.mediaError;
            },
            [&](const NDIlib_send_create_t* settings) {
                calls += "create " + std::string(settings->p_ndi_name) + ", ";
                EXPECT_EQ(settings->p_groups, nullptr);
                EXPECT_TRUE(settings->clock_video && settings->clock_audio);
                return created++ < c.failures ? nullptr : handle(7);
            },
            [&](NDIlib_send_instance_t instance) {
                calls +=
                    "destroy " + std::to_string(reinterpret_cast<std::uintptr_t>(instance)) + ", ";
            },
            [&](int milliseconds) { calls += "sleep " + std::to_string(milliseconds) + ", "; }};
        auto instance = handle(c.before);
        testing::internal::CaptureStdout();
        createNdiSource("Cam", instance, stubs);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.printed);
        EXPECT_EQ(instance, handle(c.after));
        EXPECT_EQ(calls, c.calls);
    }
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
