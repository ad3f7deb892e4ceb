#pragma once
// Captures one display output, for the default capture path.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/dirtyrows.h"

/// Why a capture that depends on others delivers no frames.
enum class CaptureState {
    Running,      ///< It does, or has not been started.
    Asking,       ///< The user has to grant the screen in the desktop's window.
    Unanswered,   ///< As before, and has not done so for a long time.
    FirstChange,  ///< The desktop sends the first frame with the first change on the screen.
    LastImage,    ///< As before; until then reads return the screen's last image.
    Interrupted,  ///< Something is gone that the capture needs; it goes on when that is back.
    Refused,      ///< By the user.
    Stopped,      ///< By the user, from the desktop.
    Unable,       ///< Something is missing.
};

/// What an operator has to know about such a capture. The texts are English parts of a sentence;
/// how a capture is started again is for the program to say, which has a button or a command.
struct CaptureStatus {
    CaptureState state = CaptureState::Running;
    std::string reason;       ///< What is the case; "" while all is well.
    bool ended = false;       ///< No frame comes until the capture is started again.
    std::string advice = {};  ///< What to do about it, beside starting again; or "".
    std::string output = {};  ///< The output that is captured where it is not the one asked for.
    std::string slow = {};    ///< Why FFmpeg captures instead of the default path, in words; or "".
};

/// All of an output at one moment: BGRA, opaque, rows packed. Empty: nothing is known.
struct StillFrame {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> pixels;
};

/// Why reads give no frames although there may be new ones.
struct CaptureFailure {
    std::string reason;      ///< Part of a sentence, for the operator; "" while all is well.
    bool needsInit = false;  ///< Every read fails until InitCapture() has succeeded.
    bool passes = false;     ///< InitCapture() has failed, but a later read can do what is missing.
};

/// One thread at a time, except for Interrupt(), Status() and Still(). All coordinates are physical
/// pixels relative to the output's top-left corner.
class ScreenCapturer {
public:
    virtual ~ScreenCapturer() = default;

    /// Whether frames show the pointer, as they do not at first. Holds from the next InitCapture()
    /// on.
    virtual void DrawPointer(bool draw) { (void)draw; }

    /// (Re)builds everything for the output named `deviceName`; null: the first output found.
    /// False: there is no such output, or the platform refuses; a later call may succeed, and so
    /// may reads if Failure() passes.
    virtual bool InitCapture(const wchar_t* deviceName) = 0;

    /// Copies the rectangle of the newest frame into `dest`: BGRA, opaque, rows packed
    /// one after another. The rectangle is cut at the output's edge:
    ///   x0 = x if 0 <= x <= output width, else 0;  x1 = min(x + width, output width);  y alike;
    /// rows are then (x1 - x0) pixels long, and `dest` is unchanged after the last row.
    /// `dest` holds width * height * 4 bytes. Between two calls with the same arguments only this
    /// function may write to it, because the second call may fetch only what has changed.
    /// False: no new frame, or an error. A platform that can wait for a new frame waits up to a
    /// fifth of a second before it returns false; the others sleep 1 ms.
    virtual bool ReadScreenData(int x, int y, int width, int height, unsigned char* dest) = 0;

    /// As ReadScreenData(), but without a copy if the capturer can keep the frame in memory of its
    /// own. Returns the new frame, null instead of false: either `dest` or the capturer's memory,
    /// which holds width * height pixels in packed rows. That memory is the caller's to read until
    /// the next call of any function but Interrupt() and DirtyRows(). Its alpha bytes are
    /// undefined.
    [[nodiscard]] virtual unsigned char* ReadFrame(int x, int y, int width, int height,
                                                   unsigned char* dest) {
        return ReadScreenData(x, y, width, height, dest) ? dest : nullptr;
    }

    /// Whether a read of another rectangle returns the frame there at once, even if nothing changes
    /// on the screen.
    [[nodiscard]] virtual bool ReadsAnyRectangle() const { return false; }

    /// Ends the wait of a read that runs in another thread; if none runs, that of the next read.
    /// Any thread.
    virtual void Interrupt() {}

    /// Releases everything; InitCapture() makes it usable again.
    virtual void ReleaseAll() = 0;

    /// Why InitCapture() or the latest read has failed. A capturer that waits for a permission
    /// reports it in Status() instead. The calling thread's until its next call.
    [[nodiscard]] virtual const CaptureFailure& Failure() const {
        static const CaptureFailure kNone;
        return kNone;
    }

    /// Sending starts, or continues after a pause. Asks again for what was refused, withdrawn or
    /// left unanswered.
    virtual void Resume() {}

    /// Any thread.
    [[nodiscard]] virtual CaptureStatus Status() const { return {}; }

    /// The newest image of an output, where the capturer has one at hand without a read. Any
    /// thread.
    [[nodiscard]] virtual StillFrame Still(const std::string& /*output*/) const { return {}; }

    /// The rows of the newest frame that may differ from the frame before it. Unknown where the
    /// platform does not report them.
    [[nodiscard]] virtual const support::DirtyRows& DirtyRows() const = 0;
};

/// The platform's capturer: DXGICaptureScreen on Windows; on Linux PipeWireCaptureScreen in a
/// Wayland session, else X11CaptureScreen.
[[nodiscard]] std::unique_ptr<ScreenCapturer> createScreenCapturer();
