// The window's reactions to monitors that come, go, move or change their mode.

#include <QGuiApplication>
#include <QScreen>
#include <QSignalBlocker>
#include <cstring>

#include "support/log.h"
#include "ui/captureroi.h"
#include "ui/ndisenderui.h"

void NDISenderUI::watchScreens() {
    m_screenWatch = std::make_unique<session::ScreenWatch>([this] { followScreens(); });
    // The list of screens is in physical pixels and does not tell of scale factors.
    const auto watchScale = [this](const QScreen* screen) {
        connect(screen, &QScreen::logicalDotsPerInchChanged, this, &NDISenderUI::fitOverlay);
    };
    for (const QScreen* screen : QGuiApplication::screens()) {
        watchScale(screen);
    }
    connect(qGuiApp, &QGuiApplication::screenAdded, this, watchScale);
}

void NDISenderUI::followScreens() {
    using Change = session::ScreenFollower::Change;
    const struScreensMsg before = m_screensMsg;
    loadScreenList();
    const bool sameList = std::memcmp(&before, &m_screensMsg, sizeof before) == 0;
    if (!sameList) {
        HV_INFO("the screens have changed: {}", m_screenNameList.join(", ").toStdString());
    }
    session::Target now = target();
    const Change change = m_screenFollower.follow(m_screenList, now);
    if (sameList && change == Change::None) {
        return;
    }
    m_curScreenIndex = now.screenIndex;
    m_curScreen = now.screen;
    m_chosenOutput = now.output;
    if (change == Change::Gone) {
        loseScreen();
    } else if (change == Change::New) {
        takeScreen(now);
    }
    listScreens();
    showSourceStatus();
}

/// Shows the screens and the chosen one. Only the operator's choice is stored.
void NDISenderUI::listScreens() {
    const QSignalBlocker noChoice(m_pScreenCbx);
    m_pScreenCbx->clear();
    m_pScreenCbx->addItems(m_screenNameList);
    m_pScreenCbx->setCurrentIndex(m_screenFollower.gone() ? -1 : m_curScreenIndex);
}

void NDISenderUI::loseScreen() {
    m_session.createSender(m_outputName);
    m_paramChanged = true;
    if (g_roiShown) {
        slotShowAndHideROI();
    }
    m_pCaptureROI->slotCancel();
}

void NDISenderUI::takeScreen(const session::Target& target) {
    const Rectangle& region = target.region;
    setROI(region.x, region.y, region.w, region.h);
    m_paramChanged = true;
    applyIfSending();
    fitOverlay();
}

/// Covers the screen with it, whose scale factor may have changed.
void NDISenderUI::fitOverlay() {
    m_pCaptureROI->setScreenGeometry(m_curScreen.x, m_curScreen.y, m_curScreen.width,
                                     m_curScreen.height);
}
