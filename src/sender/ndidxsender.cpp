#include "sender/ndidxsender.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <new>
#include <optional>
#include <utility>

#include "ndi/ndilibrary.h"
#include "sender/senderstatistics.h"
#include "sender/videoframe.h"
#include "support/clock.h"
#include "support/log.h"
#include "support/utf8.h"

namespace {

constexpr std::size_t kLongestOutputName = 199;
constexpr std::int64_t kLongestSleepMs = 50;  ///< Until pause() is noticed.
constexpr std::uint32_t kOpaqueBlack = 0xFF000000;

std::uint64_t packPosition(int x, int y) {
    return std::uint64_t{static_cast<std::uint32_t>(x)} << 32U | static_cast<std::uint32_t>(y);
}

const auto kProgramStart = std::chrono::steady_clock::now();

}  // namespace

NdiDxSender::Timing NdiDxSender::Timing::real() {
    using namespace std::chrono;
    return {[] { return duration_cast<milliseconds>(steady_clock::now() - kProgramStart).count(); },
            getLocalTimeUs,
            [](std::int64_t duration) { std::this_thread::sleep_for(milliseconds(duration)); }};
}

NdiDxSender::NdiDxSender(const std::string& name, NDIlib_send_instance_t sendInstance)
    : NdiDxSender(name, sendInstance, createScreenCapturer(), Timing::real()) {}

NdiDxSender::NdiDxSender(const std::string& name, NDIlib_send_instance_t sendInstance,
                         std::unique_ptr<ScreenCapturer> capturer, Timing timing)
    : m_name(name),
      m_pSendInstance(sendInstance),
      m_timing(std::move(timing)),
      m_videoFrame(sender::initialVideoFrame()),
      m_capturer(std::move(capturer)) {}

NdiDxSender::~NdiDxSender() {
    NdiDxSender::stop();
}

bool NdiDxSender::initParmeter(int x, int y, int w, int h, int framerate, std::string outputName) {
    if (w < 1 || h < 1) {
        return false;
    }
    HV_INFO("initParmeter x {} y {} w {} h {} framerate {} outputName {}", x, y, w, h, framerate,
            outputName);
    if (!initCapture(outputName) || !allocateFrame(w, h)) {
        return false;
    }
    m_parameters.outputName = std::move(outputName);
    m_parameters.x = x;
    m_parameters.y = y;
    m_position = packPosition(x, y);
    m_parameters.w = w;
    m_parameters.h = h;
    const auto exact = sender::exactRate(m_options.rateMode, framerate);
    m_sendFrameRate = exact ? 0 : framerate;
    sender::announceRate(m_videoFrame, exact);
    m_videoFrame.xres = w;
    m_videoFrame.yres = h;
    m_videoFrame.FourCC = NDIlib_FourCC_type_BGRA;
    m_videoFrame.p_data = reinterpret_cast<std::uint8_t*>(m_frame.data());
    m_bOpened = true;
    return true;
}

bool NdiDxSender::initCapture(const std::string& outputName) {
    auto deviceName = support::wideFromUtf8(outputName);
    if (deviceName.size() > kLongestOutputName) {
        HV_WARN("the output name has {} characters, at most {} are allowed", deviceName.size(),
                kLongestOutputName);
        deviceName.clear();
    }
    const std::lock_guard lock(m_captureMutex);
    m_capturer->DrawPointer(m_options.drawPointer);
    const bool opened = m_capturer->InitCapture(deviceName.c_str());
    const CaptureFailure& failure = m_capturer->Failure();
    m_watch.opened(opened ? "" : failure.reason);
    // What is away for a while only, as a locked desktop, is no reason to capture it another way.
    return opened || failure.passes;
}

/// Replaces the buffer by a new one, opaque black where no capture will write.
bool NdiDxSender::allocateFrame(int w, int h) {
    const std::int64_t pixels = std::int64_t{w} * h;
    if (pixels > std::numeric_limits<std::int32_t>::max() / 4) {
        HV_ERROR("a frame of {}x{} is too large: a frame buffer has at most 2 GiB", w, h);
        return false;
    }
    try {
        m_frame = std::vector<std::uint32_t>(static_cast<std::size_t>(pixels), kOpaqueBlack);
    } catch (const std::bad_alloc&) {
        HV_ERROR("allocating a frame of {}x{} failed: out of memory", w, h);
        return false;
    }
    return true;
}

void NdiDxSender::start() {
    m_bRun = true;
    if (m_bOpened && !m_sendThread) {
        m_capturer->Resume();
        m_sendThread = std::make_unique<std::thread>(&NdiDxSender::sendFrameThread, this);
    }
}

void NdiDxSender::pause() {
    m_bRun = false;
    m_capturer->Interrupt();
    if (m_sendThread && m_sendThread->joinable()) {
        m_sendThread->join();
        m_sendThread.reset();
    }
}

