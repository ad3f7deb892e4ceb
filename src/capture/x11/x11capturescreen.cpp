#include "capture/x11/x11capturescreen.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <utility>

#include "capture/x11/screensession.h"
#include "support/log.h"
#include "support/utf8.h"

using capture::x11::Rect;
using capture::x11::ScreenSession;
using support::x11::Monitor;

namespace {

/// Between attempts to read or to connect again: rare enough to cost nothing.
constexpr std::chrono::milliseconds kRetryInterval(500);

/// A still screen costs this program a wake-up each time it passes. It bounds the delay of retries
/// and of the check for missing damage; damage itself ends the wait.
constexpr std::chrono::milliseconds kLongestWait(200);

/// Damage of at most this many rows is taken for lines of text, in which the next damage will be
/// about as many pixels to the left, or anywhere to the right.
constexpr int kTextHeight = 64;

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

Rect areaOf(const Monitor& monitor) {
    return {monitor.x, monitor.y, monitor.width, monitor.height};
}

std::size_t strideOf(const Rect& area) {
    return static_cast<std::size_t>(area.width) * 4;
}

std::string namesOf(const std::vector<Monitor>& monitors) {
    std::string names;
    for (const auto& monitor : monitors) {
        names += (names.empty() ? "" : ", ") + monitor.name;
    }
    return names.empty() ? "none" : names;
}

}  // namespace

X11CaptureScreen::X11CaptureScreen(std::string display, capture::x11::EventFilter filter)
    : m_givenDisplay(std::move(display)), m_eventFilter(std::move(filter)) {}

X11CaptureScreen::~X11CaptureScreen() = default;

bool X11CaptureScreen::InitCapture(const wchar_t* deviceName) {
    ReleaseAll();
    warnOfWayland();
    m_display = m_givenDisplay.empty() ? variable("DISPLAY") : m_givenDisplay;
    std::string error;
    if (!openSession(error)) {
        HV_WARN("capturing from X display \"{}\" failed: {}", m_display, error);
        m_failure.reason = error;
        return false;
    }
    const auto monitors = m_session->monitors();
    if (deviceName != nullptr) {
        m_deviceName = deviceName;
    } else if (!monitors.empty()) {
        m_deviceName = support::wideFromUtf8(monitors.front().name);
    }
    locateOutput();
    if (!m_output) {
        HV_WARN(
            "capturing output \"{}\" of X display \"{}\" failed: it does not exist or is off; "
            "outputs: {}",
            support::utf8FromWide(m_deviceName), m_display, namesOf(monitors));
        m_failure.reason = "there is no such output, or it is off";
        ReleaseAll();
        return false;
    }
    HV_INFO("capturing output \"{}\" of X display \"{}\", {}x{} at {},{}{}",
            support::utf8FromWide(m_deviceName), m_display, m_output->width, m_output->height,
            m_output->x, m_output->y,
            m_session->damage() != nullptr
                ? ""
                : "; the server lacks the DAMAGE extension, so every frame is read whole");
    m_initialized = true;
    m_failure.reason.clear();
    return true;
}

void X11CaptureScreen::ReleaseAll() {
    m_initialized = false;
    m_failing = false;
    m_damageComplete = true;
    m_lastRead.reset();
    m_output.reset();
    m_session.reset();
    m_dirtyRows = {};
    m_drawn.forget();
    m_shown = {};
}

bool X11CaptureScreen::openSession(std::string& error) {
    m_session = ScreenSession::open(m_display, m_eventFilter, error);
    if (m_session && m_drawsPointer) {
        m_session->watchPointer();
    }
    return m_session != nullptr;
}

bool X11CaptureScreen::ReadScreenData(int x, int y, int width, int height, unsigned char* dest) {
    return readOrWait({x, y, width, height}, dest, Memory::Dest) != nullptr;
}

