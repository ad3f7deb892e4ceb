#pragma once
// The moving desktops of the benchmarks. They are deterministic: every run has the same frames.

#include <cstdint>
#include <vector>

#include "speedhq/frameencoder.h"

namespace bench {

enum class Scene {
    FullMotion,  ///< The desktop moves 3 pixels up and 5 to the left with every frame.
    Caret,       ///< A blinking caret, and one more letter per frame.
    Scrolling,   ///< An 800 by 600 window of text scrolls 3 lines per frame.
    Nothing,     ///< Nothing changes.
};

/// A synthetic desktop: windows with text, a gradient, and an area like a photograph.
class Desktop {
public:
    Desktop(int width, int height);

    /// Draws the next frame of a scene.
    void advance(Scene scene);

    [[nodiscard]] speedhq::FrameView view() const;
    /// What the latest advance() drew, as the damage events of a screen would report them.
    [[nodiscard]] const support::DirtyRows& dirty() const { return m_dirtyRows; }

private:
    void drawText(int left, int top, int right, int bottom, int firstLine);

    int m_width;
    int m_height;
    int m_step = 0;
    std::vector<std::uint32_t> m_canvas;  ///< Larger than the frame; full motion pans across it.
    int m_canvasWidth;
    int m_canvasHeight;
    std::vector<std::uint32_t> m_frame;
    support::DirtyRows m_dirtyRows;
};

}  // namespace bench
