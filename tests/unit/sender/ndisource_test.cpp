#include "sender/ndisource.h"

#define SDL_MAIN_HANDLED
#include <SDL.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <vector>

namespace {

NDIlib_send_instance_t handle(std::uintptr_t value) {
    return reinterpret_cast<NDIlib_send_instance_t>(value);
}

TEST(NdiSource, TriesSeventeenNamesAndReportsLibrariesThatFail) {
    const struct {
        bool library;
        std::optional<std::string> mediaError;
        int failures;  ///< Of the first creations.
        std::uintptr_t after;
        std::size_t names;
        std::string last, printed;
    } kCases[] = {
        {true, {}, 0, 7, 1, "Cam", ""},
        {true, {}, 2, 7, 3, "Cam2", ""},
        {true, {}, 1000, 0, 17, "Cam16", ""},
        // A library that fails leaves the stale handle.
        {false, {}, 0, 3, 0, "", "ndisender::ndi initialize failed\n"},
        {true, "no sound", 0, 3, 0, "", "ndisender::Could not initialize SDL -no sound\n"},
    };
    for (const auto& c : kCases) {
        std::vector<std::string> names;
        int slept = 0;
        NDIlib_send_instance_t destroyed = nullptr;
        const NdiSourceCalls stubs{
            [&] { return c.library; }, [&] { return c.mediaError; },
            [&](const NDIlib_send_create_t* settings) {
                EXPECT_EQ(settings->p_groups, nullptr);
                EXPECT_TRUE(settings->clock_video && settings->clock_audio);
                names.emplace_back(settings->p_ndi_name);
                return static_cast<int>(names.size()) <= c.failures ? nullptr : handle(7);
            },
            [&](NDIlib_send_instance_t instance) { destroyed = instance; },
            [&](int milliseconds) { slept += milliseconds; }};
        auto instance = handle(3);
        testing::internal::CaptureStdout();
        createNdiSource("Cam", instance, stubs);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.printed);
        EXPECT_EQ(destroyed, handle(3));
        EXPECT_EQ(instance, handle(c.after));
        EXPECT_EQ(names.size(), c.names);
        EXPECT_EQ(names.empty() ? "" : names.back(), c.last);
        EXPECT_EQ(slept, 1000 * std::min(c.failures, 17));
    }
}

TEST(Media, NeedNoHardwareAndLeaveSignalsAlone) {
    const auto real = NdiSourceCalls::real();
    SDL_SetHintWithPriority(SDL_HINT_VIDEODRIVER, "none such", SDL_HINT_DEFAULT);
    EXPECT_EQ(real.initializeMedia(), std::nullopt);
    EXPECT_EQ(SDL_WasInit(49), 49U);
    EXPECT_STREQ(SDL_GetCurrentAudioDriver(), "dummy") << "the others poll the sound devices";
    EXPECT_STREQ(SDL_GetCurrentVideoDriver(), "dummy");
    EXPECT_EQ(SDL_IsScreenSaverEnabled(), SDL_TRUE) << "an idle program lets the display sleep";
    SDL_Quit();
    EXPECT_EQ(std::signal(SIGTERM, SIG_DFL), SIG_DFL) << "SIGTERM would no longer end the program";

    // But a driver asked for in the environment must exist.
    SDL_ClearHints();
    SDL_setenv("SDL_AUDIODRIVER", "none such", 1);
    EXPECT_THAT(real.initializeMedia().value_or(""), testing::HasSubstr("none such"));
    SDL_setenv("SDL_AUDIODRIVER", "", 1);  // As good as unset to SDL.
}

}  // namespace
