#pragma once

#include <memory>
#include <optional>
#include <string>

#include "session/collaborators.h"
#include "session/displaylock.h"
#include "session/rectangle.h"

namespace session {

/// What a sender is to send.
struct Target {
    std::string senderName;  ///< For a sender that has to be made.
    int screenIndex = 0;     ///< For log lines.
    struScreenItem screen;
    std::string output;  ///< The device name of the screen's output, UTF-8.
    Rectangle region;    ///< Desktop coordinates.
    int frameRate = 30;
};

/// One NDI source and the one sender that publishes through it. Chooses the capture path: the
/// default one, through FFmpeg where that one can't be opened or the operator wants it so. Keeps
/// the process's timers exact from its construction on, and the display on while it sends.
///
/// Everything runs on one thread, which also joins the sender's threads.
class SendSession {
public:
    explicit SendSession(Collaborators collaborators);
    /// close()
    ~SendSession();
    SendSession(const SendSession&) = delete;
    SendSession& operator=(const SendSession&) = delete;

    /// Captures through FFmpeg only. Takes effect with the next sender that is made.
    void forceGrab(bool force) { m_forceGrab = force; }
    /// Whether start() keeps the display from going to sleep, as it does at first.
    void keepDisplayOn(bool keep) { m_keepDisplayOn = keep; }

    /// Replaces the source, if any, by one named `name`. Blocks until it is on the network: about a
    /// second, longer if the name is taken. No sender may exist.
    void createSource(const std::string& name);
    [[nodiscard]] bool hasSource() const { return m_source != nullptr; }
    [[nodiscard]] ndi::SourceStatus status() const;

    /// Replaces the sender. It captures nothing until open().
    void createSender(const std::string& name);
    /// Destroys it.
    void destroySender() { m_sender.reset(); }
    /// Null before createSender().
    [[nodiscard]] NDISenderBase* sender() const { return m_sender.get(); }

    /// Prepares the sender, fresh or after its reset(), for `target`. A sender that fell back to
    /// FFmpeg before is replaced, so that the default path is tried again each time. False: neither
    /// path can capture it.
    bool open(const Target& target);

    /// Starts and stops the sender's threads. A sender that is reset or replaced between the two
    /// leaves the display on.
    void start();
    void pause();

    /// What the operator has to know about the capture.
    [[nodiscard]] CaptureStatus captureStatus() const;

    /// Moves the region of a running capture. False, and nothing happens, unless the capturer can
    /// do so and `region` has the size of the one in force and lies in the same screen.
    bool moveRegion(const Rectangle& region);

    /// Ends sending with a black frame of that size: the source repeats its last frame to all
    /// receivers, also to those that connect later.
    void replaceLastFrameByBlack(int width, int height);

    /// Destroys the sender, whose threads use the source, then the source.
    void close();

private:
    [[nodiscard]] bool initParmeter(const Target& target, bool relativeToScreen);

    Collaborators m_collaborators;
    NDIlib_send_instance_t m_source = nullptr;
    std::unique_ptr<NDISenderBase> m_sender;
    std::optional<Target> m_opened;  ///< What the sender was opened for.
    bool m_forceGrab = false;
    bool m_keepDisplayOn = true;
    DisplayLock m_displayLock;
    std::string m_slowReason;  ///< Why the default path could not be opened.
};

/// The name under which receivers see the source, if it is not `name`, which was asked for: that is
/// too long, or taken. Empty: it is, or nothing is known.
[[nodiscard]] std::string changedName(const ndi::SourceStatus& status, const std::string& name);

}  // namespace session
