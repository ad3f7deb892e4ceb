#include "capture/pipewire/pipewirecapturescreen.h"

#include <utility>

#include "capture/pipewire/lastframes.h"
#include "support/utf8.h"

using capture::pipewire::CastSession;
using capture::pipewire::FrameBox;

namespace {

/// Frames end the wait; it bounds how long a sender that is stopped has to wait for this thread.
constexpr std::chrono::milliseconds kFrameWait(15);

}  // namespace

PipeWireCaptureScreen::PipeWireCaptureScreen(capture::pipewire::TokenStore tokens,
                                             capture::pipewire::PortalLimits limits)
    : m_tokens(std::move(tokens)), m_limits(limits) {}

PipeWireCaptureScreen::~PipeWireCaptureScreen() {
    PipeWireCaptureScreen::ReleaseAll();
}

bool PipeWireCaptureScreen::InitCapture(const wchar_t* deviceName) {
    const std::string screen = deviceName != nullptr ? support::utf8FromWide(deviceName) : "";
    m_resumed = false;
    m_box.forgetReads();
    if (m_session && m_castsPointer == m_drawsPointer) {
        const CaptureStatus status = m_session->status();
        if (!status.ended && (screen == m_session->screen() || screen == status.output)) {
            return true;
        }
    }
    begin(screen);
    return true;
}

void PipeWireCaptureScreen::begin(const std::string& screen) {
    ReleaseAll();
    auto session = std::make_shared<CastSession>(screen, m_drawsPointer, m_tokens, m_limits, m_box);
    m_castsPointer = m_drawsPointer;
    const std::lock_guard lock(m_mutex);
    m_session = std::move(session);
}

void PipeWireCaptureScreen::ReleaseAll() {
    std::shared_ptr<CastSession> session;
    {
        const std::lock_guard lock(m_mutex);
        session = std::move(m_session);
    }
    session.reset();
    m_box.clear();
    m_dirtyRows = {};
}

void PipeWireCaptureScreen::Resume() {
    const bool again = std::exchange(m_resumed, true);
    if (!again || !m_session) {
        return;
    }
    const CaptureStatus status = m_session->status();
    if (status.ended || status.state == CaptureState::Unanswered) {
        begin(std::string(m_session->screen()));  // Takes a question that is open back.
    }
}

std::shared_ptr<CastSession> PipeWireCaptureScreen::session() const {
    const std::lock_guard lock(m_mutex);
    return m_session;
}

CaptureStatus PipeWireCaptureScreen::Status() const {
    const auto current = session();
    return current ? current->status() : CaptureStatus();
}

StillFrame PipeWireCaptureScreen::Still(const std::string& output) const {
    StillFrame frame;
    if (const auto current = session()) {
        const std::string granted = current->status().output;
        frame = output == (granted.empty() ? current->screen() : granted) ? m_box.still() : frame;
    }
    return frame.pixels.empty() ? capture::pipewire::lastFrame(output) : frame;
}

bool PipeWireCaptureScreen::ReadScreenData(int x, int y, int width, int height,
                                           unsigned char* dest) {
    if (!m_session) {
        return false;
    }
    const FrameBox::Request request = {x, y, width, height, dest};
    return m_box.read(request, m_dirtyRows) ||
           (m_box.wait(kFrameWait) && m_box.read(request, m_dirtyRows));
}