unsigned char* X11CaptureScreen::ReadFrame(int x, int y, int width, int height,
                                           unsigned char* dest) {
    return readOrWait({x, y, width, height}, dest, Memory::OwnIfPossible);
}

void X11CaptureScreen::Interrupt() {
    m_interrupt.raise();
}

unsigned char* X11CaptureScreen::readOrWait(const Rect& wanted, unsigned char* dest,
                                            Memory memory) {
    if (!m_initialized) {
        return nullptr;
    }
    if (auto* const frame = readNow(wanted, dest, memory)) {
        return frame;
    }
    if (m_session && m_output && !m_failing) {
        m_session->waitForEvent(m_interrupt, kLongestWait);
    } else {
        // Damage is left pending, so only time can help.
        m_interrupt.wait(-1, kLongestWait);
    }
    auto* const frame = readNow(wanted, dest, memory);
    m_failure.reason = frame != nullptr ? "" : reasonOfFailure();
    return frame;
}

const char* X11CaptureScreen::reasonOfFailure() const {
    if (!m_session) {
        return "the X server has closed the connection";
    }
    if (!m_output) {
        return "the output is switched off";
    }
    return m_failing ? "the output cannot be read" : "";
}

/// Null: no new frame, or an error.
unsigned char* X11CaptureScreen::readNow(const Rect& wanted, unsigned char* dest, Memory memory) {
    if (!outputReadable()) {
        return nullptr;
    }
    const auto cut = capture::cutRectangle(wanted.x, wanted.y, wanted.width, wanted.height,
                                           m_output->width, m_output->height);
    const Rect area = {m_output->x + cut.x, m_output->y + cut.y, cut.width, cut.height};
    auto& reader = m_session->reader();
    // The caller expects width * height pixels in memory that is not its own.
    const bool whole = cut.width == wanted.width && cut.height == wanted.height;
    unsigned char* const own =
        memory == Memory::OwnIfPossible && whole ? reader.frame(area) : nullptr;
    unsigned char* const pixels = own != nullptr ? own : dest;

    const Read read = {cut, *m_output, wanted.width, pixels};
    const capture::DrawnPointer::Frame frame = {pixels, strideOf(area), cut.width, cut.height};
    const support::RowSpan pointerBefore = m_drawn.part();
    if (m_lastRead == read) {
        m_drawn.remove(frame);
    } else {
        m_drawn.forget();  // Everything is fetched again, perhaps into other memory.
    }
    if (m_session->pointer() != nullptr) {
        m_session->pointer()->request();
    }
    const Fetched fetched = fetch(read, area, own != nullptr);
    const bool pointerChanged =
        drawPointer(area, frame) && (pointerBefore.count > 0 || m_drawn.part().count > 0);
    if (fetched == Fetched::Failed) {
        fail();
        return nullptr;
    }
    if (fetched == Fetched::Nothing) {
        if (!pointerChanged) {
            return nullptr;
        }
        m_dirtyRects.clear();
    }
    if (std::exchange(m_failing, false)) {
        HV_INFO("output \"{}\" can be read again", support::utf8FromWide(m_deviceName));
    }
    reportDirtyRows(read);
    if (pointerChanged) {
        capture::addDirty(m_dirtyRows, pointerBefore);
        capture::addDirty(m_dirtyRows, m_drawn.part());
    }
    m_lastRead = read;
    return pixels;
}

/// True: another pointer than the last time, or elsewhere in the frame.
bool X11CaptureScreen::drawPointer(const Rect& area, const capture::DrawnPointer::Frame& frame) {
    auto* const pointer = m_session->pointer();
    if (pointer == nullptr || !pointer->receive()) {
        return false;
    }
    Shown shown;
    if (const auto* const shape = pointer->shape()) {
        shown = {pointer->x() - area.x, pointer->y() - area.y, pointer->shapeNumber()};
        m_drawn.draw(*shape, shown.x, shown.y, frame);
    }
    return !(shown == std::exchange(m_shown, shown));
}

