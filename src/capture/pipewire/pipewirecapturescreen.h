#pragma once

#include <memory>
#include <string>

#include "capture/pipewire/castsession.h"
#include "capture/pipewire/framebox.h"
#include "capture/pipewire/tokenstore.h"
#include "capture/screencapturer.h"

/// Captures one output of a Wayland compositor through the desktop portal and PipeWire.
///
/// InitCapture() returns true at once; frames begin when the user has granted the screen, which
/// happens without a question where an earlier permission is stored. A cast that goes on already
/// for the same output is kept, so that a new region costs no new session. A refusal, or "stop
/// sharing" in the desktop, ends the cast until InitCapture() or Resume() asks again.
///
/// ReadScreenData() waits up to 15 ms for a frame.
class PipeWireCaptureScreen : public ScreenCapturer {
public:
    PipeWireCaptureScreen() : PipeWireCaptureScreen(capture::pipewire::TokenStore()) {}
    explicit PipeWireCaptureScreen(capture::pipewire::TokenStore tokens,
                                   capture::pipewire::PortalLimits limits = {});
    ~PipeWireCaptureScreen() override;

    void DrawPointer(bool draw) override { m_drawsPointer = draw; }
    bool InitCapture(const wchar_t* deviceName) override;
    bool ReadScreenData(int x, int y, int width, int height, unsigned char* dest) override;
    [[nodiscard]] bool ReadsAnyRectangle() const override { return true; }
    void ReleaseAll() override;
    void Resume() override;
    [[nodiscard]] CaptureStatus Status() const override;
    [[nodiscard]] StillFrame Still(const std::string& output) const override;
    [[nodiscard]] const support::DirtyRows& DirtyRows() const override { return m_dirtyRows; }

private:
    void begin(const std::string& screen);
    [[nodiscard]] std::shared_ptr<capture::pipewire::CastSession> session() const;

    const capture::pipewire::TokenStore m_tokens;
    const capture::pipewire::PortalLimits m_limits;
    capture::pipewire::FrameBox m_box;
    support::DirtyRows m_dirtyRows;
    bool m_drawsPointer = false;
    bool m_castsPointer = false;  ///< What the session was begun with.
    bool m_resumed = true;        ///< Resume() was called since InitCapture().
    mutable std::mutex m_mutex;   ///< Guards the pointer; the session guards itself.
    std::shared_ptr<capture::pipewire::CastSession> m_session;
};
