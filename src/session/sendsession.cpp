#include "session/sendsession.h"

#include <utility>

#include "support/log.h"

namespace session {
namespace {

/// The lines about the choice of the capture path. Log readers know them by this location.
void logChoice(int line, const char* text) {
    constexpr int kInfo = 2;
    support::logAt(kInfo, "ndisenderui", "ndiSenderInitParmeter", line, text);
}

}  // namespace

SendSession::SendSession(Collaborators collaborators) : m_collaborators(std::move(collaborators)) {
    keepTimersExact();
}

SendSession::~SendSession() {
    close();
}

void SendSession::close() {
    m_displayLock.hold(false);
    m_sender.reset();
    if (m_source != nullptr) {
        m_collaborators.destroySource(std::exchange(m_source, nullptr));
    }
}

void SendSession::createSource(const std::string& name) {
    m_collaborators.createSource(name, m_source);
    if (m_source == nullptr) {
        HV_WARN(
            "no NDI source named {} could be created: the name and its numbered variants are "
            "taken, or the NDI library could not be initialised; receivers cannot see this source",
            name);
        return;
    }
    const ndi::SourceStatus now = status();
    if (!changedName(now, name).empty()) {
        HV_WARN(
            "receivers see the source \"{}\" as \"{}\": its name is taken, or longer than the 63 "
            "bytes that host and source name have together",
            name, now.name);
    }
}

ndi::SourceStatus SendSession::status() const {
    return m_source != nullptr ? m_collaborators.sourceStatus(m_source) : ndi::SourceStatus();
}

void SendSession::createSender(const std::string& name) {
    m_sender.reset();
    m_sender = m_forceGrab ? m_collaborators.makeGrabSender(name, m_source)
                           : m_collaborators.makeDxSender(name, m_source);
}

bool SendSession::open(const Target& target) {
    m_opened = target;
    m_slowReason.clear();
    if (!m_sender->isDxSender() && !m_forceGrab) {
        createSender(target.senderName);
        logChoice(__LINE__, "is ffmpeg screenshot, switch to the old DX screenshot mode.");
    }
    if (!overlap(target.region, rectangleOf(target.screen))) {
        HV_WARN(
            "the region is empty: {}x{} at {},{}; nothing is sent until it has pixels on screen "
            "{}, {}x{} at {},{}",
            target.region.w, target.region.h, target.region.x, target.region.y, target.screenIndex,
            target.screen.width, target.screen.height, target.screen.x, target.screen.y);
    }
    // The FFmpeg path takes desktop coordinates, the default path coordinates of the screen.
    bool opened = initParmeter(target, !m_forceGrab);
    if (!opened && m_sender->isDxSender()) {
        m_slowReason = m_sender->captureStatus().reason;
        m_sender.reset();
        m_sender = m_collaborators.makeGrabSender(target.senderName, m_source);
        opened = initParmeter(target, false);
        logChoice(__LINE__, "DX screenshot failed, switch to the old ffmpeg screenshot mode.");
    }
    return opened;
}

void SendSession::start() {
    m_sender->start();
    m_displayLock.hold(m_keepDisplayOn);
}

void SendSession::pause() {
    m_sender->pause();
    m_displayLock.hold(false);
}

bool SendSession::initParmeter(const Target& target, bool relativeToScreen) {
    const Rectangle& region = target.region;
    return m_sender->initParmeter(region.x - (relativeToScreen ? target.screen.x : 0),
                                  region.y - (relativeToScreen ? target.screen.y : 0), region.w,
                                  region.h, target.frameRate, target.output);
}

CaptureStatus SendSession::captureStatus() const {
    CaptureStatus status = m_sender ? m_sender->captureStatus() : CaptureStatus();
    status.slow = m_slowReason;
    return status;
}

bool SendSession::moveRegion(const Rectangle& region) {
    const bool possible = m_sender && m_sender->isDxSender() && m_opened &&
                          region.w == m_opened->region.w && region.h == m_opened->region.h &&
                          contains(rectangleOf(m_opened->screen), region);
    if (!possible ||
        !m_sender->moveRegion(region.x - m_opened->screen.x, region.y - m_opened->screen.y)) {
        return false;
    }
    m_opened->region = region;
    return true;
}

void SendSession::replaceLastFrameByBlack(int width, int height) {
    if (m_source != nullptr && width > 0 && height > 0) {
        HV_INFO("a black frame of {}x{} replaces the last one until the next start", width, height);
        m_collaborators.sendBlackFrame(m_source, width, height,
                                       m_opened ? m_opened->frameRate : Target().frameRate);
    }
}

std::string changedName(const ndi::SourceStatus& status, const std::string& name) {
    // The bracketed part of "MACHINE (Source name)" is cut where both together are too long.
    const auto open = status.name.find(" (");
    if (!status.known || open == std::string::npos) {
        return {};
    }
    const std::string seen = status.name.substr(open + 2, status.name.size() - open - 3);
    return seen == name ? std::string() : seen;
}

}  // namespace session
