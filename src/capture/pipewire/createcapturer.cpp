#include "capture/pipewire/createcapturer.h"

#include <string>
#include <utility>

#include "support/log.h"
#include "support/wayland/module.h"

namespace capture::pipewire {
namespace {

std::unique_ptr<ScreenCapturer> fromModule(support::wayland::ModuleError& error) {
    using Create = ScreenCapturer* (*)();
    const auto create =
        reinterpret_cast<Create>(support::wayland::moduleFunction("tarsinCreateCapturer", error));
    return std::unique_ptr<ScreenCapturer>(create != nullptr ? create() : nullptr);
}

/// Stands for the module's capturer from the first InitCapture() that finds it.
class LateCapturer : public ScreenCapturer {
public:
    void DrawPointer(bool draw) override { m_drawsPointer = draw; }

    bool InitCapture(const wchar_t* deviceName) override {
        if (!m_real) {
            m_error = {};
            m_real = fromModule(m_error);
        }
        if (m_real) {
            m_real->DrawPointer(m_drawsPointer);
            return m_real->InitCapture(deviceName);
        }
        HV_WARN(
            "no screen capture in this Wayland session: {}. Start the sending again afterwards.",
            m_error.text());
        return true;
    }

    bool ReadScreenData(int x, int y, int width, int height, unsigned char* dest) override {
        return m_real && m_real->ReadScreenData(x, y, width, height, dest);
    }

    void ReleaseAll() override {
        if (m_real) {
            m_real->ReleaseAll();
        }
    }

    void Resume() override {
        if (m_real) {
            m_real->Resume();
        }
    }

    // Read by the thread that calls InitCapture(), like everything the module's absence touches.
    [[nodiscard]] CaptureStatus Status() const override {
        if (m_real) {
            return m_real->Status();
        }
        if (m_error.reason.empty()) {
            return {};
        }
        return {CaptureState::Unable, m_error.reason, true, m_error.advice};
    }

    [[nodiscard]] bool ReadsAnyRectangle() const override {
        return m_real && m_real->ReadsAnyRectangle();
    }

    [[nodiscard]] StillFrame Still(const std::string& output) const override {
        return m_real ? m_real->Still(output) : StillFrame();
    }

    [[nodiscard]] const support::DirtyRows& DirtyRows() const override {
        return m_real ? m_real->DirtyRows() : m_none;
    }

private:
    std::unique_ptr<ScreenCapturer> m_real;
    support::wayland::ModuleError m_error;
    bool m_drawsPointer = false;
    support::DirtyRows m_none;
};

}  // namespace

std::unique_ptr<ScreenCapturer> createCapturer() {
    support::wayland::ModuleError error;
    if (auto capturer = fromModule(error)) {
        return capturer;
    }
    return std::make_unique<LateCapturer>();
}

}  // namespace capture::pipewire
