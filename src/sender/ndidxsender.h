#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "capture/screencapturer.h"
#include "ndi/ndilib.h"
#include "sender/capturewatch.h"
#include "sender/ndisenderbase.h"

/// The sender of the default capture path: one thread reads the region from the platform's capturer
/// into the frame buffer, sends it and paces itself.
///
/// The announced rate is 30000/1001, and the pacing sleeps on every second frame only; both are
/// intended. With an exact rate the send call, which returns at the next slot of the announced
/// rate, paces the thread alone.
class NdiDxSender : public NDISenderBase {
public:
    /// The clocks and the sleep of the send thread; a test replaces them. Both clocks are
    /// monotonic.
    struct Timing {
        std::function<std::int64_t()> clockMs;  ///< Milliseconds since the program started.
        std::function<std::int64_t()> clockUs;  ///< Microseconds; only differences are used.
        std::function<void(std::int64_t milliseconds)> sleep;

        static Timing real();
    };

    /// `sendInstance` is used and never owned; it outlives the sender.
    NdiDxSender(const std::string& name, NDIlib_send_instance_t sendInstance);
    NdiDxSender(const std::string& name, NDIlib_send_instance_t sendInstance,
                std::unique_ptr<ScreenCapturer> capturer, Timing timing);
    ~NdiDxSender() override;

    /// The rectangle is relative to the output's corner. False also when `outputName` is empty or
    /// has more than 199 wide characters.
    bool initParmeter(int x, int y, int w, int h, int framerate, std::string outputName) override;
    void setOptions(const sender::SenderOptions& options) override { m_options = options; }
    void start() override;
    void pause() override;
    void stop() override;
    void reset() override;
    [[nodiscard]] bool isDxSender() const override { return true; }
    [[nodiscard]] bool moveRegion(int x, int y) override;
    [[nodiscard]] std::uint64_t passes() const override { return m_passes; }
    [[nodiscard]] CaptureStatus captureStatus() const override;
    [[nodiscard]] StillFrame captureStill(const std::string& output) const override;
    void setAuxName(std::string name) override;

private:
    struct SenderParameters {
        int x = 0;
        int y = 0;
        int w = 1920;
        int h = 1080;
        int framerate = 25;
        std::string outputName;
    };

    [[nodiscard]] bool initCapture(const std::string& outputName);
    void goOnWithoutFrame();
    void initAgain();
    [[nodiscard]] bool allocateFrame(int w, int h);
    void sendFrameThread();
    [[nodiscard]] bool readFrame();
    void sendFrame(bool buildsOnLastOne);

    const std::string m_name;
    std::string m_auxName;
    const NDIlib_send_instance_t m_pSendInstance;
    const Timing m_timing;
    NDIlib_video_frame_v2_t m_videoFrame;
    sender::SenderOptions m_options;
    SenderParameters m_parameters;
    int m_sendFrameRate = 0;  ///< 0: the thread does not pace itself.
    bool m_bOpened = false;
    std::atomic<bool> m_bRun{true};
    std::atomic<std::uint64_t> m_passes{0};
    std::atomic<std::uint64_t> m_position{0};  ///< Of the rectangle: x in the upper half, y.
    std::vector<std::uint32_t> m_frame;  ///< BGRA, unless the capturer keeps the frame itself.

    /// Around InitCapture() and every read. A read may wait for a new frame under it; pause()
    /// therefore interrupts the capturer first, which needs no lock, and then joins the thread.
    std::mutex m_captureMutex;
    std::unique_ptr<ScreenCapturer> m_capturer;
    sender::CaptureWatch m_watch;
    std::unique_ptr<std::thread> m_sendThread;
};
