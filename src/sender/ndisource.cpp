#include "sender/ndisource.h"

// This program has a main() of its own.
#define SDL_MAIN_HANDLED
#include <SDL.h>

extern "C" {
#include <libavdevice/avdevice.h>
}

#include <chrono>
#include <iostream>
#include <thread>

#include "support/log.h"

namespace {

constexpr int kMostNumberedNames = 16;
constexpr int kMillisecondsBetweenAttempts = 1000;

std::optional<std::string> initializeSdlAndDevices() {
    constexpr Uint32 kSubsystems = SDL_INIT_TIMER | SDL_INIT_AUDIO | SDL_INIT_VIDEO;
    static_assert(kSubsystems == 49);
    SDL_SetMainReady();
    // SDL would turn SIGINT and SIGTERM into events, which this program does not read.
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    // SDL would keep the display on from now on, whether a source is live or not.
    SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1");
    // No sound goes through SDL, and its ALSA driver would poll the devices ten times a second.
    // SDL's environment variables override these hints.
    SDL_SetHint(SDL_HINT_AUDIODRIVER, "dummy");
    if (SDL_Init(kSubsystems) != 0) {
        HV_WARN("SDL has no usable video driver: {}; using its dummy driver", SDL_GetError());
        SDL_SetHint(SDL_HINT_VIDEODRIVER, "dummy");
        if (SDL_Init(kSubsystems) != 0) {
            return SDL_GetError();
        }
    }
    avdevice_register_all();
    return std::nullopt;
}

/// False: a library can't be initialised, which is printed.
bool initializeLibraries(const NdiSourceCalls& calls) {
    if (!calls.initializeLibrary()) {
        std::cout << "ndisender::ndi initialize failed" << std::endl;
        return false;
    }
    if (const std::optional<std::string> failure = calls.initializeMedia()) {
        std::cout << "ndisender::Could not initialize SDL -" << *failure << std::endl;
        return false;
    }
    return true;
}

}  // namespace

NdiSourceCalls NdiSourceCalls::real() {
    return {NDIlib_initialize, initializeSdlAndDevices, NDIlib_send_create, NDIlib_send_destroy,
            [](int milliseconds) {
                std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
            }};
}

void createNdiSourceOfName(const std::string& name, NDIlib_send_instance_t& instance,
                           const NdiSourceCalls& calls) {
    if (initializeLibraries(calls)) {
        const NDIlib_send_create_t settings{name.c_str(), nullptr, true, true};
        instance = calls.create(&settings);
    }
}

void createNdiSource(const std::string& name, NDIlib_send_instance_t& instance,
                     const NdiSourceCalls& calls) {
    if (instance != nullptr) {
        calls.destroy(instance);
    }
    if (!initializeLibraries(calls)) {
        return;
    }
    NDIlib_send_create_t settings{name.c_str(), nullptr, true, true};
    instance = calls.create(&settings);
    for (int counter = 1; instance == nullptr; ++counter) {
        calls.sleep(kMillisecondsBetweenAttempts);
        if (counter > kMostNumberedNames) {
            HV_WARN("no NDI source: neither \"{}\" nor \"{}1\" to \"{}{}\" can be created", name,
                    name, name, kMostNumberedNames);
            return;
        }
        const std::string numbered = name + std::to_string(counter);
        settings.p_ndi_name = numbered.c_str();
        instance = calls.create(&settings);
    }
}