/// Brings the pixels of `read` up to date.
X11CaptureScreen::Fetched X11CaptureScreen::fetch(const Read& read, const Rect& area,
                                                  bool intoOwn) {
    const auto* const damage = m_session->damage();
    if (intoOwn && m_damageComplete && damage != nullptr && damage->pending() &&
        m_lastRead == read && !m_predicted.empty()) {
        return fetchPredicted(area);
    }
    if (!chooseRects(read, area)) {
        return Fetched::Nothing;
    }
    auto& reader = m_session->reader();
    bool complete = false;
    if (intoOwn) {
        capture::x11::widen(m_dirtyRects, area);
        complete = reader.readIntoFrame(m_dirtyRects, area);
        m_predicted.clear();
        if (m_lastRead) {  // Not after a first, whole read.
            predict(m_dirtyRects, area);
        }
    } else {
        complete = reader.read(m_dirtyRects, area, read.dest, strideOf(area));
    }
    return complete ? Fetched::Complete : Fetched::Failed;
}

/// Takes the damage and, in the same round trip, the pixels that it will probably cover, because
/// most of the cost of a small frame is waiting for the server. What the server has written to its
/// place counts as dirty: it may already show what later damage will report.
X11CaptureScreen::Fetched X11CaptureScreen::fetchPredicted(const Rect& area) {
    auto& damage = *m_session->damage();
    auto& reader = m_session->reader();
    damage.requestRegion();
    reader.requestIntoFrame(m_predicted, area);
    const bool known = damage.receiveRegion(m_damage);
    capture::x11::coverDamage(m_damage, area, m_taken);
    m_damageCheck.noteDamage(m_taken);
    bool complete = reader.receiveIntoFrame(m_predicted, m_taken, area) && known;
    if (complete && m_taken.empty()) {
        m_predicted.clear();
        return Fetched::Nothing;
    }
    if (complete && !capture::x11::cover(m_predicted, m_taken)) {
        capture::x11::widen(m_taken, area);
        complete = reader.readIntoFrame(m_taken, area);
    }
    m_dirtyRects.clear();
    std::copy_if(m_predicted.begin(), m_predicted.end(), std::back_inserter(m_dirtyRects),
                 [&area](const Rect& rect) { return rect.width == area.width; });
    capture::x11::mergeRects(m_dirtyRects, m_taken);
    predict(m_taken, area);
    return complete ? Fetched::Complete : Fetched::Failed;
}

/// The next damage probably covers the same rectangles, or lines of text a little further on.
void X11CaptureScreen::predict(const std::vector<Rect>& rects, const Rect& area) {
    m_predicted = rects;
    capture::x11::widen(m_predicted, area);
    for (auto& rect : m_predicted) {
        if (rect.height <= kTextHeight && rect.width < area.width) {
            rect = capture::x11::intersect(
                {rect.x - kTextHeight, rect.y, kTextHeight + area.width / 2, rect.height}, area);
        }
    }
}

/// Handles what the server has sent. False: there is nothing to read from now.
bool X11CaptureScreen::outputReadable() {
    if (!m_session && !connect()) {
        return false;
    }
    m_session->poll();
    if (!m_session->alive()) {
        HV_WARN("the X server of display \"{}\" closed the connection; waiting for it to return",
                m_display);
        m_lastRead.reset();
        m_output.reset();
        m_session.reset();
        return false;
    }
    if (m_session->takeMonitorsChanged()) {
        m_nextTry = {};
        locateOutput();
    }
    return m_output && (!m_failing || retryDue());
}

void X11CaptureScreen::warnOfWayland() {
    const bool wayland =
        variable("XDG_SESSION_TYPE") == "wayland" || !variable("WAYLAND_DISPLAY").empty();
    if (wayland && !std::exchange(m_warnedOfWayland, true)) {
        HV_WARN(
            "this is a Wayland session: only windows of X11 programs are captured, everything else "
            "is black. Log in to an X11 (Xorg) session to capture the whole screen.");
    }
}

