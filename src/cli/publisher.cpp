#include "cli/publisher.h"

#include <fmt/format.h>

#include <utility>

#include "ndi/ndilibrary.h"
#include "ndi/wire/sourcename.h"
#include "support/log.h"

namespace cli {
namespace {

/// What the user of ndisend can do about a capture that has ended, or waits in vain.
std::string howToAskAgain(const CaptureStatus& status) {
    if (status.ended) {
        return "the command continue, or a restart, asks again";
    }
    return status.state == CaptureState::Unanswered
               ? "the commands pause and continue, or a restart, ask anew"
               : "";
}

std::string problemOf(const CaptureStatus& status) {
    std::string text = status.state == CaptureState::Interrupted
                           ? "the capture is interrupted and goes on by itself: " + status.reason
                           : status.reason;
    for (const std::string& next : {status.advice, howToAskAgain(status)}) {
        text += next.empty() ? "" : "; " + next;
    }
    return text;
}

bool needsPermission(CaptureState state) {
    return state == CaptureState::Asking || state == CaptureState::Unanswered ||
           state == CaptureState::Refused;
}

}  // namespace
Publisher::Publisher(Collaborators collaborators, session::ScreenList list, Plan plan)
    : m_collaborators(std::move(collaborators)),
      m_session(m_collaborators),
      m_list(std::move(list)),
      m_target(std::move(plan.target)) {
    m_session.forceGrab(plan.forceGrab);
    m_session.keepDisplayOn(plan.keepDisplayOn);
    ndi::configureOutput(std::move(plan.output));
}

std::string Publisher::begin() {
    const std::string& name = m_target.senderName;
    m_session.createSource(name);
    if (!m_session.hasSource() || !session::changedName(m_session.status(), name).empty()) {
        m_session.close();
        return fmt::format(
            "no source \"{}\" can be created: another source on the network has this name (end it, "
            "or choose another one with --name), or the log tells another cause",
            ndi::wire::instanceName(ndi::wire::machineName(), name));
    }
    m_session.createSender(name);
    if (!m_session.open(m_target)) {
        m_session.close();
        return fmt::format("screen {} can't be captured: {}; the log tells the cause",
                           m_target.screenIndex, describeScreen(m_list, m_target.screenIndex));
    }
    m_session.start();
    return {};
}

std::string Publisher::setRegion(const session::Rectangle& region) {
    session::Target wanted = m_target;
    std::string error;
    if (!chooseRegion(region, wanted, error)) {
        return error;
    }
    if (region != m_target.region) {
        HV_INFO("the region is set to {}", geometry(region));
        m_target = std::move(wanted);
        if (m_paused || m_changed || !m_session.moveRegion(region)) {
            apply();
        }
    }
    return {};
}

std::string Publisher::setScreen(const std::string& screen) {
    m_list = session::listScreens(m_collaborators);
    session::Target wanted = m_target;
    std::string error;
    if (!chooseScreen(m_list, screen, wanted, error)) {
        return error;
    }
    if (m_follower.gone() || wanted.screenIndex != m_target.screenIndex ||
        wanted.region != m_target.region) {
        HV_INFO("screen {} is chosen: {}", wanted.screenIndex,
                describeScreen(m_list, wanted.screenIndex));
        m_target = std::move(wanted);
        m_follower.choose();
        apply();
    }
    return {};
}

void Publisher::followScreens() {
    m_list = session::listScreens(m_collaborators);
    switch (m_follower.follow(m_list, m_target)) {
        case session::ScreenFollower::Change::None:
            break;
        case session::ScreenFollower::Change::Gone:
            m_session.createSender(m_target.senderName);  // One that captures nothing.
            m_changed = true;
            break;
        case session::ScreenFollower::Change::New:
            apply();
            break;
    }
}

void Publisher::apply() {
    if (m_paused || m_follower.gone()) {
        m_changed = true;
        return;
    }
    restart();
    m_session.start();
}

void Publisher::restart() {
    m_session.sender()->reset();
    m_session.open(m_target);
    m_changed = false;
}

void Publisher::pause() {
    if (!std::exchange(m_paused, true)) {
        HV_INFO("\"{}\" is paused", m_target.senderName);
        m_session.pause();
    }
}

void Publisher::resume() {
    if (!std::exchange(m_paused, false)) {
        return;
    }
    HV_INFO("\"{}\" continues", m_target.senderName);
    if (m_changed && !m_follower.gone()) {
        restart();
    }
    m_session.start();
}

std::string Publisher::problem() const {
    return m_follower.gone()
               ? fmt::format(
                     "the screen \"{}\" is gone, switched off or disconnected; it is sent again "
                     "when it is back",
                     m_target.output)
               : problemOf(m_session.captureStatus());
}

Publisher::State Publisher::state() const {
    const CaptureStatus capture = m_session.captureStatus();
    State state = {m_session.status(), m_target, m_paused, !m_session.sender()->isDxSender()};
    state.slow = capture.slow;
    state.problem = problem();
    state.needsPermission = needsPermission(capture.state);
    return state;
}

void Publisher::followCapture() {
    const CaptureStatus status = m_session.captureStatus();
    if (m_paused) {
        return;
    }
    if (!status.output.empty() && status.output != m_target.output) {
        if (const std::string error = setScreen(status.output); !error.empty()) {
            HV_WARN("the desktop granted another screen than the one asked for: {}", error);
        }
    }
    if (status.ended) {
        HV_WARN("sending is paused: {}", problemOf(status));
        pause();
    }
}

bool Publisher::isAlive() {
    const std::uint64_t passes = m_session.sender()->passes();
    return std::exchange(m_lastPasses, passes) != passes || m_paused || m_follower.gone();
}

}  // namespace cli
