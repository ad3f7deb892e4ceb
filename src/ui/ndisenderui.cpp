// The window's reactions to the operator. Construction and captions: ndisenderui_layout.cpp.

#include "ui/ndisenderui.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QTimer>
#include <algorithm>

#include "support/log.h"
#include "support/settings.h"
#include "ui/capturenote.h"
#include "ui/captureroi.h"
#include "ui/desktop.h"
#include "ui/sourcedisplay.h"
#include "ui/titlebar.h"
#include "ui/translated.h"

bool g_roiShown = false;

namespace {

/// How soon the window shows what became of a capture that the user has to grant.
constexpr int kCaptureLookMs = 250;

}  // namespace

NDISenderUI::~NDISenderUI() {
    m_session.close();
}

void NDISenderUI::setIniPath(const std::string& iniPath) {
    m_iniPath = iniPath;
    if (m_session.sender() != nullptr) {
        m_session.sender()->setAuxName(iniPath);
    }
}

// Source and sender -------------------------------------------------------------------------

void NDISenderUI::initNDI() {
    m_sourceName = m_outputName;
    m_session.createSource(m_outputName);
}

void NDISenderUI::startSender() {
    if (m_screenFollower.gone()) {
        return;  // followScreens() goes on when it is back.
    }
    m_session.open(target());
}

session::Target NDISenderUI::target() const {
    return {m_outputName, m_curScreenIndex, m_curScreen, m_chosenOutput, m_roi, m_frameRate};
}

void NDISenderUI::applyIfSending() {
    if (m_sendState != SendState::Sending) {
        return;
    }
    m_session.sender()->reset();
    startSender();
    m_session.start();
    m_paramChanged = false;
}

/// With a live region receivers see each step of a drag, where the capturer can move its rectangle.
void NDISenderUI::followDrag(const Rectangle& frame) {
    if (m_liveRegion && m_sendState == SendState::Sending) {
        const struScreenItem& screen = m_curScreen;
        (void)m_session.moveRegion({std::min(frame.x, screen.x + screen.width - frame.w),
                                    std::min(frame.y, screen.y + screen.height - frame.h), frame.w,
                                    frame.h});
    }
}

/// Whether the capture runs with m_roi now without having been restarted.
bool NDISenderUI::moveLiveRegion() {
    return m_liveRegion && m_sendState == SendState::Sending && m_session.moveRegion(m_roi);
}

void NDISenderUI::watchCapture() {
    QTimer* timer = &m_statusTimer;
    if (ui::compositorPlacesWindows()) {  // The user answers the desktop's question with a click.
        timer = new QTimer(this);
        timer->start(kCaptureLookMs);
    }
    connect(timer, &QTimer::timeout, this, [this] { lookAtCapture(); });
}

QImage NDISenderUI::imageOfScreen() const {
    const NDISenderBase* sender = m_session.sender();
    const StillFrame still =
        sender != nullptr ? sender->captureStill(findOutputDeviceName(m_curScreen)) : StillFrame();
    return QImage(still.pixels.data(), still.width, still.height, still.width * 4,
                  QImage::Format_RGB32)
        .copy();
}

void NDISenderUI::lookAtCapture() {
    const bool sending = m_sendState == SendState::Sending;
    const CaptureStatus status = m_session.captureStatus();
    if (sending && !status.output.empty() && status.output != findOutputDeviceName(m_curScreen)) {
        for (int i = 0; i != m_screensMsg.count; ++i) {
            if (findOutputDeviceName(m_screensMsg.screens[i]) == status.output) {
                m_pScreenCbx->setCurrentIndex(i);
            }
        }
    }
    if (sending && status.ended) {
        slotStartSend();  // Pauses, as the button would.
    }
    const QString note = sending || status.ended ? ui::captureNote(status) : "";
    if (note != m_pStartBtn->toolTip()) {
        const bool sends = status.state == CaptureState::LastImage;
        m_captureNote = sends ? "" : note.toStdString();
        m_pStartBtn->setToolTip(note);
        showSourceStatus();
    }
}

std::string NDISenderUI::findOutputDeviceName(const struScreenItem& screen) const {
    return m_collaborators.outputDeviceName(m_screenList.adaptors, screen);
}

/// Whether no pixel of the region is on the chosen screen.
bool NDISenderUI::isRegionEmpty() const {
    return !session::overlap(m_roi, session::rectangleOf(m_curScreen));
}

void NDISenderUI::slotStartSend() {
    switch (m_sendState) {
        case SendState::Idle:
            HV_INFO("the operator starts \"{}\"", m_outputName);
            startSender();
            m_session.start();
            m_sendState = SendState::Sending;
            m_pStartBtn->setText(translated("zhPauseStr"));
            break;
        case SendState::Sending:
            HV_INFO("the operator pauses \"{}\"", m_outputName);
            m_session.pause();
            m_sendState = SendState::Paused;
            m_pStartBtn->setText(translated("zhContinueStr"));
            break;
        case SendState::Paused:
            HV_INFO("the operator {} \"{}\"{}", m_afterReset ? "starts" : "continues", m_outputName,
                    m_paramChanged && !m_afterReset ? " with changed parameters" : "");
            if (m_paramChanged) {
                m_session.sender()->reset();
                startSender();
            }
            m_session.start();
            m_sendState = SendState::Sending;
            m_pStartBtn->setText(translated("zhPauseStr"));
            break;
    }
    m_paramChanged = false;
    m_afterReset = false;
    showSourceStatus();
}

