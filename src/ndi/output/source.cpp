#include "ndi/output/source.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ndi/output/exceptiontext.h"
#include "ndi/output/videoframe.h"
#include "ndi/wire/sourcename.h"
#include "support/log.h"

namespace ndi {

namespace {

using std::chrono::steady_clock;

constexpr std::uint32_t kProgressive = NDIlib_frame_format_type_progressive;

/// The longest single wait; some implementations overflow with a time point near the maximum.
constexpr std::chrono::hours kLongWait(1);

bool sameShape(const speedhq::FrameView& a, const speedhq::FrameView& b) {
    return a.format == b.format && a.width == b.width && a.height == b.height;
}

const char* nameOf(speedhq::ColourChoice choice) {
    switch (choice) {
        case speedhq::ColourChoice::Bt601:
            return "BT.601";
        case speedhq::ColourChoice::Bt2020:
            return "BT.2020";
        default:
            return "BT.709";
    }
}

/// At most two seconds: some receivers drop a source that sends nothing for longer.
std::chrono::nanoseconds twoSlots(const NDIlib_video_frame_v2_t& frame) {
    constexpr std::int64_t kLongestNs = 2'000'000'000;
    const std::int64_t slotNs =
        std::int64_t{frame.frame_rate_D} * 1'000'000'000 / frame.frame_rate_N;
    return std::chrono::nanoseconds(std::min(2 * slotNs, kLongestNs));
}

AnnounceState stateOf(mdns::AnnounceState state) {
    switch (state) {
        case mdns::AnnounceState::Established:
            return AnnounceState::Announced;
        case mdns::AnnounceState::Trying:
            return AnnounceState::Probing;
        case mdns::AnnounceState::NameTaken:
            return AnnounceState::NotAnnounced;
    }
    return AnnounceState::Unknown;
}

}  // namespace

// --- lifetime --------------------------------------------------------------------------------

std::unique_ptr<Source> Source::open(const SourceSettings& settings, SourceParts parts) {
    std::unique_ptr<Source> source(new Source(settings, std::move(parts)));
    return source->start() ? std::move(source) : nullptr;
}

Source::Source(const SourceSettings& settings, SourceParts parts)
    : m_requestedName(settings.names.base),
      m_clocked(settings.clocked),
      m_onStatusChange(settings.onStatusChange ? settings.onStatusChange : [] {}),
      m_colours(settings.colours),
      m_repeat(parts.repeat),
      m_parts(std::move(parts)),
      m_server(settings.names.instance(), m_parts.limits,
               {[this] {
                    const std::lock_guard lock(m_repeatMutex);
                    m_repeatWake.notify_all();
                },
                m_onStatusChange}),
      m_announcer(settings.names, m_parts.limits.interfaces, [this] { announcementChanged(); }) {}

bool Source::start() {
    if (const std::string error = m_server.listen(); !error.empty()) {
        HV_ERROR("source {} not created: {}", instance(), error);
        return false;
    }
    m_repeatThread = std::thread([this] { repeatLoop(); });
    return m_announcer.start(m_parts.announce, port());
}

void Source::announcementChanged() {
    m_server.rename(instance());
    m_onStatusChange();
}

SourceStatus Source::status() {
    SourceStatus status;
    status.known = true;
    mdns::AnnouncementStatus announced = m_announcer.status();
    status.name = std::move(announced.instance);
    status.sourceName = wire::sourcePart(status.name);
    status.requestedName = m_requestedName;
    status.port = port();
    status.announceState = stateOf(announced.state);
    status.announceReason = std::move(announced.reason);
    ServerStatus served = m_server.status();
    status.receivers = std::move(served.receivers);
    status.onProgram = served.onProgram;
    status.onPreview = served.onPreview;
    for (const ReceiverStatus& receiver : status.receivers) {
        status.megabitsPerSecond += receiver.megabitsPerSecond;
    }
    status.sentFrames = m_sentFrames;
    const std::lock_guard lock(m_meterMutex);
    status.framesPerSecond = m_frameMeter.update(steady_clock::now(), status.sentFrames);
    return status;
}

Source::~Source() {
    close();
}

void Source::close() {
    std::call_once(m_closeOnce, [this] {
        m_callGuard.close();
        m_parts.time->release();
        m_callGuard.waitUntilEmpty();
        {
            const std::lock_guard lock(m_repeatMutex);
            m_closing = true;
        }
        m_repeatWake.notify_all();
        if (m_repeatThread.joinable()) {
            m_repeatThread.join();
        }
        m_announcer.close();
        m_server.stop();
    });
}

// --- sending ---------------------------------------------------------------------------------

void Source::hint(const support::DirtyRows& dirty) {
    const std::lock_guard lock(m_encoding);
    m_hint = dirty;
    m_hinted = true;
}

void Source::send(const NDIlib_video_frame_v2_t* frame) {
    const CallGuard::Call call(m_callGuard);
    if (!call) {
        return;
    }
    speedhq::FrameView view;
    if (const std::string error = checkFrame(frame, view); !error.empty()) {
        refuse(error);
        return;
    }
    view.colours = m_colours;
    try {
        encodeAndPublish(*frame, view);
    } catch (...) {
        const std::lock_guard lock(m_encoding);
        m_hintBroken = true;  // the encoder may have seen a part of the frame
        reportException("encoding a frame");
    }
    m_sentFrames.fetch_add(1, std::memory_order_relaxed);
    if (m_clocked) {
        waitForSlot(*frame);
    }
}

void Source::refuse(const std::string& error) {
    {
        const std::lock_guard lock(m_encoding);
        m_hinted = false;
        m_hintBroken = true;
    }
    if (const auto more = m_refusals.allows()) {
        HV_ERROR("{}: a frame was not sent: {}{}", instance(), error, *more);
    }
}

void Source::encodeAndPublish(const NDIlib_video_frame_v2_t& frame,
                              const speedhq::FrameView& view) {
    const std::lock_guard lock(m_encoding);
    const std::uint64_t joins = m_server.joinCount();
    const speedhq::Streams wanted = m_server.wanted();
    reportColours(view);
    const support::DirtyRows& dirty = takeHint(view);
    describe(frame);

    speedhq::EncodedStreams streams;
    if (wanted.main || wanted.preview) {
        streams = m_parts.encoder->encode(view, dirty, wanted);
        reportMissing(streams, wanted);
        publish(streams, false, Audience::All);
    } else {
        m_parts.encoder->updateReference(view, dirty);
    }

    const std::lock_guard repeatLock(m_repeatMutex);
    m_haveFrame = true;
    m_twoSlots = m_clocked ? twoSlots(frame) : std::chrono::nanoseconds(0);
    m_lastSend = m_lastPublish = steady_clock::now();
    m_servedJoins = joins;
    noteQuality(streams, true);
    if (repeatDue() < m_repeatWakeTime) {
        m_repeatWake.notify_all();  // the wait would end too late; rare, not with each frame
    }
}

/// Call it before takeHint().
void Source::reportColours(const speedhq::FrameView& view) const {
    if (view.format == speedhq::PixelFormat::Uyvy || sameShape(view, m_lastView)) {
        return;
    }
    HV_INFO("{}: {}x{} is sent with the colour matrix {}, {}", instance(), view.width, view.height,
            nameOf(speedhq::colourChoiceFor(m_colours, view.width, view.height)),
            m_colours == speedhq::ColourChoice::Automatic ? "chosen by the size"
                                                          : "as colorMatrix says");
}

/// The rows that may differ from the last frame that the encoder was given.
const support::DirtyRows& Source::takeHint(const speedhq::FrameView& view) {
    static const support::DirtyRows kUnknown;
    const bool usable = m_hinted && !m_hintBroken && sameShape(view, m_lastView);
    m_hinted = false;
    m_hintBroken = false;
    m_lastView = view;
    return usable ? m_hint : kUnknown;
}

void Source::describe(const NDIlib_video_frame_v2_t& frame) {
    m_info.rateNumerator = static_cast<std::uint32_t>(frame.frame_rate_N);
    m_info.rateDenominator = static_cast<std::uint32_t>(frame.frame_rate_D);
    const auto format = static_cast<std::uint32_t>(frame.frame_format_type);
    m_info.frameFormat = format <= NDIlib_frame_format_type_field_1 ? format : kProgressive;
    const bool aspectGiven =
        std::isfinite(frame.picture_aspect_ratio) && frame.picture_aspect_ratio > 0;
    m_givenAspect = aspectGiven ? frame.picture_aspect_ratio : 0;
    m_synthesizeTimecode = frame.timecode == NDIlib_send_timecode_synthesize;
    const std::int64_t now = m_parts.time->wallClock();
    m_info.timecode = m_synthesizeTimecode ? now : frame.timecode;
    m_info.timestamp = frame.timestamp == 0 ? now : frame.timestamp;
    m_info.metadata = frame.p_metadata != nullptr ? frame.p_metadata : "";
}

void Source::publish(const speedhq::EncodedStreams& streams, bool repeat, Audience audience) {
    m_server.publish(wrap(streams.main, repeat, audience), wrap(streams.preview, repeat, audience));
}

OutgoingFrame Source::wrap(const speedhq::EncodedFramePtr& packet, bool repeat, Audience audience) {
    OutgoingFrame outgoing;
    if (packet == nullptr) {
        return outgoing;
    }
    m_info.fourCC = packet->fourCC;
    m_info.width = static_cast<std::uint32_t>(packet->width);
    m_info.height = static_cast<std::uint32_t>(packet->height);
    m_info.aspect = m_givenAspect > 0
                        ? m_givenAspect
                        : static_cast<float>(packet->width) / static_cast<float>(packet->height);
    wire::writeVideoHead(m_info, static_cast<std::uint32_t>(packet->size), outgoing.head);
    outgoing.packet = packet;
    outgoing.repeat = repeat;
    outgoing.audience = audience;
    return outgoing;
}

void Source::waitForSlot(const NDIlib_video_frame_v2_t& frame) {
    TimePoint due;
    const TimePoint now = m_parts.time->now();
    {
        const std::lock_guard lock(m_clockMutex);
        due = m_clock.next(now, frame.frame_rate_N, frame.frame_rate_D);
    }
    if (due > now) {
        m_parts.time->waitUntil(due);
    }
}

/// Call it within a catch block.
void Source::reportException(const char* what) noexcept {
    try {
        if (const auto more = m_encoderErrors.allows()) {
            HV_ERROR("{}: {} failed: {}{}", instance(), what, exceptionText(), *more);
        }
    } catch (...) {  // no memory even for the log line
    }
}

void Source::reportMissing(const speedhq::EncodedStreams& streams, speedhq::Streams wanted) {
    const bool missing =
        (wanted.main && streams.main == nullptr) || (wanted.preview && streams.preview == nullptr);
    if (!missing) {
        return;
    }
    if (const auto more = m_encoderErrors.allows()) {
        HV_ERROR("{}: a frame of {}x{} could not be encoded{}", instance(), m_lastView.width,
                 m_lastView.height, *more);
    }
}

// --- repeating -------------------------------------------------------------------------------

void Source::repeatLoop() {
    std::unique_lock lock(m_repeatMutex);
    while (!m_closing) {
        const TimePoint now = steady_clock::now();
        const TimePoint due = repeatDue();
        if (due > now) {
            m_repeatWakeTime = std::min(due, now + kLongWait);
            m_repeatWake.wait_until(lock, m_repeatWakeTime);
            continue;
        }
        lock.unlock();
        bool failed = false;
        try {
            repeatNow();
        } catch (...) {
            failed = true;
            reportException("repeating a frame");
        }
        lock.lock();
        if (failed) {
            m_servedJoins = m_server.joinCount();
            m_lastPublish = steady_clock::now();  // and again after the repeat interval
        }
    }
}

/// With m_repeatMutex held.
Source::TimePoint Source::repeatDue() const {
    const speedhq::Streams wanted = m_server.wanted();
    if (!m_haveFrame || (!wanted.main && !wanted.preview)) {
        return TimePoint::max();
    }
    const TimePoint forAll = m_lastPublish + repeatPause();
    const bool joined = m_server.joinCount() != m_servedJoins;
    const auto active = std::max<std::chrono::nanoseconds>(m_repeat.active, m_twoSlots);
    return joined ? std::min(forAll, m_lastSend + active) : forAll;
}

/// With m_repeatMutex held.
std::chrono::nanoseconds Source::repeatPause() const {
    const auto pause = m_refining ? m_repeat.refineInterval : m_repeat.interval;
    return std::max<std::chrono::nanoseconds>(pause, m_twoSlots);
}

void Source::repeatNow() {
    const std::lock_guard lock(m_encoding);
    const std::uint64_t joins = m_server.joinCount();
    const speedhq::Streams wanted = m_server.wanted();
    Audience audience = Audience::All;
    {
        const std::lock_guard repeatLock(m_repeatMutex);
        const TimePoint now = steady_clock::now();
        if (m_closing || repeatDue() > now) {
            return;  // a new frame was sent meanwhile
        }
        if (m_lastPublish + repeatPause() > now) {
            audience = Audience::AwaitingFirstFrame;
        }
    }
    const speedhq::EncodedStreams streams = m_parts.encoder->encodeReference(wanted);
    reportMissing(streams, wanted);
    m_info.timestamp = m_parts.time->wallClock();
    if (m_synthesizeTimecode) {
        m_info.timecode = m_info.timestamp;
    }
    publish(streams, true, audience);

    const std::lock_guard repeatLock(m_repeatMutex);
    m_servedJoins = joins;
    if (audience == Audience::All) {
        m_lastPublish = steady_clock::now();
    }
    noteQuality(streams, false);
}

/// With m_repeatMutex held. Repeats of a new frame improve its quality until no stream improves
/// any more.
void Source::noteQuality(const speedhq::EncodedStreams& streams, bool newFrame) {
    const int main = streams.main != nullptr ? streams.main->quality : 0;
    const int preview = streams.preview != nullptr ? streams.preview->quality : 0;
    m_refining = newFrame || main > m_mainQuality || preview > m_previewQuality;
    m_mainQuality = main;
    m_previewQuality = preview;
}

}  // namespace ndi
