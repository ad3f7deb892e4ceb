#pragma once

#include <string>

#include "cli/plan.h"
#include "session/screenfollower.h"

namespace cli {

/// Sends by a plan, and changes what is sent. One thread.
class Publisher {
public:
    Publisher(Collaborators collaborators, session::ScreenList list, Plan plan);

    /// Puts the source on the network and starts sending. "" or why it can't; nothing is left of
    /// the attempt then. Blocks for about a second.
    [[nodiscard]] std::string begin();

    /// What an operator can ask for. Each returns "", or why it is not possible; what was in force
    /// remains then. What changes while paused takes effect when sending continues.
    [[nodiscard]] std::string setRegion(const session::Rectangle& region);
    /// The screens are listed anew, so this also follows one that has another mode now.
    [[nodiscard]] std::string setScreen(const std::string& screen);
    void pause();
    void resume();

    struct State {
        ndi::SourceStatus source;
        session::Target target;
        bool paused = false;
        bool grabbing = false;         ///< Captures through FFmpeg.
        std::string slow = {};         ///< Why it does so although nobody asked for it; or "".
        std::string problem = {};      ///< Why there are no frames; "" while all is well.
        bool needsPermission = false;  ///< That is why.
    };
    [[nodiscard]] State state() const;

    /// To be called when monitors may have come, gone, moved or changed their mode. All of a screen
    /// stays all of it, a region keeps its place; a screen that has gone is sent again when it is
    /// back.
    void followScreens();

    /// Pauses when the desktop has withdrawn the screen, and follows it to another output. To be
    /// called now and then in a Wayland session.
    void followCapture();

    /// Whether the sending thread has run since the last call; always true while none is expected
    /// to: paused, or without the screen.
    [[nodiscard]] bool isAlive();

    /// Withdraws the source from the network.
    void end() { m_session.close(); }

private:
    void apply();
    void restart();
    [[nodiscard]] std::string problem() const;

    const Collaborators m_collaborators;
    session::SendSession m_session;
    session::ScreenList m_list;
    session::Target m_target;
    session::ScreenFollower m_follower;
    bool m_paused = false;
    bool m_changed = false;  ///< m_target since the sender was opened.
    std::uint64_t m_lastPasses = 0;
};

}  // namespace cli