void NDISenderUI::slotStop() {
    HV_INFO("the operator resets \"{}\"", m_outputName);
    const bool started = m_sendState != SendState::Idle;
    m_paramChanged = true;
    m_afterReset = true;
    setROI(m_curScreen.x, m_curScreen.y, m_curScreen.width, m_curScreen.height);
    m_session.pause();
    m_sendState = SendState::Paused;
    m_pStartBtn->setText(translated("zhStartStr"));
    if (m_nameChanged) {
        m_session.destroySender();
        initNDI();
        m_session.createSender(m_outputName);
        m_nameChanged = false;
    } else if (started) {
        m_session.replaceLastFrameByBlack(m_roi.w, m_roi.h);
    }
    showSourceStatus();
}

void NDISenderUI::showSourceStatus() {
    const ndi::SourceStatus status = m_session.status();
    const bool sending = m_sendState == SendState::Sending;
    m_pTitleBar->setSourceDisplay(ui::describeSource(
        status, {m_session.hasSource(), sending && isRegionEmpty(), m_captureNote, m_sourceName,
                 m_screenFollower.gone(), sending ? m_session.captureStatus().slow : ""}));

    QString toolTip = translated("zhResetEffectStr");
    if (!session::changedName(status, m_sourceName).empty()) {
        const QString seen = translated("zhSeenAsStr", "Receivers see: %1");
        const QString lines = toolTip + "\n" + seen.arg(QString::fromStdString(status.name));
        toolTip = "<p style='white-space:pre'>" + lines.toHtmlEscaped() + "</p>";
    }
    if (toolTip != m_pNameLndt->toolTip()) {
        m_pNameLndt->setToolTip(toolTip);
    }
}

// The region --------------------------------------------------------------------------------

void NDISenderUI::setROI(int x, int y, int w, int h) {
    m_roi.x = x;
    m_roi.y = y;
    m_roi.w = x + w > m_desktopRight ? m_desktopRight - x : w;
    m_roi.h = y + h > m_desktopBottom ? m_desktopBottom - y : h;
    updateROIRanges();
    m_pXSpinBox->setValue(m_roi.x);
    m_pYSpinBox->setValue(m_roi.y);
    m_pWSpinBox->setValue(m_roi.w);
    m_pHSpinBox->setValue(m_roi.h);
    if (m_pCaptureROI) {
        m_pCaptureROI->setSelection(m_roi.x, m_roi.y, m_roi.w, m_roi.h);
    }
}

void NDISenderUI::setBounds(QSpinBox* box, int least, int most) {
    box->setRange(least, most);
    box->setToolTip(QString("(%1~%2)").arg(least).arg(most));
}

void NDISenderUI::updateROIRanges() {
    const struScreenItem& screen = m_curScreen;
    const int maxW = screen.x - m_roi.x + screen.width;
    const int maxH = screen.y - m_roi.y + screen.height;
    m_roi.w = m_roi.w > maxW ? maxW : m_roi.w;
    m_roi.h = m_roi.h > maxH ? maxH : m_roi.h;
    // At the right or lower edge the maximum is below 9; the spin box then holds 9.
    setBounds(m_pWSpinBox, 9, maxW);
    setBounds(m_pHSpinBox, 9, maxH);
    setBounds(m_pXSpinBox, screen.x, screen.x + screen.width);
    setBounds(m_pYSpinBox, screen.y, screen.y + screen.height);
}

void NDISenderUI::slotROIChanged(int x, int y, int w, int h) {
    // The capturer's cut of a region that begins outside the screen shears the frame.
    const int insideX = session::moveInside(x, w, m_curScreen.x, m_curScreen.width);
    const int insideY = session::moveInside(y, h, m_curScreen.y, m_curScreen.height);
    HV_INFO("the operator chooses the region {}x{} at {},{}{}", w, h, x, y,
            insideX != x || insideY != y ? "; it is moved into the screen" : "");
    setROI(insideX, insideY, w, h);
    if (!moveLiveRegion()) {
        m_paramChanged = true;
        applyIfSending();
    }
    showSourceStatus();
    if (g_roiShown) {
        raise();  // Dragging the frame has raised the overlay above this window.
    }
}

void NDISenderUI::slotROIXChanged() {
    const Rectangle before = m_roi;
    m_roi.x = m_pXSpinBox->text().toInt();
    updateROIRanges();
    m_pWSpinBox->setValue(m_roi.w);
    finishROIEdit(before);
}

void NDISenderUI::slotROIYChanged() {
    const Rectangle before = m_roi;
    m_roi.y = m_pYSpinBox->value();
    updateROIRanges();
    m_pHSpinBox->setValue(m_roi.h);
    finishROIEdit(before);
}

