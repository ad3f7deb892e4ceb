#pragma once
// A screen cast from the question to the user until its end, on a thread of its own.

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "capture/pipewire/eventloop.h"
#include "capture/pipewire/framebox.h"
#include "capture/pipewire/portal.h"
#include "capture/pipewire/servicewatch.h"
#include "capture/pipewire/stream.h"
#include "capture/pipewire/tokenstore.h"
#include "capture/screencapturer.h"
#include "support/wayland/module.h"

namespace capture::pipewire {

/// The output that a grant is for, judged by position and size where the portal gives them. The
/// wanted one wins while nothing speaks against it: some portals give every monitor the position
/// (0, 0). Null: none of `outputs`.
[[nodiscard]] const support::wayland::Output* grantedOutput(
    const std::vector<support::wayland::Output>& outputs, const std::string& wanted,
    const Grant& grant);

/// Asks for a monitor and fills a FrameBox with its frames. What is lost without the user's doing
/// (compositor, portal or PipeWire gone, monitor switched off) comes back by the stored permission;
/// what the user refuses or stops ends the session.
class CastSession {
public:
    /// Starts at once. `screen`: the output's name, "" for the user's choice. `withPointer`: the
    /// frames show the pointer. `box` outlives this.
    CastSession(std::string screen, bool withPointer, TokenStore tokens, PortalLimits limits,
                FrameBox& box);

    /// Ends the cast.
    ~CastSession();

    CastSession(const CastSession&) = delete;
    CastSession& operator=(const CastSession&) = delete;

    [[nodiscard]] const std::string& screen() const { return m_screen; }

    /// May be called from any thread.
    [[nodiscard]] CaptureStatus status() const;

private:
    enum class End { Stopped, Refused, Unable, Closed, Lost };
    struct Ending {
        End end = End::Stopped;
        std::string text = {};
        std::string advice = {};
    };

    [[nodiscard]] static CaptureState stateAfter(End end);
    void run();
    [[nodiscard]] bool recoversFrom(const Ending& ending);
    [[nodiscard]] Ending cast();
    [[nodiscard]] bool ask(Portal& portal, Grant& grant, PortalFailure& failure);
    void noteGrant(const Grant& grant);
    void noteOutput(const Grant& grant);
    [[nodiscard]] Ending watch(Portal& portal, Stream& stream);
    [[nodiscard]] std::chrono::milliseconds nextLook(const Stream& stream, int nudges) const;
    void noteStream(const Portal& portal, const Stream& stream);
    void noteStillScreen();
    void showLastFrame(const Stream& stream);
    void sayWhatThereIs(const Portal& portal, const std::string& server);
    [[nodiscard]] bool canRecover(const Ending& ending);
    [[nodiscard]] bool outputThere();
    void waitForRecovery();
    [[nodiscard]] const char* aboutPointer(const PortalOffer& offer) const;
    void noteUnanswered();
    void setStatus(CaptureState state, const std::string& reason, const std::string& advice = {});
    [[nodiscard]] const std::string& name() const { return m_given.empty() ? m_screen : m_given; }
    [[nodiscard]] std::string shown() const;

    const std::string m_screen;
    const bool m_withPointer;
    const TokenStore m_tokens;
    const PortalLimits m_limits;
    FrameBox& m_box;
    EventLoop m_loop;

    // The thread's own.
    std::string m_tokenScreen;          ///< The output whose permission is loaded and stored.
    bool m_outputsListed = false;       ///< The compositor could be asked at the start.
    std::string m_given;                ///< The output that was granted, as far as it is known.
    std::pair<int, int> m_place{0, 0};  ///< Its corner in the compositor's layout.
    bool m_wasCasting = false;
    bool m_interrupted = false;
    std::unique_ptr<ServiceWatch> m_services;  ///< While it is interrupted.
    std::chrono::milliseconds m_pause{0};      ///< Before the next attempt.
    bool m_saidWhatThereIs = false;
    bool m_lastShown = false;  ///< The last image stands in for the first frame of this cast.
    std::pair<int, int> m_size{0, 0};

    mutable std::mutex m_mutex;
    CaptureStatus m_status;

    std::thread m_thread;
};

}  // namespace capture::pipewire
