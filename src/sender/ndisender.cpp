#include "sender/ndisender.h"

#include <cstdio>
#include <limits>
#include <optional>
#include <utility>

#include "capture/grabdevice/grabdevice.h"
#include "sender/senderstatistics.h"
#include "sender/videoframe.h"
#include "support/clock.h"
#include "support/log.h"

namespace {

constexpr std::uint32_t kQueueCapacity = 4;
constexpr int kDecoderThreads = 4;

/// For a grabbing device, which sleeps a whole number of microseconds between its frames. It must
/// not be faster than the clocked send, or else the queue fills; the slower one skips a slot in
/// minutes.
std::string deviceRate(const sender::FrameRate& rate) {
    constexpr std::int64_t kSecondUs = 1'000'000;
    const std::int64_t slotUs = kSecondUs * rate.denominator / rate.numerator + 1;
    return std::to_string(kSecondUs) + "/" + std::to_string(slotUs);
}

}  // namespace

NDISender::NDISender(const std::string& name, NDIlib_send_instance_t instance)
    : m_pSendInstance(instance),
      m_videoFrame(sender::initialVideoFrame()),
      m_pVsFrame(std::make_unique<VsFrame>()),
      m_name(name),
      m_queue(kQueueCapacity) {}

NDISender::~NDISender() {
    NDISender::stop();
}

void NDISender::setAuxName(std::string name) {
    m_auxName = std::move(name);
}

bool NDISender::initParmeter(int x, int y, int w, int h, int framerate, std::string outputName) {
    if (w < 1 || h < 1) {
        return false;
    }
    if (h > std::numeric_limits<int>::max() / 4 / w) {
        HV_WARN("a region of {}x{} pixels is too large: a frame buffer has at most 2 GiB", w, h);
        return false;
    }
    m_bOpened = false;
    m_captureError = 0;
    m_outputName = std::move(outputName);
    m_x = x;
    m_y = y;
    m_w = w;
    m_h = h;
    m_frameBuffer.assign(static_cast<std::size_t>(h) * static_cast<std::size_t>(w) * 4, 0);
    m_videoFrame.xres = w;
    m_videoFrame.yres = h;
    m_videoFrame.FourCC = NDIlib_FourCC_type_BGRA;
    m_videoFrame.p_data = m_frameBuffer.data();

    m_exactRate = sender::exactRate(m_options.rateMode, framerate);
    sender::announceRate(m_videoFrame, m_exactRate);
    if (!openDevice(m_exactRate ? deviceRate(*m_exactRate) : std::to_string(framerate)) ||
        !openDecoder()) {
        return false;
    }
    m_pVsFrame->packet.reset(av_packet_alloc());
    m_bOpened = true;
    m_bRun = true;
    return true;
}

