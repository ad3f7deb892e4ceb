#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ndi/ndilib.h"
#include "sender/bgraconverter.h"
#include "sender/framequeue.h"
#include "sender/ndisenderbase.h"
#include "support/ffmpeghandles.h"

namespace capture {
struct GrabDevice;
}

/// The demuxer and decoder of one opened capture.
struct VsFrame {
    support::DemuxerPtr demuxer;
    int streamIndex = 0;
    support::CodecContextPtr decoder;
    support::PacketPtr packet;  ///< Reused for every read.
};

/// Grabs the desktop through FFmpeg's grabbing device for this platform: one thread reads and
/// decodes, another one converts and sends. The device paces the reads at the chosen rate, and the
/// NDI send paces itself at the announced rate. A queue of 4 frames connects them: a slow send
/// blocks the capture instead of dropping frames. With an exact rate only the newest frame in the
/// queue is sent: after a delay of either side its frames would stay there, and be late, for ever.
///
/// pause(), and with it stop(), reset() and the destructor, waits for one read of the device and
/// one NDI send. A read takes at most one frame interval plus the display's response time. A read
/// also ends when the display goes away; some devices then keep delivering old frames.
///
/// Coordinates are those of the whole desktop; the output name is stored but not used. Failures of
/// initParmeter() are printed to standard output and logged with their cause. A capture that fails
/// later is logged; nothing more is sent until the sender is reset. captureStatus() tells either.
class NDISender : public NDISenderBase {
public:
    /// `instance` may be null; it must outlive this object otherwise.
    NDISender(const std::string& name, NDIlib_send_instance_t instance);
    ~NDISender() override;
    NDISender(const NDISender&) = delete;
    NDISender& operator=(const NDISender&) = delete;

    bool initParmeter(int x, int y, int w, int h, int framerate, std::string outputName) override;
    void setOptions(const sender::SenderOptions& options) override { m_options = options; }
    void start() override;
    void pause() override;
    void stop() override;
    void reset() override;
    [[nodiscard]] std::uint64_t passes() const override { return m_passes; }
    [[nodiscard]] CaptureStatus captureStatus() const override;
    void setAuxName(std::string name) override;

private:
    [[nodiscard]] bool openDevice(const std::string& rate);
    [[nodiscard]] int openDemuxer(const capture::GrabDevice& device, const std::string& rate);
    [[nodiscard]] bool openDecoder();
    void reportFailure(const char* text, int error);

    void captureFrame(VsFrame* vsFrame);
    void decodeAndPush(VsFrame& vsFrame);
    void sendFrameThread();

    NDIlib_send_instance_t m_pSendInstance;
    NDIlib_video_frame_v2_t m_videoFrame{};
    sender::SenderOptions m_options;
    std::optional<sender::FrameRate> m_exactRate;
    std::vector<std::uint8_t> m_frameBuffer;  ///< m_videoFrame.p_data points here.
    std::unique_ptr<VsFrame> m_pVsFrame;
    std::unique_ptr<std::thread> m_pSendThread;
    std::unique_ptr<std::thread> m_pCaptureThread;
    std::atomic<bool> m_bRun{true};
    std::atomic<bool> m_bOpened{false};
    std::atomic<std::uint64_t> m_passes{0};
    std::atomic<int> m_captureError{0};  ///< FFmpeg's, which ended the capture; 0: none has.
    sender::BgraConverter m_converter;
    int m_x = 0;
    int m_y = 0;
    int m_w = 1920;
    int m_h = 1080;
    std::string m_device;  ///< Device and display, for log lines.
    std::string m_name;
    std::string m_auxName;
    FrameQueue m_queue;
    std::string m_outputName;
};