void NdiDxSender::stop() {
    pause();
}

void NdiDxSender::reset() {
    stop();
}

bool NdiDxSender::moveRegion(int x, int y) {
    if (!m_sendThread || !m_capturer->ReadsAnyRectangle()) {
        return false;
    }
    m_position = packPosition(x, y);
    m_capturer->Interrupt();  // On a still screen a read waits for damage at the old place.
    return true;
}

CaptureStatus NdiDxSender::captureStatus() const {
    CaptureStatus status = m_capturer->Status();
    if (status.reason.empty()) {
        status.reason = m_watch.reason();
        status.state = status.reason.empty() ? status.state : CaptureState::Interrupted;
    }
    return status;
}

StillFrame NdiDxSender::captureStill(const std::string& output) const {
    return m_capturer->Still(output);
}

void NdiDxSender::setAuxName(std::string name) {
    m_auxName = std::move(name);
}

void NdiDxSender::sendFrameThread() {
    const std::int64_t interval = m_sendFrameRate > 0 ? 1000 / m_sendFrameRate : 0;
    HV_INFO("sendFrameThread begin");
    sender::LoopRate rate;
    sender::FrameTimes times;
    std::int64_t lastTick = 0;
    bool sentBefore = false;
    while (m_bRun) {
        m_passes.fetch_add(1, std::memory_order_relaxed);
        if (!readFrame()) {
            goOnWithoutFrame();
            continue;
        }
        m_watch.frame();
        if (const std::optional<int> sum = rate.pass(m_timing.clockUs())) {
            HV_DEBUG("frame Rate is {}, frameRateFrequencyMax is {}, frameRateCount is {}",
                     *sum / rate.kSeconds, rate.kSeconds, *sum);
        }
        const auto sendStart = m_timing.clockUs();
        sendFrame(sentBefore);
        const auto took = static_cast<std::uint64_t>(m_timing.clockUs() - sendStart);
        if (const std::optional<std::uint64_t> sum = times.add(took)) {
            HV_DEBUG("timeconsuming is {}, logMax is {}, timeconsumingSum is {}",
                     *sum / times.kFrames, times.kFrames, *sum);
        }
        sentBefore = true;

        // The tick is taken before the sleep, so the sleep counts as part of the next frame's time.
        // This pacing is intended.
        const auto now = m_timing.clockMs();
        const auto elapsed = now - lastTick;
        lastTick = now;
        if (elapsed < interval) {
            m_timing.sleep(interval - elapsed);
        }
    }
}

void NdiDxSender::goOnWithoutFrame() {
    auto advice = m_watch.noFrame(m_capturer->Failure(), m_timing.clockMs());
    if (advice.initAgain) {
        initAgain();
    }
    while (m_bRun && advice.pauseMs > 0) {
        const auto part = std::min(advice.pauseMs, kLongestSleepMs);
        m_timing.sleep(part);
        advice.pauseMs -= part;
    }
}

/// The output, its mode or its device has changed.
void NdiDxSender::initAgain() {
    // The new screen may cover less of the frame than the old one.
    std::fill(m_frame.begin(), m_frame.end(), kOpaqueBlack);
    const auto deviceName = support::wideFromUtf8(m_parameters.outputName);
    const std::lock_guard lock(m_captureMutex);
    m_capturer->InitCapture(deviceName.c_str());
}

bool NdiDxSender::readFrame() {
    const std::uint64_t position = m_position;
    const auto x = static_cast<int>(static_cast<std::uint32_t>(position >> 32U));
    const auto y = static_cast<int>(static_cast<std::uint32_t>(position));
    const int w = m_parameters.w;
    const int h = m_parameters.h;
    auto* const buffer = reinterpret_cast<std::uint8_t*>(m_frame.data());
    const std::lock_guard lock(m_captureMutex);
    if (ndi::readsAlpha()) {
        m_videoFrame.p_data = buffer;
        return m_capturer->ReadScreenData(x, y, w, h, buffer);
    }
    // Without a copy where the capturer can do so. The frame stays as it is until this thread's
    // next read, and the send is over by then.
    m_videoFrame.p_data = m_capturer->ReadFrame(x, y, w, h, buffer);
    return m_videoFrame.p_data != nullptr;
}

void NdiDxSender::sendFrame(bool buildsOnLastOne) {
    // The frame before this thread's first one on this instance may come from another sender.
    static const support::DirtyRows kUnknown;
    // Only this thread reads frames, so the rows stay valid until its next read.
    ndi::hintDirtyRows(m_pSendInstance, buildsOnLastOne ? m_capturer->DirtyRows() : kUnknown);
    NDIlib_send_send_video_v2(m_pSendInstance, &m_videoFrame);
}
