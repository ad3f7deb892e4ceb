#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture/cutrectangle.h"
#include "capture/screencapturer.h"
#include "capture/x11/dirtyrects.h"

namespace capture::x11 {
class ScreenSession;
}

/// Captures one RandR monitor, found by its name, and follows it when it is moved. A frame is new
/// when something inside the rectangle was damaged; only the damaged rows are fetched again into the
/// same buffer.
///
/// Reads return false while the output is off or the X server is gone, and resume when it is back.
/// Each change is logged once.
class X11CaptureScreen : public ScreenCapturer {
public:
    /// `display` as in the variable DISPLAY; empty: that variable, as InitCapture() finds it.
    explicit X11CaptureScreen(std::string display = {});
    ~X11CaptureScreen() override;

    bool InitCapture(const wchar_t* deviceName) override;
    bool ReadScreenData(int x, int y, int width, int height, unsigned char* dest) override;
    void ReleaseAll() override;
    [[nodiscard]] const support::DirtyRows& DirtyRows() const override { return m_dirtyRows; }

private:
    using Clock = std::chrono::steady_clock;

    /// The parameters of a read: an equal read needs only the damaged rows.
    struct Read {
        capture::Cut cut;
        capture::x11::Rect output;
        int requestedWidth = 0;
        const unsigned char* dest = nullptr;

        bool operator==(const Read& other) const {
            return cut == other.cut && output == other.output &&
                   requestedWidth == other.requestedWidth && dest == other.dest;
        }
    };

    void warnOfWayland();
    [[nodiscard]] bool waitForDamage();
    [[nodiscard]] bool retryDue();
    [[nodiscard]] bool connect();
    void locateOutput();
    [[nodiscard]] bool readFrame(int x, int y, int width, int height, unsigned char* dest);
    [[nodiscard]] bool chooseRects(const Read& read);
    void reportDirtyRows(const Read& read);
    void fail();

    const std::string m_givenDisplay;
    std::string m_display;
    std::wstring m_deviceName;
    bool m_initialized = false;
    bool m_failing = false;
    bool m_warnedOfWayland = false;
    int m_stillReads = 0;
    Clock::time_point m_nextTry;

    std::unique_ptr<capture::x11::ScreenSession> m_session;  ///< Null while the server is gone.
    std::optional<capture::x11::Rect> m_output;              ///< Nothing while the output is off.
    std::optional<Read> m_lastRead;

    std::vector<xcb_rectangle_t> m_damage;
    std::vector<capture::x11::Rect> m_dirtyRects;
    support::DirtyRows m_dirtyRows;
};
