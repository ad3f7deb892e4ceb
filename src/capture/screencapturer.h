#pragma once
// Captures one display output, for the default capture path.

#include <memory>
#include <string>

#include "support/dirtyrows.h"

/// What an operator has to know about a capture that depends on others.
struct CaptureStatus {
    std::string text;    ///< Why there are no frames, in a sentence; "" while nothing is amiss.
    bool ended = false;  ///< None will come before the capture is started again.
    std::string output;  ///< The output that is really captured where it isn't the one asked for.
};

/// Not thread-safe: the owner serialises the calls. All coordinates are physical pixels relative
/// to the output's top-left corner.
class ScreenCapturer {
public:
    virtual ~ScreenCapturer() = default;

    /// (Re)builds everything for the output named `deviceName`; null: the first output found.
    /// False: no such output, or the platform refuses; a later call may succeed.
    virtual bool InitCapture(const wchar_t* deviceName) = 0;

    /// Copies the rectangle of the newest frame into `dest`: BGRA, opaque, rows packed one after
    /// another, no pointer. The rectangle is cut at the output's edge:
    ///   x0 = x if 0 <= x <= output width, else 0;  x1 = min(x + width, output width);  y alike;
    /// rows are then (x1 - x0) pixels long, and what lies behind the last row is left alone.
    /// `dest` holds width * height * 4 bytes and is only written by this call between reads that
    /// are meant to build on each other.
    /// False: no new frame since the last call, or none to be had; after a sleep of 1 ms, or of
    /// up to 15 ms that damage ends early once there has been no frame for a while.
    virtual bool ReadScreenData(int x, int y, int width, int height, unsigned char* dest) = 0;

    /// Releases everything; InitCapture() makes it usable again.
    virtual void ReleaseAll() = 0;

    /// Sending starts, or goes on after a pause. Asks again for what was refused or withdrawn.
    virtual void Resume() {}

    /// May be called from any thread.
    [[nodiscard]] virtual CaptureStatus Status() const { return {}; }

    /// Which rows of `dest` the last successful ReadScreenData() may have changed against the
    /// successful one before it. Unknown where the platform does not tell.
    [[nodiscard]] virtual const support::DirtyRows& DirtyRows() const = 0;
};

/// The platform's capturer: DXGICaptureScreen on Windows; on Linux PipeWireCaptureScreen in a
/// Wayland session, else X11CaptureScreen.
[[nodiscard]] std::unique_ptr<ScreenCapturer> createScreenCapturer();
