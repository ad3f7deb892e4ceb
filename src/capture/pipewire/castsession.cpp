#include "capture/pipewire/castsession.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "capture/pipewire/lastframes.h"
#include "capture/pipewire/nudge.h"
#include "support/wayland/modulelog.h"
#include "support/wayland/outputs.h"

namespace capture::pipewire {
namespace {

using std::chrono::milliseconds;
using support::wayland::Output;

/// Streams pause for a moment when the format changes; a longer pause is a loss.
constexpr milliseconds kPauseGrace(700);

/// When the user stops the sharing, PipeWire can tell that the stream has gone before the portal
/// tells why.
constexpr milliseconds kClosedGrace(500);

/// From the grant to the stream's first state "streaming".
constexpr milliseconds kNegotiation(10000);

/// A frame that a still screen sends by itself is there after a few milliseconds.
constexpr milliseconds kFirstFrameGrace(400);

/// Earlier casts of a still screen that xdg-desktop-portal-wlr has not ended yet take the first
/// drawings for themselves.
constexpr milliseconds kNudgeInterval(300);
constexpr int kMostNudges = 10;

/// Between attempts to get a lost cast back: what D-Bus starts on demand is there at once, the rest
/// tells when it comes. Each attempt that fails doubles the pause.
constexpr milliseconds kFirstPause(500);
constexpr milliseconds kLongestPause(5000);

/// A service takes its name, or makes its socket, before it serves.
constexpr milliseconds kServiceGrace(200);

/// A portal that restores a permission asks nobody and answers soon.
constexpr milliseconds kRestoreLimit(8000);

bool hasSize(const Output& output, const std::pair<int, int>& size) {
    const std::pair turned(size.second, size.first);
    const std::pair logical(output.logicalWidth, output.logicalHeight);
    const std::pair physical(output.width, output.height);
    return size == logical || size == physical || turned == physical;
}

bool fits(const Output& output, const Grant& grant) {
    const bool placed = grant.position && *grant.position != std::pair(0, 0);
    return (!grant.size || hasSize(output, *grant.size)) &&
           (!placed || *grant.position == std::pair(output.x, output.y));
}

milliseconds since(Stream::Clock::time_point time) {
    return std::chrono::duration_cast<milliseconds>(Stream::Clock::now() - time);
}

}  // namespace

const Output* grantedOutput(const std::vector<Output>& outputs, const std::string& wanted,
                            const Grant& grant) {
    const auto isGranted = [&](const Output& output) { return fits(output, grant); };
    const auto named = std::find_if(outputs.begin(), outputs.end(),
                                    [&](const Output& output) { return output.name == wanted; });
    if (named != outputs.end() && isGranted(*named)) {
        return &*named;
    }
    const auto found = std::find_if(outputs.begin(), outputs.end(), isGranted);
    return found != outputs.end() ? &*found : nullptr;
}

CastSession::CastSession(std::string screen, bool withPointer, TokenStore tokens,
                         PortalLimits limits, FrameBox& box)
    : m_screen(std::move(screen)),
      m_withPointer(withPointer),
      m_tokens(std::move(tokens)),
      m_limits(limits),
      m_box(box),
      m_tokenScreen(m_screen) {
    setStatus(CaptureState::Asking, "waiting for the permission to capture the screen",
              "choose it in the desktop's window");
    m_thread = std::thread(&CastSession::run, this);
}

CastSession::~CastSession() {
    m_loop.stop();
    m_thread.join();
}

CaptureStatus CastSession::status() const {
    const std::lock_guard lock(m_mutex);
    return m_status;
}

void CastSession::setStatus(CaptureState state, const std::string& reason,
                            const std::string& advice) {
    const std::lock_guard lock(m_mutex);
    m_status.state = state;
    m_status.reason = reason;
    m_status.advice = advice;
    m_status.ended = state == CaptureState::Refused || state == CaptureState::Stopped ||
                     state == CaptureState::Unable;
}

std::string CastSession::shown() const {
    return name().empty() ? "of the user's choice" : "\"" + name() + "\"";
}

/// The state of a cast that has ended for good.
CaptureState CastSession::stateAfter(End end) {
    switch (end) {
        case End::Refused:
            return CaptureState::Refused;
        case End::Closed:
            return CaptureState::Stopped;
        default:
            return CaptureState::Unable;
    }
}

void CastSession::run() {
    const EventLoop::Entered entered(m_loop);
    m_outputsListed = outputThere();
    while (recoversFrom(cast())) {
    }
    m_services.reset();
}

/// Waits until the next cast may succeed. False: there is to be none.
bool CastSession::recoversFrom(const Ending& ending) {
    if (m_loop.stopped()) {
        return false;
    }
    if (!canRecover(ending)) {
        MODULE_WARN("no screen capture from output {}: {}{}{}. The next start asks again.", shown(),
                    ending.text, ending.advice.empty() ? "" : "; ", ending.advice);
        setStatus(stateAfter(ending.end), ending.text, ending.advice);
        return false;
    }
    if (!std::exchange(m_interrupted, true)) {
        MODULE_WARN("the capture of output {} was interrupted: {}; waiting to go on", shown(),
                    ending.text);
        m_services = std::make_unique<ServiceWatch>(m_loop);
        m_pause = kFirstPause;
    }
    setStatus(CaptureState::Interrupted, ending.text);
    waitForRecovery();
    return true;
}

/// One session with the portal, from its beginning to its end.
CastSession::Ending CastSession::cast() {
    Portal portal(m_loop, m_withPointer, m_limits, [this] { noteUnanswered(); });
    PortalFailure failure;
    Grant grant;
    if (!portal.connect(failure)) {
        return {End::Unable, failure.text, failure.advice};
    }
    if (!ask(portal, grant, failure)) {
        sayWhatThereIs(portal, "");
        return {failure.kind == PortalFailure::Refused ? End::Refused : End::Unable, failure.text,
                failure.advice};
    }
    noteGrant(grant);
    const int remote = portal.openPipeWire(failure);
    if (remote < 0) {
        return {End::Unable, failure.text, failure.advice};
    }
    std::string error;
    const bool drawsPointer =
        m_withPointer && portal.offer().bestCursorMode(true) == CursorMetadata;
    auto stream = Stream::open(m_loop, remote, grant.node, m_box, drawsPointer, error);
    if (!stream) {
        return {End::Unable, error};
    }
    Ending ending = watch(portal, *stream);
    stream.reset();  // The box keeps a copy of the frame whose buffer goes.
    keepLastFrame(name(), m_box.still());
    return ending;
}

bool CastSession::ask(Portal& portal, Grant& grant, PortalFailure& failure) {
    const std::string token = portal.offer().canPersist() ? m_tokens.load(m_tokenScreen) : "";
    if (m_interrupted) {
        return portal.requestMonitor(token, kRestoreLimit, grant, failure);
    }
    if (portal.requestMonitor(token, {}, grant, failure)) {
        return true;
    }
    if (token.empty() || failure.kind != PortalFailure::Failed) {
        return false;
    }
    MODULE_INFO("the stored permission for output {} was not accepted ({}); asking anew", shown(),
                failure.text);
    m_tokens.drop(m_tokenScreen);
    return portal.requestMonitor("", {}, grant, failure);
}

void CastSession::noteUnanswered() {
    MODULE_INFO(
        "the desktop has not answered the question for output {} yet; it stays open until "
        "sending is paused and started again",
        shown());
    setStatus(CaptureState::Unanswered,
              "the desktop has not answered yet (its window may be hidden)");
}

void CastSession::noteGrant(const Grant& grant) {
    noteOutput(grant);
    if (!grant.token.empty() && !m_tokens.save(m_tokenScreen, grant.token)) {
        MODULE_WARN(
            "the permission for output {} can't be stored in {}; it will be asked for again",
            shown(), TokenStore::settingsFolder());
    }
}

void CastSession::noteOutput(const Grant& grant) {
    std::vector<Output> outputs;
    std::string error;
    if (!support::wayland::listOutputs(outputs, error)) {
        return;
    }
    const Output* given = grantedOutput(outputs, m_screen, grant);
    m_given = given != nullptr ? given->name : "";
    m_place = given != nullptr ? std::pair(given->x, given->y) : std::pair(0, 0);
    const bool another = given != nullptr && !m_screen.empty() && given->name != m_screen;
    if (another) {
        MODULE_WARN("the desktop granted output \"{}\" instead of \"{}\"; it is captured",
                    given->name, m_screen);
        // Kept under the wanted name, it would bring the wrong output again without a question.
        m_tokens.drop(m_tokenScreen);
        m_tokenScreen = given->name;
    }
    const std::lock_guard lock(m_mutex);
    m_status.output = another ? given->name : "";
}

/// Handles the stream until it ends.
CastSession::Ending CastSession::watch(Portal& portal, Stream& stream) {
    m_lastShown = false;
    std::unique_ptr<Nudge> nudge;
    int nudges = 0;
    bool vanished = false;
    while (true) {
        const unsigned seen = stream.changes();
        m_loop.runUntil(
            [&] {
                return stream.changes() != seen || portal.closed() || portal.vanished() != vanished;
            },
            nextLook(stream, nudges));
        if (m_loop.stopped()) {
            return {};
        }
        if (!stream.lost().empty()) {
            m_loop.runUntil([&] { return portal.closed(); }, kClosedGrace);
        }
        if (portal.closed()) {
            return {End::Closed, "the sharing was stopped from the desktop"};
        }
        if (!stream.lost().empty()) {
            return {End::Lost, stream.lost()};
        }
        if (std::exchange(vanished, portal.vanished()) != vanished && vanished) {
            MODULE_INFO("the desktop portal has left the session bus; the capture goes on");
        }
        if (!stream.streaming() && m_wasCasting && m_outputsListed && !outputThere()) {
            return {End::Lost, "the monitor or the compositor is gone"};
        }
        if (!stream.streaming() &&
            since(stream.pausedSince()) >= (m_wasCasting ? kPauseGrace : kNegotiation)) {
            return {End::Lost, "the compositor sends no frames (monitor off, or compositor gone)"};
        }
        m_wasCasting = m_wasCasting || stream.streaming();
        noteStream(portal, stream);
        if (stream.frames() > 0) {
            nudge.reset();
        } else if (stream.streaming() && nudges < kMostNudges &&
                   since(stream.pausedSince()) >= kFirstFrameGrace + nudges * kNudgeInterval) {
            if (nudges++ == 0) {
                showLastFrame(stream);
            }
            nudge = Nudge::at(m_place.first, m_place.second);
        }
    }
}

/// When something has to be looked at even if nothing is heard.
milliseconds CastSession::nextLook(const Stream& stream, int nudges) const {
    const milliseconds past = since(stream.pausedSince());
    const auto until = [past](milliseconds limit) {
        return std::max(limit - past, milliseconds(1));
    };
    if (!stream.streaming()) {
        return until(m_wasCasting ? kPauseGrace : kNegotiation);
    }
    const bool waiting = stream.frames() == 0 && nudges < kMostNudges;
    return waiting ? until(kFirstFrameGrace + nudges * kNudgeInterval) : milliseconds(600000);
}

void CastSession::noteStream(const Portal& portal, const Stream& stream) {
    if (!stream.serverVersion().empty()) {
        sayWhatThereIs(portal, stream.serverVersion());
    }
    if (stream.frames() == 0) {
        if (stream.streaming()) {
            noteStillScreen();
        }
        return;
    }
    if (std::exchange(m_interrupted, false)) {
        m_services.reset();
        MODULE_INFO("the capture of output {} goes on, {}x{}", shown(), stream.size().first,
                    stream.size().second);
    } else if (m_size != stream.size()) {
        MODULE_INFO("output {} is captured through PipeWire, {}x{}", shown(), stream.size().first,
                    stream.size().second);
    }
    m_size = stream.size();
    setStatus(CaptureState::Running, "");
}

void CastSession::noteStillScreen() {
    if (m_lastShown) {
        setStatus(CaptureState::LastImage,
                  "the screen's last image is sent until something on it changes");
    } else {
        setStatus(CaptureState::FirstChange, "the image comes with the first change on the screen");
    }
}

void CastSession::showLastFrame(const Stream& stream) {
    StillFrame frame = lastFrame(name());
    const std::pair size(frame.width, frame.height);
    const std::pair turned(frame.height, frame.width);
    const bool fits = stream.negotiatedSize() == size || stream.negotiatedSize() == turned;
    if (!frame.pixels.empty() && fits) {
        m_box.show(std::move(frame));
        m_lastShown = true;
        noteStillScreen();
    }
}

void CastSession::sayWhatThereIs(const Portal& portal, const std::string& server) {
    if (std::exchange(m_saidWhatThereIs, true)) {
        return;
    }
    const PortalOffer& offer = portal.offer();
    MODULE_INFO(
        "{}; PipeWire: library {}, server {}{}{}", offer.describe(), pw_get_library_version(),
        server.empty() ? "not asked" : server, aboutPointer(offer),
        offer.canPersist() ? "" : "; it is too old to keep a permission, so every start asks");
}

const char* CastSession::aboutPointer(const PortalOffer& offer) const {
    if (m_withPointer) {
        return (offer.cursorModes & (CursorMetadata | CursorEmbedded)) == 0
                   ? "; it can't show the pointer"
                   : "";
    }
    return offer.bestCursorMode(false) == CursorEmbedded
               ? "; it can't leave the pointer out of the frames"
               : "";
}

bool CastSession::canRecover(const Ending& ending) {
    switch (ending.end) {
        case End::Unable:
            return m_interrupted;
        case End::Lost:
            return m_wasCasting && !m_tokens.load(m_tokenScreen).empty();
        case End::Closed:
            // Some desktops close the session of a monitor that is switched off.
            return m_outputsListed && !outputThere() && !m_tokens.load(m_tokenScreen).empty();
        case End::Refused:
        case End::Stopped:
            break;
    }
    return false;
}

/// Whether the compositor runs and has the output.
bool CastSession::outputThere() {
    std::vector<Output> outputs;
    std::string error;
    if (!support::wayland::listOutputs(outputs, error)) {
        return false;
    }
    return name().empty() ||
           std::any_of(outputs.begin(), outputs.end(),
                       [this](const Output& output) { return output.name == name(); });
}

/// A portal that is asked for a monitor which is not there would bother the user, so that is left
/// to a compositor that runs: it tells when its outputs change.
void CastSession::waitForRecovery() {
    do {
        support::wayland::OutputWatch outputs;  // Before the look: nothing between both is missed.
        bool changed = false;
        GHolder<GSource> source;
        if (outputs.alive()) {
            source = m_loop.watch(outputs.file(),
                                  [&] { changed = outputs.read() || !outputs.alive() || changed; });
        }
        std::optional<milliseconds> limit = m_pause;
        if (source && m_outputsListed && !outputThere()) {
            limit.reset();
        }
        const auto news = [&] { return m_services->came() || changed; };
        if (m_loop.runUntil(news, limit)) {
            m_pause = kFirstPause;
            m_services->forget();
            m_loop.runUntil([] { return false; }, kServiceGrace);
        } else {
            m_pause = std::min(2 * m_pause, kLongestPause);
        }
    } while (!m_loop.stopped() && m_outputsListed && !outputThere());
}

}  // namespace capture::pipewire
