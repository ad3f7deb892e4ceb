#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture/cutrectangle.h"
#include "capture/pointer.h"
#include "capture/screencapturer.h"
#include "capture/x11/damagecheck.h"
#include "capture/x11/dirtyrects.h"
#include "capture/x11/interrupt.h"
#include "capture/x11/screensession.h"

/// Captures one RandR monitor, found by its name, and follows it when it is moved. A frame is new
/// when something inside the rectangle was damaged; only the damaged rows are fetched again into
/// the same buffer.
///
/// Without new damage, reads wait up to a fifth of a second for it. Where damage turns out to be
/// incomplete, every read fetches the whole rectangle from then on.
///
/// The pointer is drawn into the frame and, before the next read, what it hid is put back. So its
/// moves cost no pixels from the server.
///
/// Reads fail while the output is off or the X server is gone, and resume when it is back.
/// Each change is logged once.
class X11CaptureScreen : public ScreenCapturer {
public:
    /// `display` as in the variable DISPLAY; empty: that variable, as InitCapture() finds it. A
    /// test suppresses events with `filter`.
    explicit X11CaptureScreen(std::string display = {}, capture::x11::EventFilter filter = {});
    ~X11CaptureScreen() override;

    void DrawPointer(bool draw) override { m_drawsPointer = draw; }
    bool InitCapture(const wchar_t* deviceName) override;
    bool ReadScreenData(int x, int y, int width, int height, unsigned char* dest) override;
    [[nodiscard]] unsigned char* ReadFrame(int x, int y, int width, int height,
                                           unsigned char* dest) override;
    [[nodiscard]] bool ReadsAnyRectangle() const override { return true; }
    void Interrupt() override;
    void ReleaseAll() override;
    [[nodiscard]] const CaptureFailure& Failure() const override { return m_failure; }
    [[nodiscard]] const support::DirtyRows& DirtyRows() const override { return m_dirtyRows; }

private:
    using Clock = std::chrono::steady_clock;
    using Rect = capture::x11::Rect;

    /// Where a frame may be.
    enum class Memory { Dest, OwnIfPossible };

    /// The parameters of a read: an equal read needs only the damaged rows.
    struct Read {
        capture::Cut cut;
        Rect output;
        int requestedWidth = 0;
        unsigned char* dest = nullptr;

        bool operator==(const Read& other) const {
            return cut == other.cut && output == other.output &&
                   requestedWidth == other.requestedWidth && dest == other.dest;
        }
    };

    /// The pointer as it was drawn; shape 0: not at all.
    struct Shown {
        int x = 0;
        int y = 0;
        unsigned shape = 0;

        bool operator==(const Shown& other) const {
            return x == other.x && y == other.y && shape == other.shape;
        }
    };

    void warnOfWayland();
    [[nodiscard]] bool openSession(std::string& error);
    [[nodiscard]] unsigned char* readOrWait(const Rect& wanted, unsigned char* dest, Memory memory);
    [[nodiscard]] unsigned char* readNow(const Rect& wanted, unsigned char* dest, Memory memory);
    [[nodiscard]] bool outputReadable();
    enum class Fetched { Nothing, Failed, Complete };
    [[nodiscard]] Fetched fetch(const Read& read, const Rect& area, bool intoOwn);
    [[nodiscard]] bool drawPointer(const Rect& area, const capture::DrawnPointer::Frame& frame);
    [[nodiscard]] Fetched fetchPredicted(const Rect& area);
    void predict(const std::vector<Rect>& rects, const Rect& area);
    [[nodiscard]] bool retryDue();
    [[nodiscard]] bool connect();
    void locateOutput();
    [[nodiscard]] bool chooseRects(const Read& read, const Rect& area);
    [[nodiscard]] bool findMissingDamage(const Read& read, const Rect& area);
    void reportDirtyRows(const Read& read);
    void fail();
    [[nodiscard]] const char* reasonOfFailure() const;

    const std::string m_givenDisplay;
    const capture::x11::EventFilter m_eventFilter;
    const capture::x11::Interrupt m_interrupt;
    std::string m_display;
    std::wstring m_deviceName;
    bool m_drawsPointer = false;
    bool m_initialized = false;
    bool m_failing = false;
    bool m_warnedOfWayland = false;
    bool m_damageComplete = true;  ///< False once the screen has changed without damage.
    Clock::time_point m_nextTry;

    std::unique_ptr<capture::x11::ScreenSession> m_session;  ///< Null while the server is gone.
    std::optional<Rect> m_output;                            ///< Nothing while the output is off.
    std::optional<Read> m_lastRead;

    capture::x11::DamageCheck m_damageCheck;
    std::vector<xcb_rectangle_t> m_damage;
    std::vector<Rect> m_dirtyRects;
    std::vector<Rect> m_taken;      ///< What the latest damage covers.
    std::vector<Rect> m_predicted;  ///< What the next damage will probably cover; empty: unknown.
    support::DirtyRows m_dirtyRows;
    capture::DrawnPointer m_drawn;
    Shown m_shown;
    CaptureFailure m_failure;
};
