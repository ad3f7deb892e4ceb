#pragma once
// What the program and the process that shows its overlay, `tarsin-overlay`, tell each other: lines
// of UTF-8 over that process's standard input and output. The fields of a line are separated by
// tabs; coordinates are those of CaptureROI's interface.
//
// The process ends when its standard input is closed.

#include <QByteArray>
#include <QRect>
#include <QStringList>

namespace ui::overlayprotocol {

// To the overlay.
inline constexpr char kScreen[] = "screen";  ///< X Y W H: the screen to cover.
inline constexpr char kRegion[] = "region";  ///< X Y W H: the region in force.
inline constexpr char kTexts[] = "texts";    ///< The captions of the buttons: OK CANCEL.
inline constexpr char kSelect[] = "select";  ///< Be shown in selection mode.
inline constexpr char kFrame[] = "frame";    ///< Be shown in show mode.
inline constexpr char kHide[] = "hide";

// From the overlay. The first line is one of the first two.
inline constexpr char kReady[] = "ready";          ///< VERSION: support::wayland::programVersion().
inline constexpr char kUnable[] = "unable";        ///< REASON, and what to do.
inline constexpr char kConfirmed[] = "confirmed";  ///< X Y W H: signalConfirmROI().
inline constexpr char kDragged[] = "dragged";      ///< X Y W H: signalDragROI().
inline constexpr char kEscape[] = "escape";        ///< signalHideROI().
inline constexpr char kHidden[] = "hidden";        ///< Whoever hid it.

[[nodiscard]] inline QByteArray lineOf(const QStringList& fields) {
    return fields.join('\t').toUtf8() + '\n';
}

[[nodiscard]] inline QByteArray lineOf(const char* word, const QRect& rect) {
    return lineOf({word, QString::number(rect.x()), QString::number(rect.y()),
                   QString::number(rect.width()), QString::number(rect.height())});
}

/// The fields of a line without its end; the first one always exists.
[[nodiscard]] inline QStringList fieldsOf(const QByteArray& line) {
    return QString::fromUtf8(line).split('\t');
}

/// What follows the first field; missing numbers are 0.
[[nodiscard]] inline QRect rectOf(const QStringList& fields) {
    return {fields.value(1).toInt(), fields.value(2).toInt(), fields.value(3).toInt(),
            fields.value(4).toInt()};
}

}  // namespace ui::overlayprotocol