bool NDISender::openDevice(const std::string& rate) {
    const capture::GrabDevice device = capture::platformGrabDevice();
    m_device = std::string(device.format) + " on \"" + device.source + "\"";
    if (!device.error.empty()) {
        std::fputs("Couldn't open input stream.\n", stdout);
        HV_WARN("{} is not used: {}", m_device, device.error);
        m_captureError = AVERROR_EXTERNAL;
        return false;
    }
    int result = openDemuxer(device, rate);
    if (result != 0) {
        reportFailure("Couldn't open input stream.\n", result);
        return false;
    }
    // A grabbing device reports its rate. Measuring it would block the window for 20 frames and
    // send them late.
    m_pVsFrame->demuxer->fps_probe_size = 0;
    result = avformat_find_stream_info(m_pVsFrame->demuxer.get(), nullptr);
    if (result < 0) {
        reportFailure("Couldn't find stream information.\n", result);
        return false;
    }
    result = av_find_best_stream(m_pVsFrame->demuxer.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (result < 0) {
        reportFailure("Didn't find a video stream.\n", result);
        return false;
    }
    m_pVsFrame->streamIndex = result;
    return true;
}

/// FFmpeg's error number; 0: it is open.
int NDISender::openDemuxer(const capture::GrabDevice& device, const std::string& rate) {
    const std::string size = std::to_string(m_w) + "x" + std::to_string(m_h);
    AVDictionary* options = nullptr;
    av_dict_set_int(&options, device.optionX, m_x, 0);
    av_dict_set_int(&options, device.optionY, m_y, 0);
    av_dict_set_int(&options, "draw_mouse", m_options.drawPointer ? 1 : 0, 0);
    std::fputs(size.c_str(), stdout);
    av_dict_set(&options, "video_size", size.c_str(), 0);
    av_dict_set(&options, "framerate", rate.c_str(), 0);

    const AVInputFormat* format = av_find_input_format(device.format);
    AVFormatContext* demuxer = nullptr;
    int result = AVERROR_DEMUXER_NOT_FOUND;
    if (format != nullptr) {  // Without a format FFmpeg would open a file of that name.
        result = avformat_open_input(&demuxer, device.source.c_str(), format, &options);
    }
    const support::DictionaryPtr unusedOptions(options);
    m_pVsFrame->demuxer.reset(demuxer);
    return result;
}

bool NDISender::openDecoder() {
    const AVCodecParameters* parameters =
        m_pVsFrame->demuxer->streams[m_pVsFrame->streamIndex]->codecpar;
    const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
    int result = AVERROR_DECODER_NOT_FOUND;
    if (codec != nullptr) {
        m_pVsFrame->decoder.reset(avcodec_alloc_context3(codec));
        avcodec_parameters_to_context(m_pVsFrame->decoder.get(), parameters);
        m_pVsFrame->decoder->thread_count = kDecoderThreads;
        result = avcodec_open2(m_pVsFrame->decoder.get(), codec, nullptr);
    }
    if (result < 0) {
        reportFailure("Could not open codec.\n", result);
        return false;
    }
    return true;
}

void NDISender::reportFailure(const char* text, int error) {
    m_captureError = error;
    std::fputs(text, stdout);
    HV_WARN("{}, region {}x{} at {},{}: {}: {}", m_device, m_w, m_h, m_x, m_y,
            std::string_view(text).substr(0, std::string_view(text).find('.')),
            support::ffmpegError(error));
}

void NDISender::start() {
    m_bRun = true;
    m_queue.open();
    if (!m_bOpened || m_pCaptureThread) {
        return;
    }
    m_pCaptureThread =
        std::make_unique<std::thread>(&NDISender::captureFrame, this, m_pVsFrame.get());
    m_pSendThread = std::make_unique<std::thread>(&NDISender::sendFrameThread, this);
}

void NDISender::pause() {
    m_bRun = false;
    m_queue.close();
    for (std::unique_ptr<std::thread>* thread : {&m_pCaptureThread, &m_pSendThread}) {
        if (*thread) {
            (*thread)->join();
            thread->reset();
        }
    }
}

void NDISender::stop() {
    pause();
    m_queue.clear();
    m_pVsFrame->packet.reset();
    m_pVsFrame->demuxer.reset();
    m_converter.release();
    m_pVsFrame->decoder.reset();
}

void NDISender::reset() {
    stop();
    m_pVsFrame = std::make_unique<VsFrame>();
}

CaptureStatus NDISender::captureStatus() const {
    const int error = m_captureError;
    if (error == 0) {
        return {};
    }
    return {CaptureState::Unable, m_device + ": " + support::ffmpegError(error)};
}

void NDISender::captureFrame(VsFrame* vsFrame) {
    HV_INFO("captureFrame begin");
    if (!vsFrame->packet) {
        // Only initParmeter() can change that, and only after pause().
        HV_INFO("vsFrame->packet is nullptr");
        return;
    }
    sender::LoopRate rate;
    while (m_bRun) {
        if (const std::optional<int> sum = rate.pass(getLocalTimeUs())) {
            HV_DEBUG("frame Rate is {}, frameRateFrequencyMax is {}, frameRateCount is {}",
                     *sum / rate.kSeconds, rate.kSeconds, *sum);
        }
        av_packet_unref(vsFrame->packet.get());
        const int result = av_read_frame(vsFrame->demuxer.get(), vsFrame->packet.get());
        if (result != 0) {
            m_captureError = result;
            HV_WARN("{}, region {}x{} at {},{}: capture ended: {}", m_device, m_w, m_h, m_x, m_y,
                    support::ffmpegError(result));
            return;
        }
        if (vsFrame->packet->stream_index == vsFrame->streamIndex) {
            decodeAndPush(*vsFrame);
        }
    }
}

void NDISender::decodeAndPush(VsFrame& vsFrame) {
    avcodec_send_packet(vsFrame.decoder.get(), vsFrame.packet.get());
    support::FramePtr frame(av_frame_alloc());
    if (avcodec_receive_frame(vsFrame.decoder.get(), frame.get()) == 0) {
        m_queue.push(std::move(frame));
    }
}

void NDISender::sendFrameThread() {
    sender::FrameTimes times;
    bool warnedOfFormat = false;
    while (m_bRun) {
        m_passes.fetch_add(1, std::memory_order_relaxed);
        const support::FramePtr frame = m_exactRate ? m_queue.popNewest() : m_queue.pop();
        const std::int64_t start = getLocalTimeUs();
        if (!frame) {
            HV_INFO("sendFrameThread, get frame is null");
            continue;
        }
        if (!m_converter.convert(*frame, m_videoFrame.xres, m_videoFrame.yres,
                                 m_videoFrame.p_data)) {
            if (!std::exchange(warnedOfFormat, true)) {
                HV_WARN("{}: frames of pixel format {} are not supported and not sent", m_device,
                        frame->format);
            }
            continue;
        }
        NDIlib_send_send_video_v2(m_pSendInstance, &m_videoFrame);
        const auto took = static_cast<std::uint64_t>(getLocalTimeUs() - start);
        if (const std::optional<std::uint64_t> sum = times.add(took)) {
            HV_DEBUG("timeconsuming is {}, logMax is {}, timeconsumingSum is {}",
                     *sum / times.kFrames, times.kFrames, *sum);
        }
    }
}
