// The window's reactions to monitors that come, go, move or change their mode.

#include <QSignalBlocker>
#include <cstring>
#include <utility>

#include "support/log.h"
#include "ui/captureroi.h"
#include "ui/ndisenderui.h"

namespace {

QRect rectOf(const struScreenItem& screen) {
    return {screen.x, screen.y, screen.width, screen.height};
}

}  // namespace

void NDISenderUI::watchScreens() {
    m_screenWatch = std::make_unique<ui::ScreenWatch>([this] { followScreens(); });
}

void NDISenderUI::followScreens() {
    const struScreensMsg before = m_screensMsg;
    loadScreenList();
    const bool sameList = std::memcmp(&before, &m_screensMsg, sizeof before) == 0;
    const int index = indexOfChosenScreen();
    if (sameList && index == (m_screenGone ? -1 : m_curScreenIndex)) {
        return;
    }
    HV_INFO("the screens have changed: {}", m_screenNameList.join(", ").toStdString());
    if (index < 0) {
        loseScreen();
    } else {
        takeScreen(index);
    }
    listScreens();
    showSourceStatus();
}

/// Shows the screens and the chosen one. Only the operator's choice is stored.
void NDISenderUI::listScreens() {
    const QSignalBlocker noChoice(m_pScreenCbx);
    m_pScreenCbx->clear();
    m_pScreenCbx->addItems(m_screenNameList);
    m_pScreenCbx->setCurrentIndex(m_screenGone ? -1 : m_curScreenIndex);
}

/// -1: it is gone.
int NDISenderUI::indexOfChosenScreen() const {
    if (m_chosenOutput.empty()) {  // No adapters, so the place in the list has to do.
        return m_curScreenIndex < m_screensMsg.count ? m_curScreenIndex : -1;
    }
    for (int i = 0; i != m_screensMsg.count; ++i) {
        if (findOutputDeviceName(m_screensMsg.screens[i]) == m_chosenOutput) {
            return i;
        }
    }
    return -1;
}

void NDISenderUI::loseScreen() {
    if (std::exchange(m_screenGone, true)) {
        return;
    }
    HV_WARN(
        "screen {} (\"{}\") is gone, switched off or disconnected; nothing is sent until it is "
        "back or another one is chosen",
        m_curScreenIndex, m_chosenOutput);
    m_session.createSender(m_outputName);
    m_paramChanged = true;
    if (g_roiShown) {
        slotShowAndHideROI();
    }
    m_pCaptureROI->slotCancel();
}

void NDISenderUI::takeScreen(int index) {
    const bool returned = std::exchange(m_screenGone, false);
    const struScreenItem before = std::exchange(m_curScreen, m_screensMsg.screens[index]);
    m_curScreenIndex = index;
    m_chosenOutput = findOutputDeviceName(m_curScreen);
    const QRect now = rectOf(m_curScreen);
    if (!returned && rectOf(before) == now) {
        return;  // Another screen has changed.
    }
    const QRect region =
        m_regionFollower.follow({m_roi.x, m_roi.y, m_roi.w, m_roi.h}, rectOf(before), now);
    HV_INFO("screen {} (\"{}\") {} {}x{} at {},{}; the region becomes {}x{} at {},{}", index,
            m_chosenOutput, returned ? "is back with" : "has changed to", now.width(), now.height(),
            now.x(), now.y(), region.width(), region.height(), region.x(), region.y());
    setROI(region.x(), region.y(), region.width(), region.height());
    m_paramChanged = true;
    applyIfSending();
    m_pCaptureROI->setScreenGeometry(now.x(), now.y(), now.width(), now.height());
}
