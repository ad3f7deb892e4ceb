#include "capture/x11/x11capturescreen.h"

#include <cstdlib>
#include <string_view>
#include <thread>
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

/// After this many reads without damage (a third of a second at the sender's pace) the screen
/// counts as still.
constexpr int kStillReads = 100;
constexpr std::chrono::milliseconds kStillWait(15);

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

Rect areaOf(const Monitor& monitor) {
    return {monitor.x, monitor.y, monitor.width, monitor.height};
}

std::string namesOf(const std::vector<Monitor>& monitors) {
    std::string names;
    for (const auto& monitor : monitors) {
        names += (names.empty() ? "" : ", ") + monitor.name;
    }
    return names.empty() ? "none" : names;
}

}  // namespace

X11CaptureScreen::X11CaptureScreen(std::string display) : m_givenDisplay(std::move(display)) {}

X11CaptureScreen::~X11CaptureScreen() = default;

bool X11CaptureScreen::InitCapture(const wchar_t* deviceName) {
    ReleaseAll();
    warnOfWayland();
    m_display = m_givenDisplay.empty() ? variable("DISPLAY") : m_givenDisplay;
    std::string error;
    m_session = ScreenSession::open(m_display, error);
    if (!m_session) {
        HV_WARN("capturing from X display \"{}\" failed: {}", m_display, error);
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
    return true;
}

void X11CaptureScreen::ReleaseAll() {
    m_initialized = false;
    m_failing = false;
    m_stillReads = 0;
    m_lastRead.reset();
    m_output.reset();
    m_session.reset();
    m_dirtyRows = {};
}

bool X11CaptureScreen::ReadScreenData(int x, int y, int width, int height, unsigned char* dest) {
    if (!m_initialized) {
        return false;
    }
    if (readFrame(x, y, width, height, dest)) {
        m_stillReads = 0;
        return true;
    }
    return waitForDamage() && readFrame(x, y, width, height, dest);
}

/// Waits after a read without damage. True: the server has sent something.
bool X11CaptureScreen::waitForDamage() {
    if (m_stillReads < kStillReads) {
        ++m_stillReads;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return false;
    }
    // On a still screen most of the cost is waking up a few hundred times a second. This wait is
    // longer, but damage ends it at once.
    const bool announced = m_session && m_session->waitForEvent(kStillWait);
    if (!m_session) {
        std::this_thread::sleep_for(kStillWait);
    }
    if (announced) {
        m_stillReads = 0;
    }
    return announced;
}

bool X11CaptureScreen::readFrame(int x, int y, int width, int height, unsigned char* dest) {
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
    if (!m_output || (m_failing && !retryDue())) {
        return false;
    }
    const Read read = {
        capture::cutRectangle(x, y, width, height, m_output->width, m_output->height), *m_output,
        width, dest};
    if (!chooseRects(read)) {
        return false;
    }
    const Rect area = {m_output->x + read.cut.x, m_output->y + read.cut.y, read.cut.width,
                       read.cut.height};
    if (!m_session->reader().read(m_dirtyRects, area, dest,
                                  static_cast<std::size_t>(area.width) * 4)) {
        fail();
        return false;
    }
    if (std::exchange(m_failing, false)) {
        HV_INFO("output \"{}\" can be read again", support::utf8FromWide(m_deviceName));
    }
    reportDirtyRows(read);
    m_lastRead = read;
    return true;
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
    m_session = ScreenSession::open(m_display, error);
    if (!m_session) {
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
bool X11CaptureScreen::chooseRects(const Read& read) {
    auto* const damage = m_session->damage();
    const Rect area = {read.output.x + read.cut.x, read.output.y + read.cut.y, read.cut.width,
                       read.cut.height};
    if (damage != nullptr && m_lastRead == read) {
        if (!damage->pending()) {
            return false;
        }
        if (damage->take(m_damage)) {
            capture::x11::coverDamage(m_damage, area, m_dirtyRects);
            return !m_dirtyRects.empty();
        }
    } else if (damage != nullptr) {
        damage->discard();
    }
    m_lastRead.reset();
    m_dirtyRects.clear();
    if (area.width > 0 && area.height > 0) {
        m_dirtyRects.push_back(area);
    }
    return true;
}

void X11CaptureScreen::reportDirtyRows(const Read& read) {
    // Rows that were cut short are not at the frame's own row positions.
    m_dirtyRows.known = m_lastRead == read && read.cut.width == read.requestedWidth;
    m_dirtyRows.spans.clear();
    if (m_dirtyRows.known) {
        for (const auto& rect : m_dirtyRects) {
            m_dirtyRows.spans.push_back({rect.y - read.output.y - read.cut.y, rect.height});
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
