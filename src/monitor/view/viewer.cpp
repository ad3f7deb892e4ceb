#include "monitor/view/viewer.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <SDL.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <future>

#include "monitor/png.h"
#include "monitor/view/videofeed.h"
#include "monitor/view/window.h"
#include "support/hv/sharedfile.h"

namespace monitor {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kShown{4000};
constexpr milliseconds kFade{1000};
constexpr milliseconds kFadeStep{40};
constexpr const char* kKeys = "P program  V preview  Q quality  S save  F full screen  Esc close";

/// The lines over the video: visible for a while after the user did something, then they fade.
class Fading {
public:
    void show() { m_since = Clock::now(); }

    [[nodiscard]] std::uint8_t opacity() const {
        const auto faded = age() - kShown;
        if (faded <= milliseconds(0)) {
            return 255;
        }
        return faded >= kFade ? std::uint8_t{0}
                              : static_cast<std::uint8_t>(255 - 255 * faded / kFade);
    }

    /// Milliseconds until the opacity changes; -1: it does not.
    [[nodiscard]] int untilChange() const {
        const auto left = kShown - age();
        if (left > milliseconds(0)) {
            return static_cast<int>(left.count()) + 1;
        }
        return age() < kShown + 2 * kFade ? static_cast<int>(kFadeStep.count()) : -1;
    }

private:
    [[nodiscard]] milliseconds age() const {
        return std::chrono::duration_cast<milliseconds>(Clock::now() - m_since);
    }

    Clock::time_point m_since = Clock::now();
};

/// "PC (Studio A) 2026-11-21 20.15.03.png", without characters that file systems refuse.
std::string fileNameFor(const std::string& source) {
    std::string name = source;
    for (char& c : name) {
        const bool refused = static_cast<unsigned char>(c) < ' ' ||
                             std::string_view("<>:\"/\\|?*").find(c) != std::string_view::npos;
        c = refused ? '_' : c;
    }
    return fmt::format("{} {:%Y-%m-%d %H.%M.%S}.png", name, fmt::localtime(std::time(nullptr)));
}

std::string describe(const FeedStatus& status, bool low) {
    const auto& progress = status.progress;
    if (!progress.video) {
        return "no video yet";
    }
    const auto& video = *progress.video;
    const bool plausible = status.latencyMs && *status.latencyMs > -10 && *status.latencyMs < 10000;
    return fmt::format("{}x{}  {:.1f} of {:.2f} fps  {:.1f} Mbit/s  {} dropped  {}{} stream",
                       video.width, video.height, progress.framesPerSecond,
                       static_cast<double>(video.rateNumerator) / video.rateDenominator,
                       progress.megabitsPerSecond, progress.dropped,
                       plausible ? fmt::format("{:.1f} ms  ", *status.latencyMs) : "",
                       low ? "preview" : "main");
}

class Viewer {
public:
    Viewer(const Target& target, const Options& options, const std::atomic<bool>& interrupted)
        : m_interrupted(interrupted),
          m_source(target.name),
          m_request{options.lowQuality, options.tally == Options::Tally::Program,
                    options.tally == Options::Tally::Preview},
          m_window(target.name + " - ndimonitor"),
          m_wakeUp(SDL_RegisterEvents(1)),
          m_feed({target, options.address.empty(), m_request}, interrupted, [this] { wakeUp(); }) {
        fmt::print(stderr, "{}: {}\n", target.name, kKeys);
    }

    void run() {
        while (!m_quit && !m_interrupted) {
            SDL_Event event;
            if (SDL_WaitEventTimeout(&event, m_fading.untilChange()) != 0) {
                do {
                    handle(event);
                } while (SDL_PollEvent(&event) != 0);
            }
            finishSaving(false);
            if (m_feed.takeFrame(m_image)) {
                const auto& video = m_feed.status().progress.video;
                if (!m_window.setImage(*m_image, video ? double{video->aspect} : 0)) {
                    m_notice = std::string("drawing failed: ") + SDL_GetError();
                }
            }
            m_window.draw(overlay());
        }
        finishSaving(true);
    }

private:
    /// On the feed's thread. One event at a time is enough.
    void wakeUp() {
        if (!m_wakeUpPending.exchange(true)) {
            SDL_Event event{};
            event.type = m_wakeUp;
            SDL_PushEvent(&event);
        }
    }

    void handle(const SDL_Event& event) {
        if (event.type == m_wakeUp) {
            m_wakeUpPending = false;
        } else if (event.type == SDL_QUIT) {
            m_quit = true;
        } else if (event.type == SDL_KEYDOWN && event.key.repeat == 0) {
            m_fading.show();
            press(event.key.keysym.sym);
        } else if (event.type == SDL_MOUSEMOTION) {
            m_fading.show();
        }
    }

    void press(SDL_Keycode key) {
        m_notice.clear();
        switch (key) {
            case SDLK_ESCAPE:
                m_quit = true;
                break;
            case SDLK_p:
                m_request.onProgram = !m_request.onProgram;
                break;
            case SDLK_v:
                m_request.onPreview = !m_request.onPreview;
                break;
            case SDLK_q:
                m_request.lowQuality = !m_request.lowQuality;
                break;
            case SDLK_s:
                save();
                break;
            case SDLK_f:
                m_window.toggleFullScreen();
                break;
            default:
                return;
        }
        m_feed.request(m_request);
    }

    /// On a thread of its own, because compressing an image takes longer than a frame lasts.
    void save() {
        if (!m_image || m_image->width == 0 || m_saving.valid()) {
            m_notice = m_saving.valid() ? "still saving" : "nothing to save yet";
            return;
        }
        m_savedFile = fileNameFor(m_source);
        // While the copy refers to the buffer, the converter does not write to it.
        std::shared_ptr<AVFrame> image(av_frame_clone(m_image.get()),
                                       [](AVFrame* frame) { av_frame_free(&frame); });
        m_saving = std::async(std::launch::async, [this, image, file = m_savedFile] {
            const std::string error = savePng(*image, file);
            wakeUp();
            return error;
        });
    }

    void finishSaving(bool wait) {
        if (!m_saving.valid() ||
            (!wait && m_saving.wait_for(milliseconds(0)) != std::future_status::ready)) {
            return;
        }
        const std::string error = m_saving.get();
        const std::string path = std::filesystem::absolute(HV::localPath(m_savedFile)).string();
        m_notice = error.empty() ? "Saved " + m_savedFile : error;
        fmt::print(stderr, "{}\n", error.empty() ? "Saved " + path : error);
        m_fading.show();
    }

    [[nodiscard]] Overlay overlay() const {
        const auto status = m_feed.status();
        Overlay overlay;
        overlay.message = status.message;
        overlay.lines[0] = describe(status, m_request.lowQuality);
        overlay.lines[1] = m_notice.empty() ? kKeys : m_notice;
        overlay.opacity = m_fading.opacity();
        overlay.program = m_request.onProgram;
        overlay.preview = m_request.onPreview;
        return overlay;
    }

    const std::atomic<bool>& m_interrupted;
    const std::string m_source;
    Request m_request;
    Window m_window;
    const std::uint32_t m_wakeUp;
    std::atomic<bool> m_wakeUpPending{false};
    Fading m_fading;
    std::string m_notice;
    std::string m_savedFile;
    support::FramePtr m_image{av_frame_alloc()};
    bool m_quit = false;
    std::future<std::string> m_saving;
    VideoFeed m_feed;
};

}  // namespace

void view(const Target& target, const Options& options, const std::atomic<bool>& interrupted) {
    Viewer(target, options, interrupted).run();
}

}  // namespace monitor
