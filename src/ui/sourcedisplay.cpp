#include "ui/sourcedisplay.h"

#include <QStringList>
#include <algorithm>

#include "session/sendsession.h"
#include "ui/translated.h"

namespace ui {

namespace {

constexpr int kMostReceiverLines = 20;

bool isFound(const ndi::SourceStatus& status) {
    return status.announceState == ndi::AnnounceState::Announced ||
           status.announceState == ndi::AnnounceState::Unknown;
}

TallyLight lightOf(const ndi::SourceStatus& status) {
    if (status.onProgram) {
        return TallyLight::Red;
    }
    if (status.onPreview) {
        return TallyLight::Green;
    }
    return status.receivers.empty() ? TallyLight::Grey : TallyLight::White;
}

QString receiverCount(std::size_t count) {
    if (count == 0) {
        return translated("zhNoReceiversStr", "no receivers");
    }
    return count == 1 ? translated("zhOneReceiverStr", "1 receiver")
                      : translated("zhReceiversStr", "%1 receivers").arg(count);
}

QString tallyText(const ndi::SourceStatus& status) {
    switch (lightOf(status)) {
        case TallyLight::Red:
            return translated("zhOnAirStr", "on air");
        case TallyLight::Green:
            return translated("zhPreviewStr", "preview");
        default:
            return receiverCount(status.receivers.size());
    }
}

QString reasonForNothing(const SourceConditions& conditions) {
    if (conditions.screenGone) {
        return translated("zhScreenGoneStr", "the screen is disconnected");
    }
    if (conditions.emptyRegion) {
        return translated("zhRegionEmptyStr", "the region is empty");
    }
    return conditions.captureError.empty()
               ? QString()
               : translated("zhNoScreenImageStr", "no image of the screen");
}

/// Why nothing is sent, in the two lines of the title bar. Empty: there is no reason.
QString nothingSent(const SourceConditions& conditions, const QString& separator) {
    const QString reason = reasonForNothing(conditions);
    return reason.isEmpty()
               ? reason
               : translated("zhNothingSentStr", "nothing is sent:") + separator + reason;
}

QString slowWay() {
    return translated("zhSlowWayStr", "captured the slow way");
}

/// At most two lines: what matters most comes first.
QString textOf(const ndi::SourceStatus& status, const SourceConditions& conditions) {
    if (!conditions.hasSource) {
        return translated("zhNoSourceStr", "no source");
    }
    if (const QString reason = nothingSent(conditions, "\n"); !reason.isEmpty()) {
        return reason;
    }
    if (!status.known) {
        return translated("zhStatusUnknownStr", "receivers unknown");
    }
    const QString notFound =
        isFound(status) ? QString() : translated("zhNotAnnouncedStr", "not announced");
    if (!notFound.isEmpty() && status.receivers.empty()) {
        return notFound;
    }
    QString second = notFound;
    if (second.isEmpty()) {
        second = QString::fromStdString(session::changedName(status, conditions.name));
    }
    if (second.isEmpty() && !conditions.slowReason.empty()) {
        second = slowWay();
    }
    return tallyText(status) + (second.isEmpty() ? "" : "\n" + second);
}

QString receiverLine(const ndi::ReceiverStatus& receiver) {
    const auto dropped = receiver.dropped.receiverTooSlow + receiver.dropped.ioThreadLate +
                         receiver.dropped.connectionClosed;
    QString line =
        translated("zhReceiverLineStr", "%1 (%2): %3 Mbit/s, %4 frames sent, %5 dropped")
            .arg(QString::fromStdString(receiver.name), QString::fromStdString(receiver.address),
                 QString::number(receiver.megabitsPerSecond, 'f', 1),
                 QString::number(receiver.sentFrames), QString::number(dropped));
    if (receiver.onProgram) {
        line += ", " + translated("zhOnAirStr", "on air");
    } else if (receiver.onPreview) {
        line += ", " + translated("zhPreviewStr", "preview");
    }
    return line;
}

/// For an operator whose source nobody has found yet.
QString whereToLook(const ndi::SourceStatus& status) {
    return translated("zhWhereToLookStr",
                      "Receivers on this network list the source as %1. Not there? Run: "
                      "ndimonitor --doctor")
        .arg(QString::fromStdString(status.name));
}

QString toolTipOf(const ndi::SourceStatus& status, const SourceConditions& conditions) {
    QStringList lines;
    if (!status.known) {
        return {};
    }
    lines += QString::fromStdString(status.name);
    if (const QString reason = nothingSent(conditions, " "); !reason.isEmpty()) {
        lines += reason;
    }
    if (!conditions.captureError.empty()) {
        lines += QString::fromStdString(conditions.captureError);
    }
    if (!conditions.slowReason.empty()) {
        lines += slowWay() + ": " + QString::fromStdString(conditions.slowReason);
    }
    if (!isFound(status)) {
        lines += translated("zhNotAnnouncedStr", "not announced") + ": " +
                 QString::fromStdString(status.announceReason);
    }
    if (status.receivers.empty()) {
        lines += receiverCount(0);
        if (isFound(status)) {
            lines += whereToLook(status);
        }
    }
    const int count = static_cast<int>(status.receivers.size());
    for (int i = 0; i < std::min(count, kMostReceiverLines); ++i) {
        lines += receiverLine(status.receivers[static_cast<std::size_t>(i)]);
    }
    if (count > kMostReceiverLines) {
        lines += QString("... +%1").arg(count - kMostReceiverLines);
    }
    // Receivers choose their names: as plain text a tool tip would guess whether they are HTML.
    return "<p style='white-space:pre'>" + lines.join('\n').toHtmlEscaped() + "</p>";
}

}  // namespace

SourceDisplay describeSource(const ndi::SourceStatus& status, const SourceConditions& conditions) {
    return {lightOf(status), textOf(status, conditions), toolTipOf(status, conditions)};
}

}  // namespace ui
