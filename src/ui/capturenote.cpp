#include "ui/capturenote.h"

#include "ui/translated.h"

namespace ui {

QString captureNote(const CaptureStatus& status) {
    const std::string advice = status.advice.empty() ? "" : "; " + status.advice;
    const QString reason = " (" + QString::fromStdString(status.reason + advice) + ")";
    switch (status.state) {
        case CaptureState::Running:
            break;
        case CaptureState::Asking:
            return translated(
                "zhCaptureAskingStr",
                "waiting for the permission: choose the screen in the desktop's window");
        case CaptureState::Unanswered:
            return translated("zhCaptureUnansweredStr",
                              "the desktop has not answered yet; pause and start to ask anew");
        case CaptureState::FirstChange:
            return translated("zhCaptureFirstChangeStr",
                              "the image comes with the first change on the screen");
        case CaptureState::LastImage:
            return translated("zhCaptureLastImageStr",
                              "the screen's last image is sent until something on it changes");
        case CaptureState::Interrupted:
            return translated("zhCaptureInterruptedStr",
                              "the capture is interrupted and goes on by itself") +
                   reason;
        case CaptureState::Refused:
            return translated("zhCaptureRefusedStr",
                              "the permission was refused; start again to ask anew");
        case CaptureState::Stopped:
            return translated("zhCaptureStoppedStr",
                              "the sharing was stopped from the desktop; start again to ask anew");
        case CaptureState::Unable:
            return translated("zhCaptureUnableStr",
                              "the screen can't be captured; start again to try anew") +
                   reason;
    }
    return {};
}

}  // namespace ui