bool X11CaptureScreen::retryDue() {
    const auto now = Clock::now();
    if (now < m_nextTry) {
        return false;
    }
    m_nextTry = now + kRetryInterval;
    return true;
}

bool X11CaptureScreen::connect() {
    if (!retryDue()) {
        return false;
    }
    std::string error;
    if (!openSession(error)) {
        return false;
    }
    HV_INFO("the X server of display \"{}\" is back", m_display);
    locateOutput();
    return true;
}

/// Finds the output's current rectangle and logs a change.
void X11CaptureScreen::locateOutput() {
    std::optional<Rect> found;
    for (const auto& monitor : m_session->monitors()) {
        if (!found && support::wideFromUtf8(monitor.name) == m_deviceName) {
            found = areaOf(monitor);
        }
    }
    // After any change the screen's memory may have been replaced.
    m_lastRead.reset();
    if (!m_initialized || found == m_output) {
        m_output = found;
        return;
    }
    m_output = found;
    if (m_output) {
        HV_INFO("output \"{}\" is now {}x{} at {},{}", support::utf8FromWide(m_deviceName),
                m_output->width, m_output->height, m_output->x, m_output->y);
    } else {
        HV_WARN("output \"{}\" was switched off; waiting for it",
                support::utf8FromWide(m_deviceName));
    }
}

/// Chooses the rectangles to fetch. False: none, the buffer is up to date.
bool X11CaptureScreen::chooseRects(const Read& read, const Rect& area) {
    auto* const damage = m_damageComplete ? m_session->damage() : nullptr;
    if (damage != nullptr && m_lastRead == read) {
        if (!damage->pending() && !findMissingDamage(read, area)) {
            return false;
        }
        if (m_damageComplete && damage->take(m_damage)) {
            capture::x11::coverDamage(m_damage, area, m_dirtyRects);
            m_damageCheck.noteDamage(m_dirtyRects);
            return !m_dirtyRects.empty();
        }
    } else if (damage != nullptr) {
        damage->discard();
        m_damageCheck.reset();
    }
    m_lastRead.reset();
    m_dirtyRects.clear();
    if (area.width > 0 && area.height > 0) {
        m_dirtyRects.push_back(area);
    }
    return true;
}

bool X11CaptureScreen::findMissingDamage(const Read& read, const Rect& area) {
    if (!m_damageCheck.findsMissingDamage(*m_session, area, read.dest, strideOf(area))) {
        return false;
    }
    m_damageComplete = false;
    HV_WARN(
        "output \"{}\" of X display \"{}\" changes without damage reports (the driver does not "
        "report direct rendering): every frame is read whole from now on, which costs more CPU "
        "time",
        support::utf8FromWide(m_deviceName), m_display);
    return true;
}

void X11CaptureScreen::reportDirtyRows(const Read& read) {
    // Rows that were cut short are not at the frame's own row positions.
    m_dirtyRows.known = m_lastRead == read && read.cut.width == read.requestedWidth;
    m_dirtyRows.spans.clear();
    if (m_dirtyRows.known) {
        for (const auto& rect : m_dirtyRects) {
            const int left = rect.x - read.output.x - read.cut.x;
            m_dirtyRows.spans.push_back(
                {rect.y - read.output.y - read.cut.y, rect.height, left, left + rect.width});
        }
    }
}

/// The buffer mixes old and new rows, so the next read fetches the whole area.
void X11CaptureScreen::fail() {
    m_lastRead.reset();
    m_nextTry = Clock::now() + kRetryInterval;
    if (m_session->alive() && !std::exchange(m_failing, true)) {
        HV_WARN("output \"{}\" of X display \"{}\" can't be read; retrying every half second",
                support::utf8FromWide(m_deviceName), m_display);
    }
}
