#pragma once

#include "session/screenlist.h"
#include "session/sendsession.h"

namespace session {

/// Follows the chosen screen, which is remembered by the name of its output, when monitors come,
/// go, move or change their mode.
class ScreenFollower {
public:
    enum class Change {
        None,  ///< Nothing that the capture notices; the screen's place in the list may be new.
        Gone,  ///< The screen is not there any more. Nothing can be sent; the target stays.
        New,   ///< It has moved, has another mode, or is back: the capture has to be opened anew.
    };

    /// Brings place in the list, screen and region of `target` up to date with `list`, and logs
    /// what has changed.
    ///
    /// A region that is the whole screen stays the whole screen. Any other one keeps its place on
    /// the screen, as far as the screen is large enough; a screen that gets its old mode back gets
    /// the region that it had then. A screen without an output's name is known by its place in the
    /// list.
    Change follow(const ScreenList& list, Target& target);

    /// Since a follow() that said so; until one that says New.
    [[nodiscard]] bool gone() const { return m_gone; }

    /// Another screen has been chosen, one that is there.
    void choose() { m_gone = false; }

private:
    [[nodiscard]] Rectangle regionOn(const Rectangle& now, const Rectangle& before,
                                     const Rectangle& region);

    bool m_gone = false;
    Rectangle m_chosen;  ///< The operator's choice, relative to the screen.
    Rectangle m_chosenScreen;
    Rectangle m_last;  ///< The region that was made of it; another one is a new choice.
};

}  // namespace session
