// The window's reactions to the operator. Construction and captions: ndisenderui_layout.cpp.

#include "ui/ndisenderui.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QSettings>
#include <QTimer>
#include <algorithm>

#include "support/log.h"
#include "support/settings.h"
#include "ui/captureroi.h"
#include "ui/desktop.h"
#include "ui/sourcedisplay.h"
#include "ui/titlebar.h"
#include "ui/translated.h"

bool g_roiShown = false;

namespace {

constexpr int kInfo = 2;  ///< spdlog's level number.

/// The position of a range of `length`, moved into the screen if it begins outside.
int moveInside(int position, int length, int screenBegin, int screenLength) {
    const int end = screenBegin + screenLength;
    if (position >= end) {
        return std::max(screenBegin, end - length);
    }
    return std::max(screenBegin, position);
}

/// How soon the window shows what became of a capture.
constexpr int kCaptureLookMs = 250;

/// The function name that log lines of startSender() carry.
constexpr char kStartName[] = "ndiSenderInitParmeter";

}  // namespace

NDISenderUI::~NDISenderUI() {
    // The sender's threads use the source, so they end first.
    m_pSender.reset();
    if (m_ndiSend != nullptr) {
        m_collaborators.destroySource(m_ndiSend);
    }
}

void NDISenderUI::setIniPath(const std::string& iniPath) {
    m_iniPath = iniPath;
    if (m_pSender) {
        m_pSender->setAuxName(iniPath);
    }
}

// Source and sender -------------------------------------------------------------------------

void NDISenderUI::initNDI() {
    m_sourceName = m_outputName;
    m_collaborators.createSource(m_outputName, m_ndiSend);
    if (m_ndiSend == nullptr) {
        HV_WARN(
            "no NDI source named {} could be created: the name and its numbered variants are "
            "taken, or the NDI library could not be initialised; receivers cannot see this source",
            m_outputName);
        return;
    }
    const ndi::SourceStatus status = m_collaborators.sourceStatus(m_ndiSend);
    if (const QString seen = ui::changedName(status, m_sourceName); !seen.isEmpty()) {
        HV_WARN(
            "receivers see the source \"{}\" as \"{}\": its name is taken, or longer than the 63 "
            "bytes "
            "that host and source name have together",
            m_sourceName, status.name);
    }
}

void NDISenderUI::createSender() {
    m_pSender.reset();
    m_pSender = m_forceUseOldCapture ? m_collaborators.makeGrabSender(m_outputName, m_ndiSend)
                                     : m_collaborators.makeDxSender(m_outputName, m_ndiSend);
}

void NDISenderUI::startSender() {
    if (!m_pSender->isDxSender() && !m_forceUseOldCapture) {
        m_pSender.reset();
        m_pSender = m_collaborators.makeDxSender(m_outputName, m_ndiSend);
        HV_LOG(kInfo, kStartName, "is ffmpeg screenshot, switch to the old DX screenshot mode.");
    }
    if (isRegionEmpty()) {
        HV_WARN(
            "the region is empty: {}x{} at {},{}; nothing is sent until it has pixels on screen "
            "{}, "
            "{}x{} at {},{}",
            m_roi.w, m_roi.h, m_roi.x, m_roi.y, m_curScreenIndex, m_curScreen.width,
            m_curScreen.height, m_curScreen.x, m_curScreen.y);
    }
    // The FFmpeg path takes desktop coordinates, the default path coordinates of the screen.
    const int originX = m_forceUseOldCapture ? 0 : m_curScreen.x;
    const int originY = m_forceUseOldCapture ? 0 : m_curScreen.y;
    const bool opened =
        m_pSender->initParmeter(m_roi.x - originX, m_roi.y - originY, m_roi.w, m_roi.h, m_frameRate,
                                findOutputDeviceName(m_curScreen));
    if (!opened && m_pSender->isDxSender()) {
        m_pSender.reset();
        m_pSender = m_collaborators.makeGrabSender(m_outputName, m_ndiSend);
        m_pSender->initParmeter(m_roi.x, m_roi.y, m_roi.w, m_roi.h, m_frameRate,
                                findOutputDeviceName(m_curScreen));
        HV_LOG(kInfo, kStartName,
               "DX screenshot failed, switch to the old ffmpeg screenshot mode.");
    }
}

void NDISenderUI::applyIfSending() {
    if (m_sendState != SendState::Sending) {
        return;
    }
    m_pSender->reset();
    startSender();
    m_pSender->start();
    m_paramChanged = false;
}

void NDISenderUI::watchCapture() {
    if (!ui::compositorPlacesWindows()) {
        return;
    }
    auto* timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, [this] { lookAtCapture(); });
    timer->start(kCaptureLookMs);
}

void NDISenderUI::lookAtCapture() {
    const bool sending = m_sendState == SendState::Sending;
    const CaptureStatus status = m_pSender->captureStatus();
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
    const std::string note = sending || status.ended ? status.text : "";
    if (note != m_captureNote) {
        m_captureNote = note;
        m_pStartBtn->setToolTip(QString::fromStdString(note));
        showSourceStatus();
    }
}

