#pragma once

#include <cstdint>
#include <string>

#include "capture/screencapturer.h"
#include "sender/senderoptions.h"

/// The interface through which the window drives a capture-and-send engine. All calls come from the
/// window's thread. The sender publishes through an NDI send instance that it does not own.
class NDISenderBase {
public:
    virtual ~NDISenderBase() = default;

    /// Holds from the next initParmeter() on.
    virtual void setOptions(const sender::SenderOptions& options) { (void)options; }

    /// Stores the parameters and opens the capture. The rectangle is in pixels, w and h at least 1;
    /// `framerate` is in fps; `outputName` is UTF-8. True: start() may follow. False: reset()
    /// undoes what a failed attempt has changed.
    virtual bool initParmeter(int x, int y, int w, int h, int framerate,
                              std::string outputName) = 0;

    /// Starts the threads if initParmeter() succeeded.
    virtual void start() = 0;

    /// Stops and joins the threads; the capture stays open.
    virtual void pause() = 0;

    /// pause(), then releases the capture that initParmeter() opened.
    virtual void stop() = 0;

    /// stop(), then renews the per-run state so that initParmeter() can be called again.
    virtual void reset() = 0;

    /// True only for the sender of the default capture path.
    [[nodiscard]] virtual bool isDxSender() const { return false; }

    /// Moves the rectangle of a running capture to x,y without a restart, so that no frame is lost.
    /// The caller keeps it inside the screen. False: this sender can't; nothing happens.
    [[nodiscard]] virtual bool moveRegion(int /*x*/, int /*y*/) { return false; }

    /// Counts the passes of the sending thread, with and without a frame: as long as it grows, the
    /// thread neither hangs nor has it ended. Any thread.
    [[nodiscard]] virtual std::uint64_t passes() const { return 0; }

    /// What the operator has to know about the capture.
    [[nodiscard]] virtual CaptureStatus captureStatus() const { return {}; }

    /// The newest image of an output (its name is UTF-8), where the capture has one.
    [[nodiscard]] virtual StillFrame captureStill(const std::string& /*output*/) const {
        return {};
    }

    /// Stores a text that is not used.
    virtual void setAuxName(std::string name) = 0;
};
