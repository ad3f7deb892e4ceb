#include "ndi/output/source.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ndi/output/videoframe.h"
#include "ndi/wire/sourcename.h"
#include "support/log.h"

namespace ndi {
namespace {

using std::chrono::steady_clock;

constexpr std::uint32_t kProgressive = NDIlib_frame_format_type_progressive;

/// Waiting for longer makes no sense, and some clocks overflow.
constexpr std::chrono::hours kLongWait(1);

bool sameShape(const speedhq::PictureView& a, const speedhq::PictureView& b) {
    return a.format == b.format && a.width == b.width && a.height == b.height;
}

}  // namespace

// --- lifetime --------------------------------------------------------------------------------

std::unique_ptr<Source> Source::open(const SourceSettings& settings, SourceParts parts) {
    std::unique_ptr<Source> source(new Source(settings, std::move(parts)));
    return source->start() ? std::move(source) : nullptr;
}

Source::Source(const SourceSettings& settings, SourceParts parts)
    : m_instance(wire::instanceName(wire::machineName(), settings.name)),
      m_clocked(settings.clocked),
      m_repeat(parts.repeat),
      m_parts(std::move(parts)),
      m_server(m_instance, m_parts.limits, [this] {
          const std::lock_guard lock(m_repeatMutex);
          m_repeatWake.notify_all();
      }) {}

bool Source::start() {
    if (const std::string reason = m_server.listen(); !reason.empty()) {
        HV_ERROR("source {} was not made: {}", m_instance, reason);
        return false;
    }
    m_repeater = std::thread([this] { repeatLoop(); });

    mdns::AnnounceOutcome outcome = m_parts.announce(m_instance, port());
    if (outcome.result == mdns::AnnounceResult::NameTaken) {
        HV_WARN("source {} was not made: the name is in use on the network{}{}", m_instance,
                outcome.reason.empty() ? "" : ": ", outcome.reason);
        return false;
    }
    m_announcement = std::move(outcome.announcement);
    if (outcome.result == mdns::AnnounceResult::Established) {
        HV_INFO("source {} is on the network, port {}", m_instance, port());
    } else {
        HV_WARN("source {} can be reached by address only, port {}; announcing it failed: {}",
                m_instance, port(), outcome.reason);
    }
    return true;
}

Source::~Source() {
    close();
}

void Source::close() {
    std::call_once(m_closeOnce, [this] {
        m_gate.close();
        m_parts.time->release();
        m_gate.waitUntilEmpty();
        {
            const std::lock_guard lock(m_repeatMutex);
            m_closing = true;
        }
        m_repeatWake.notify_all();
        if (m_repeater.joinable()) {
            m_repeater.join();
        }
        m_announcement.reset();
        m_server.stop();
    });
}

// --- sending ---------------------------------------------------------------------------------

void Source::hint(const support::ChangedRows& changed) {
    const std::lock_guard lock(m_encoding);
    m_hint = changed;
    m_hinted = true;
}

void Source::send(const NDIlib_video_frame_v2_t* frame) {
    const Gate::Visit visit(m_gate);
    if (!visit) {
        return;
    }
    speedhq::PictureView picture;
    if (const std::string fault = checkFrame(frame, picture); !fault.empty()) {
        refuse(fault);
        return;
    }
    encodeAndPublish(*frame, picture);
    if (m_clocked) {
        waitForSlot(*frame);
    }
}

void Source::refuse(const std::string& fault) {
    {
        const std::lock_guard lock(m_encoding);
        m_hinted = false;
        m_hintBroken = true;
    }
    unsigned suppressed = 0;
    if (m_refusals.allows(suppressed)) {
        HV_ERROR("{}: a frame was not sent: {} ({} more before it)", m_instance, fault, suppressed);
    }
}

void Source::encodeAndPublish(const NDIlib_video_frame_v2_t& frame,
                              const speedhq::PictureView& picture) {
    const std::lock_guard lock(m_encoding);
    const std::uint64_t hunger = m_server.hunger();
    const speedhq::Streams wanted = m_server.wanted();
    const support::ChangedRows& changed = takeHint(picture);
    describe(frame);

    speedhq::EncodedStreams streams;
    if (wanted.full || wanted.preview) {
        streams = m_parts.encoder->encode(picture, changed, wanted);
        reportMissing(streams, wanted);
        publish(streams, false, Audience::Everybody);
    } else {
        m_parts.encoder->keep(picture, changed);
    }

    const std::lock_guard repeatLock(m_repeatMutex);
    m_havePicture = true;
    m_lastSend = m_lastPublish = steady_clock::now();
    m_fedHunger = hunger;
    noteQuality(streams, true);
    if (repeatDue() < m_repeaterWakes) {
        m_repeatWake.notify_all();  // the first picture after a while; not with each one
    }
}

/// What changed since the picture that the encoder took last.
const support::ChangedRows& Source::takeHint(const speedhq::PictureView& picture) {
    static const support::ChangedRows kUnknown;
    const bool usable = m_hinted && !m_hintBroken && sameShape(picture, m_lastView);
    m_hinted = false;
    m_hintBroken = false;
    m_lastView = picture;
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
    m_server.publish(wrap(streams.full, repeat, audience), wrap(streams.preview, repeat, audience));
}

OutgoingPicture Source::wrap(const speedhq::EncodedPicturePtr& picture, bool repeat,
                             Audience audience) {
    OutgoingPicture outgoing;
    if (picture == nullptr) {
        return outgoing;
    }
    m_info.fourCC = picture->fourCC;
    m_info.width = static_cast<std::uint32_t>(picture->width);
    m_info.height = static_cast<std::uint32_t>(picture->height);
    m_info.aspect = m_givenAspect > 0
                        ? m_givenAspect
                        : static_cast<float>(picture->width) / static_cast<float>(picture->height);
    wire::writeVideoHead(m_info, static_cast<std::uint32_t>(picture->size), outgoing.head);
    outgoing.picture = picture;
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

void Source::reportMissing(const speedhq::EncodedStreams& streams, speedhq::Streams wanted) {
    const bool missing =
        (wanted.full && streams.full == nullptr) || (wanted.preview && streams.preview == nullptr);
    unsigned suppressed = 0;
    if (missing && m_encoderFaults.allows(suppressed)) {
        HV_ERROR("{}: a picture of {}x{} could not be encoded ({} more before it)", m_instance,
                 m_lastView.width, m_lastView.height, suppressed);
    }
}

// --- repeating -------------------------------------------------------------------------------

void Source::repeatLoop() {
    std::unique_lock lock(m_repeatMutex);
    while (!m_closing) {
        const TimePoint now = steady_clock::now();
        const TimePoint due = repeatDue();
        if (due > now) {
            m_repeaterWakes = std::min(due, now + kLongWait);
            m_repeatWake.wait_until(lock, m_repeaterWakes);
            continue;
        }
        lock.unlock();
        repeatNow();
        lock.lock();
    }
}

/// With m_repeatMutex held.
Source::TimePoint Source::repeatDue() const {
    const speedhq::Streams wanted = m_server.wanted();
    if (!m_havePicture || (!wanted.full && !wanted.preview)) {
        return TimePoint::max();
    }
    const TimePoint forAll = m_lastPublish + (m_gettingBetter ? m_repeat.better : m_repeat.silence);
    const bool hungry = m_server.hunger() != m_fedHunger;
    return hungry ? std::min(forAll, m_lastSend + m_repeat.active) : forAll;
}

void Source::repeatNow() {
    const std::lock_guard lock(m_encoding);
    const std::uint64_t hunger = m_server.hunger();
    const speedhq::Streams wanted = m_server.wanted();
    Audience audience = Audience::Everybody;
    {
        const std::lock_guard repeatLock(m_repeatMutex);
        const TimePoint now = steady_clock::now();
        if (m_closing || repeatDue() > now) {
            return;  // a new picture came meanwhile
        }
        const auto pause = m_gettingBetter ? m_repeat.better : m_repeat.silence;
        if (m_lastPublish + pause > now) {
            audience = Audience::Hungry;
        }
    }
    const speedhq::EncodedStreams streams = m_parts.encoder->encodeKept(wanted);
    reportMissing(streams, wanted);
    m_info.timestamp = m_parts.time->wallClock();
    if (m_synthesizeTimecode) {
        m_info.timecode = m_info.timestamp;
    }
    publish(streams, true, audience);

    const std::lock_guard repeatLock(m_repeatMutex);
    m_fedHunger = hunger;
    if (audience == Audience::Everybody) {
        m_lastPublish = steady_clock::now();
    }
    noteQuality(streams, false);
}

/// With m_repeatMutex held. After a new picture better ones of it may follow; they are over when
/// no stream improves any more.
void Source::noteQuality(const speedhq::EncodedStreams& streams, bool newPicture) {
    const int full = streams.full != nullptr ? streams.full->quality : 0;
    const int preview = streams.preview != nullptr ? streams.preview->quality : 0;
    m_gettingBetter = newPicture || full > m_fullQuality || preview > m_previewQuality;
    m_fullQuality = full;
    m_previewQuality = preview;
}

}  // namespace ndi