void NDISenderUI::slotROIWChanged() {
    const Rectangle before = m_roi;
    m_roi.w = m_pWSpinBox->text().toInt();
    finishROIEdit(before);
}

void NDISenderUI::slotROIHChanged() {
    const Rectangle before = m_roi;
    m_roi.h = m_pHSpinBox->text().toInt();
    finishROIEdit(before);
}

void NDISenderUI::finishROIEdit(const Rectangle& before) {
    HV_INFO("the operator {} {}x{} at {},{}",
            before == m_roi ? "leaves a field of the region, which stays" : "sets the region to",
            m_roi.w, m_roi.h, m_roi.x, m_roi.y);
    if (m_liveRegion && before == m_roi) {
        return;
    }
    m_paramChanged = true;
    applyIfSending();
    if (m_pCaptureROI) {
        m_pCaptureROI->setSelection(m_roi.x, m_roi.y, m_roi.w, m_roi.h);
    }
    showSourceStatus();
}

void NDISenderUI::slotCatpureROI() {
    m_pCaptureROI->show();
    m_pCaptureROI->beginSelection();
    m_pCaptureROI->update();
}

void NDISenderUI::slotShowAndHideROI() {
    if (g_roiShown) {
        m_pShowROIBtn->setText(translated("zhShowROIStr"));
        g_roiShown = false;
        m_pCaptureROI->hide();
        m_pCaptureROI->setShowROI(false);
    } else {
        m_pShowROIBtn->setText(translated("zhHideROIStr"));
        g_roiShown = true;
        // In this order the window never covers more than the frame.
        m_pCaptureROI->setShowROI(true);
        if (!ui::overlayHidesScreen()) {
            m_pCaptureROI->show();
        }
        m_pCaptureROI->update();
        // A frame around the whole screen must not cover the button that hides it.
        raise();
    }
    m_roiShown = g_roiShown;
}

// Screen, rate and name ---------------------------------------------------------------------

void NDISenderUI::slotScreenCbxChange(int index) {
    if (m_screensMsg.count == 0 || index < 0 || index >= m_screensMsg.count) {
        return;
    }
    m_curScreenIndex = index;
    m_curScreen = m_screensMsg.screens[index];
    m_chosenOutput = findOutputDeviceName(m_curScreen);
    m_screenFollower.choose();
    HV_INFO("screen {} is chosen: {}x{} at {},{}", index, m_curScreen.width, m_curScreen.height,
            m_curScreen.x, m_curScreen.y);
    setROI(m_curScreen.x, m_curScreen.y, m_curScreen.width, m_curScreen.height);
    m_paramChanged = true;
    applyIfSending();
    m_pCaptureROI->setScreenGeometry(m_roi.x, m_roi.y, m_roi.w, m_roi.h);
    writeSetting("screenIndex", QString::number(index));
}

/// Whether the box shows a stored rate outside its range as `shown`, which nobody has typed.
bool NDISenderUI::isRateOutsideTheBox(int shown) const {
    const int clamped =
        std::clamp<int>(m_frameRate, m_pFrateSpinBox->minimum(), m_pFrateSpinBox->maximum());
    const QString exact = readIniValue(iniPath(), "SystemSet", "exactFrameRate");
    const auto mode = sender::rateModeOf(exact.toStdString());
    return shown != m_frameRate && shown == clamped &&
           mode.value_or(sender::RateMode::Paced) != sender::RateMode::Paced;
}

void NDISenderUI::slotFrameRateChanged() {
    const int shown = m_pFrateSpinBox->text().toInt();
    if (isRateOutsideTheBox(shown)) {
        return;
    }
    m_frameRate = shown;
    HV_INFO("the operator sets {} fps; takes effect at the next start", m_frameRate);
    m_paramChanged = true;
    writeSetting("frameRate", QString::number(m_frameRate));
}

void NDISenderUI::slotNameChanged() {
    const std::string name = m_pNameLndt->text().toStdString();
    if (name == m_outputName) {
        return;
    }
    HV_INFO("the operator names the source \"{}\"; takes effect at the next reset", name);
    m_outputName = name;
    m_nameChanged = true;
    writeSetting("name", m_pNameLndt->text());
}

QString NDISenderUI::iniPath() const {
    return QString::fromLocal8Bit(m_iniPath.c_str());
}

void NDISenderUI::writeSetting(const QString& key, const QString& value) const {
    writeIniValue(iniPath(), "SystemSet", key, value);
}

// The window itself -------------------------------------------------------------------------

void NDISenderUI::slotCancel() {
    close();
}

void NDISenderUI::slotButtonMinClicked() {
    showMinimized();
}

void NDISenderUI::closeEvent(QCloseEvent* event) {
    HV_INFO("the operator closes the window");
    m_pCaptureROI->close();
    QWidget::closeEvent(event);
}

/// Return and Enter press the focused button, as the space bar does. Fields that take these keys
/// leave the event to the window, too; they are no buttons.
void NDISenderUI::keyPressEvent(QKeyEvent* event) {
    auto* const button = qobject_cast<QPushButton*>(focusWidget());
    if (button != nullptr && (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)) {
        button->click();
        return;
    }
    QWidget::keyPressEvent(event);
}