std::string NDISenderUI::findOutputDeviceName(const struScreenItem& screen) const {
    return m_collaborators.outputDeviceName(m_adaptorInfoList, screen);
}

/// Whether no pixel of the region is on the chosen screen.
bool NDISenderUI::isRegionEmpty() const {
    const int left = std::max<int>(m_roi.x, m_curScreen.x);
    const int top = std::max<int>(m_roi.y, m_curScreen.y);
    const int right = std::min<int>(m_roi.x + m_roi.w, m_curScreen.x + m_curScreen.width);
    const int bottom = std::min<int>(m_roi.y + m_roi.h, m_curScreen.y + m_curScreen.height);
    return left >= right || top >= bottom;
}

void NDISenderUI::slotStartSend() {
    switch (m_sendState) {
        case SendState::Idle:
            HV_INFO("the operator starts \"{}\"", m_outputName);
            startSender();
            m_pSender->start();
            m_sendState = SendState::Sending;
            m_pStartBtn->setText(translated("zhPauseStr"));
            break;
        case SendState::Sending:
            HV_INFO("the operator pauses \"{}\"", m_outputName);
            m_pSender->pause();
            m_sendState = SendState::Paused;
            m_pStartBtn->setText(translated("zhContinueStr"));
            break;
        case SendState::Paused:
            HV_INFO("the operator {} \"{}\"{}", m_afterReset ? "starts" : "continues", m_outputName,
                    m_paramChanged && !m_afterReset ? " with changed parameters" : "");
            if (m_paramChanged) {
                m_pSender->reset();
                startSender();
            }
            m_pSender->start();
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
    m_pSender->pause();
    m_sendState = SendState::Paused;
    m_pStartBtn->setText(translated("zhStartStr"));
    if (m_nameChanged) {
        m_pSender.reset();
        initNDI();
        createSender();
        m_nameChanged = false;
    } else if (started) {
        replaceLastFrameByBlack();
    }
    showSourceStatus();
}

/// The output repeats its last frame to all receivers, also to those that connect later. After a
/// reset they must not see the desktop any more.
void NDISenderUI::replaceLastFrameByBlack() {
    if (m_ndiSend != nullptr && m_roi.w > 0 && m_roi.h > 0) {
        HV_INFO("a black frame of {}x{} replaces the last one until the next start", m_roi.w,
                m_roi.h);
        m_collaborators.sendBlackFrame(m_ndiSend, m_roi.w, m_roi.h);
    }
}

void NDISenderUI::showSourceStatus() {
    const ndi::SourceStatus status =
        m_ndiSend != nullptr ? m_collaborators.sourceStatus(m_ndiSend) : ndi::SourceStatus();
    const bool sending = m_sendState == SendState::Sending;
    m_pTitleBar->setSourceDisplay(ui::describeSource(
        status, {m_ndiSend != nullptr, sending && isRegionEmpty(), m_captureNote, m_sourceName}));

    QString toolTip = translated("zhResetEffectStr");
    if (!ui::changedName(status, m_sourceName).isEmpty()) {
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
    const struScreenItem& screen = m_screensMsg.screens[m_curScreenIndex];
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
    const int insideX = moveInside(x, w, m_curScreen.x, m_curScreen.width);
    const int insideY = moveInside(y, h, m_curScreen.y, m_curScreen.height);
    HV_INFO("the operator chooses the region {}x{} at {},{}{}", w, h, x, y,
            insideX != x || insideY != y ? "; it is moved into the screen" : "");
    setROI(insideX, insideY, w, h);
    m_paramChanged = true;
    applyIfSending();
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
        m_pCaptureROI->setShowROI(false);
        m_pCaptureROI->update();
        m_pCaptureROI->hide();
    } else {
        m_pShowROIBtn->setText(translated("zhHideROIStr"));
        g_roiShown = true;
        m_pCaptureROI->show();
        m_pCaptureROI->setShowROI(true);
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
    HV_INFO("screen {} is chosen: {}x{} at {},{}", index, m_curScreen.width, m_curScreen.height,
            m_curScreen.x, m_curScreen.y);
    setROI(m_curScreen.x, m_curScreen.y, m_curScreen.width, m_curScreen.height);
    m_paramChanged = true;
    applyIfSending();
    m_pCaptureROI->setScreenGeometry(m_roi.x, m_roi.y, m_roi.w, m_roi.h);
    writeSetting("screenIndex", QString::number(index));
}

void NDISenderUI::slotFrameRateChanged() {
    m_frameRate = m_pFrateSpinBox->text().toInt();
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

QString NDISenderUI::readSetting(const QString& path, const QString& group, const QString& key) {
    return readIniValue(path, group, key);
}

/// Returns 0 for a value that is not a number, `missing` for a key that does not exist.
int NDISenderUI::readNumber(const QString& key, int missing) const {
    QSettings file(iniPath(), QSettings::IniFormat);
    file.beginGroup("SystemSet");
    return file.value(key, missing).toInt();
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
