#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ndi/ndilib.h"
#include "sender/bgraconverter.h"
#include "sender/framequeue.h"
#include "sender/ndisenderbase.h"
#include "support/ffmpeghandles.h"

/// What one opened capture needs to read and decode.
struct VsFrame {
    support::DemuxerPtr demuxer;
    int streamIndex = 0;
    support::CodecContextPtr decoder;
    support::PacketPtr packet;  ///< The one packet that every read fills again.
};

/// Grabs the desktop through FFmpeg's grabbing device of this platform: one thread reads and
/// decodes, another one converts and sends. The device paces the reads at the chosen rate, the NDI
/// send paces itself at the announced one, and a queue of 4 frames lies between, which makes a
/// slow send hold the capture up rather than drop frames.
///
/// pause(), and with it stop(), reset() and the destructor, waits for one read of the device and
/// one NDI send. A read lasts at most one frame interval and the display's answer, which the
/// window depends on as well. A display that goes away ends the waiting; some devices then go on
/// handing out old frames.
///
/// Coordinates are those of the whole desktop; the output's name is kept and not needed. Failures
/// of initParmeter() are said on standard output, and with their cause in the log. A capture that
/// breaks down later is logged; nothing more is sent until the sender is reset.
class NDISender : public NDISenderBase {
public:
    /// `instance` may be null; it must outlive this object otherwise.
    NDISender(const std::string& name, NDIlib_send_instance_t instance);
    ~NDISender() override;
    NDISender(const NDISender&) = delete;
    NDISender& operator=(const NDISender&) = delete;

    bool initParmeter(int x, int y, int w, int h, int framerate, std::string outputName) override;
    void start() override;
    void pause() override;
    void stop() override;
    void reset() override;
    void setAuxName(std::string name) override;

private:
    [[nodiscard]] bool openDevice(int rate);
    [[nodiscard]] bool openDecoder();
    void reportFailure(const char* text, int error) const;

    void captureFrame(VsFrame* vsFrame);
    void decodeAndPush(VsFrame& vsFrame);
    void sendFrameThread();

    NDIlib_send_instance_t m_pSendInstance;
    NDIlib_video_frame_v2_t m_videoFrame{};
    std::vector<std::uint8_t> m_frameBuffer;  ///< What m_videoFrame.p_data points to.
    std::unique_ptr<VsFrame> m_pVsFrame;
    std::unique_ptr<std::thread> m_pSendThread;
    std::unique_ptr<std::thread> m_pCaptureThread;
    std::atomic<bool> m_bRun{true};
    std::atomic<bool> m_bOpened{false};
    sender::BgraConverter m_converter;
    int m_x = 0;
    int m_y = 0;
    int m_w = 1920;
    int m_h = 1080;
    std::string m_device;  ///< Device and display for messages.
    std::string m_name;
    std::string m_auxName;
    FrameQueue m_queue;
    std::string m_outputName;
};
