#pragma once

#include <string>

/// The one interface through which the window drives a capture-and-send engine. All calls come
/// from one thread, the window's. The sender publishes through an NDI send instance that it is
/// given and never owns.
class NDISenderBase {
public:
    virtual ~NDISenderBase() = default;

    /// Stores the parameters and opens the capture. The rectangle is in pixels, w and h at least
    /// 1; `framerate` in fps; `outputName` names the output in UTF-8. True: start()
    /// may follow. False: nothing was changed that a later reset() does not undo.
    virtual bool initParmeter(int x, int y, int w, int h, int framerate,
                              std::string outputName) = 0;

    /// Launches the threads, provided that initParmeter() succeeded.
    virtual void start() = 0;

    /// Ends and joins the threads; the capture stays open.
    virtual void pause() = 0;

    /// pause(), then releases what initParmeter() opened.
    virtual void stop() = 0;

    /// stop(), then renews the per-run state so that initParmeter() can be called again.
    virtual void reset() = 0;

    /// True only for the sender of the default capture path.
    [[nodiscard]] virtual bool isDxSender() const { return false; }

    /// Keeps a text that nobody reads.
    virtual void setAuxName(std::string name) = 0;
};
