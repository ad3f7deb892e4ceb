#include "sender/ndisource.h"

#define SDL_MAIN_HANDLED
#include <SDL.h>
#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

NDIlib_send_instance_t handle(std::uintptr_t value) {
    return reinterpret_cast<NDIlib_send_instance_t>(value);
}

/// Everything that is called, in words; the first `failures` creations fail.
struct Script {
    std::vector<std::string> calls;
    int failures = 0;
    bool library = true;
    std::optional<std::string> mediaError;

    NdiSourceCalls stubs() {
        return {
            [this] {
                calls.push_back("library");
                return library;
            },
            [this] {
                calls.push_back("media");
                return mediaError;
            },
            [this](const NDIlib_send_create_t* settings) {
                calls.push_back("create " + std::string(settings->p_ndi_name));
                EXPECT_EQ(settings->p_groups, nullptr);
                EXPECT_TRUE(settings->clock_video && settings->clock_audio);
                return failures-- > 0 ? nullptr : handle(7);
            },
            [this](NDIlib_send_instance_t instance) {
                calls.push_back(instance == handle(3) ? "destroy 3" : "destroy another");
            },
            [this](int milliseconds) { calls.push_back("sleep " + std::to_string(milliseconds)); }};
    }

    /// Returns the resulting instance and keeps what was printed.
    NDIlib_send_instance_t run(NDIlib_send_instance_t before) {
        testing::internal::CaptureStdout();
        createNdiSource("Cam", before, stubs());
        printed = testing::internal::GetCapturedStdout();
        return before;
    }
    std::string printed;
};

TEST(NdiSource, TheFirstNameThatIsFreeIsTaken) {
    Script first;
    EXPECT_EQ(first.run(nullptr), handle(7));
    EXPECT_THAT(first.calls, ElementsAre("library", "media", "create Cam"));

    Script third;
    third.failures = 2;
    EXPECT_EQ(third.run(nullptr), handle(7));
    EXPECT_THAT(third.calls, ElementsAre("library", "media", "create Cam", "sleep 1000",
                                         "create Cam1", "sleep 1000", "create Cam2"));
}

TEST(NdiSource, SeventeenAttemptsAndNoMore) {
    Script never;
    never.failures = 1000;
    EXPECT_EQ(never.run(handle(3)), nullptr);
    std::vector<std::string> expected = {"destroy 3", "library", "media", "create Cam"};
    for (int i = 1; i <= 16; ++i) {
        expected.push_back("sleep 1000");
        expected.push_back("create Cam" + std::to_string(i));
    }
    expected.push_back("sleep 1000");
    EXPECT_EQ(never.calls, expected);
    EXPECT_EQ(never.printed, "");
}

TEST(NdiSource, FailuresAreToldAndLeaveTheStaleHandle) {
    Script noLibrary;
    noLibrary.library = false;
    EXPECT_EQ(noLibrary.run(handle(3)), handle(3));
    EXPECT_THAT(noLibrary.calls, ElementsAre("destroy 3", "library"));
    EXPECT_EQ(noLibrary.printed, "ndisender::ndi initialize failed\n");

    Script noMedia;
    noMedia.mediaError = "no sound";
    EXPECT_EQ(noMedia.run(handle(3)), handle(3));
    EXPECT_THAT(noMedia.calls, ElementsAre("destroy 3", "library", "media"));
    EXPECT_EQ(noMedia.printed, "ndisender::Could not initialize SDL -no sound\n");
}

TEST(Media, ComeUpWithoutHardwareAndLeaveSignalsAlone) {
    const auto real = NdiSourceCalls::real();
    // What a machine without sound looks like to SDL: no driver that works.
    SDL_SetHintWithPriority(SDL_HINT_AUDIODRIVER, "none such", SDL_HINT_DEFAULT);
    EXPECT_EQ(real.initializeMedia(), std::nullopt);
    EXPECT_EQ(SDL_WasInit(49), 49U);
    SDL_Quit();

    const auto before = std::signal(SIGTERM, SIG_DFL);
    EXPECT_EQ(before, SIG_DFL) << "SIGTERM would no longer end the program";
}

TEST(Media, ADriverAskedForInTheEnvironmentMustExist) {
    SDL_ClearHints();
    SDL_setenv("SDL_AUDIODRIVER", "none such", 1);
    const auto failure = NdiSourceCalls::real().initializeMedia();
    SDL_setenv("SDL_AUDIODRIVER", "", 1);  // As good as unset to SDL.
    ASSERT_TRUE(failure);
    EXPECT_THAT(*failure, testing::HasSubstr("none such"));
}

}  // namespace
