// Construction of the window and its captions. Reactions to the operator: ndisenderui.cpp.

#include <QCoreApplication>
#include <QFile>
#include <QHBoxLayout>
#include <QHostInfo>
#include <QIcon>
#include <QVBoxLayout>
#include <utility>

#include "session/savedsettings.h"
#include "support/log.h"
#include "ui/application.h"
#include "ui/captureroi.h"
#include "ui/desktop.h"
#include "ui/fixedsize.h"
#include "ui/focuscombobox.h"
#include "ui/ndisenderui.h"
#include "ui/physicalpixels.h"
#include "ui/sessionlog.h"
#include "ui/titlebar.h"
#include "ui/translated.h"

namespace {

// Qt's default arrows are dark on the dark fields; these match the arrow of the title bar.
constexpr char kSpinArrows[] =
    "QSpinBox::up-button{subcontrol-origin:border;subcontrol-position:top right;"
    "width:18px;border:none}"
    "QSpinBox::down-button{subcontrol-origin:border;subcontrol-position:bottom right;"
    "width:18px;border:none}"
    "QSpinBox::up-arrow{image:url(:/img/Resources/image/up_arrow.png);width:9px;height:9px}"
    "QSpinBox::up-arrow:disabled,QSpinBox::up-arrow:off"
    "{image:url(:/img/Resources/image/up_arrow_disable.png)}"
    "QSpinBox::down-arrow{image:url(:/img/Resources/image/down_arrow.png);width:9px;height:9px}"
    "QSpinBox::down-arrow:disabled,QSpinBox::down-arrow:off"
    "{image:url(:/img/Resources/image/down_arrow_disable.png)}";
constexpr char kComboArrow[] =
    "QComboBox::drop-down{border:none;width:22px}"
    "QComboBox::down-arrow{image:url(:/img/Resources/image/down_arrow.png);width:12px;height:12px}";

QString captioned(const char* key) {
    return QString("%1:").arg(translated(key));
}

QLabel* makeLabel(const QString& text, int width) {
    auto* label = new QLabel(text);
    label->setFixedWidth(width);
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return label;
}

template <typename... Items>
QHBoxLayout* row(Items*... items) {
    auto* layout = new QHBoxLayout;
    (layout->addWidget(items), ...);
    return layout;
}

}  // namespace

NDISenderUI::NDISenderUI(const std::string& iniPath, QWidget* parent, Collaborators collaborators)
    : QWidget(parent),
      m_collaborators(std::move(collaborators)),
      m_iniPath(iniPath),
      m_session(m_collaborators) {
    loadScreenList();
    setWindowFlags(Qt::FramelessWindowHint);
    m_pTitleBar = new TitleBar(this);
    m_pTitleBar->setContextMenuPolicy(Qt::NoContextMenu);
    m_pTitleBar->setDoubleClickEnabled(false);
    m_pTitleBar->setObjectName(tr("dialogTitle"));
    loadSettings();
    ui::logSession(m_screensMsg,
                   {m_iniPath, m_outputName, m_curScreenIndex, m_frameRate, m_forceUseOldCapture});
    buildLayout();
    ui::fixSize(*this, {638, 260});
    loadStyleSheet();
    connectTitleBar();
    initNDI();
    m_session.createSender(m_outputName);
    startStatusTimer();
    watchCapture();
    watchScreens();
}

void NDISenderUI::loadScreenList() {
    m_screenList = session::listScreens(m_collaborators);
    m_screensMsg = m_screenList.screens;
    m_screenNameList.clear();
    const Rectangle& desktop = m_screenList.desktop;
    m_desktopWidth = desktop.w;
    m_desktopHeight = desktop.h;
    m_desktopRight = desktop.x + desktop.w;
    m_desktopBottom = desktop.y + desktop.h;
    QVector<QRect> screens;
    for (int i = 0; i != m_screensMsg.count; ++i) {
        const struScreenItem& screen = m_screensMsg.screens[i];
        screens.append({screen.x, screen.y, screen.width, screen.height});
        m_screenNameList.append(screenLabel(i));
    }
    if (ui::compositorPlacesWindows()) {
        ui::PhysicalPixels::setScreens(screens);
    }
}

QString NDISenderUI::screenLabel(int index) const {
    const struScreenItem screen = m_screensMsg.screens[index];
    const QString label = QString::fromStdString(session::screenLabel(m_screenList, screen));
    return captioned("zhScreenStr") + QString::number(index) + "(" + QString::number(screen.width) +
           "x" + QString::number(screen.height) + ")" + (label.isEmpty() ? "" : " " + label);
}

void NDISenderUI::loadSettings() {
    const session::SavedSettings saved = session::readSavedSettings(iniPath());
    m_outputName = saved.name.empty() ? QHostInfo::localHostName().toStdString() : saved.name;
    if (saved.screenIndex >= 0 && saved.screenIndex < m_screensMsg.count) {
        m_curScreenIndex = saved.screenIndex;
    }
    if (saved.frameRate >= 0) {
        m_frameRate = saved.frameRate;
    }
    if (saved.forceUseOldCapture < 0) {
        writeSetting("forceUseOldCapture", "0");
    }
    m_session.keepDisplayOn(saved.keepDisplayOn != 0);
    m_forceUseOldCapture = saved.forceUseOldCapture > 0;
    m_liveRegion = saved.liveRegion > 0;
    m_session.forceGrab(m_forceUseOldCapture);
}

void NDISenderUI::buildLayout() {
    m_pCaptureROI = ui::makeOverlay(m_desktopWidth, m_desktopHeight);
    m_pCaptureROI->setImageSource([this] { return imageOfScreen(); });
    m_pCaptureROI->hide();
    createNameAndScreenWidgets();
    createButtons();
    createRegionWidgets();
    m_pScreenCbx->setCurrentIndex(m_curScreenIndex);
    slotScreenCbxChange(m_curScreenIndex);
    arrange();
    setTitle();
    connectWidgets();
    m_pNameLndt->setText(QString::fromStdString(m_outputName));
}

void NDISenderUI::createNameAndScreenWidgets() {
    m_pNameLabel = makeLabel(captioned("zhNameStr"), 60);
    m_pNameLabel->setObjectName("nameLabel");
    m_pNameLndt = new QLineEdit;
    m_pNameLndt->setObjectName("nameLndt");
    m_pNameLndt->setToolTip(translated("zhResetEffectStr"));
    m_pNameLndt->setFixedSize(220, 26);
    m_pNameLndt->setContextMenuPolicy(Qt::NoContextMenu);

    m_pScreenLabel = makeLabel(captioned("zhScreenStr"), 60);
    m_pScreenLabel->setObjectName("m_pScreenLabel");
    m_pScreenCbx = new FocusComboBox;
    m_pScreenCbx->setMinimumWidth(200);
    m_pScreenCbx->addItems(m_screenNameList);
    m_pScreenCbx->setFixedSize(220, 26);
    m_pScreenCbx->setStyleSheet(kComboArrow);

    m_pFrameRateLabel = makeLabel(captioned("zhFPSStr"), 60);
    m_pFrameRateLabel->setObjectName("m_pFrameRateLabel");
    m_pFrateSpinBox = new QSpinBox;
    m_pFrateSpinBox->setObjectName("m_pFrateSpinBox");
    m_pFrateSpinBox->setToolTip(translated("zhFPSRangeStr"));
    m_pFrateSpinBox->setFixedSize(64, 26);
    m_pFrateSpinBox->setStyleSheet(kSpinArrows);
    // The value is set before the range: a stored rate outside the range is displayed clamped,
    // while m_frameRate keeps it.
    m_pFrateSpinBox->setValue(m_frameRate);
    m_pFrateSpinBox->setRange(5, 60);
    m_pFrateSpinBox->setContextMenuPolicy(Qt::NoContextMenu);
}

void NDISenderUI::createButtons() {
    m_pSelectROIBtn = new QPushButton(translated("zhSelectROIStr"));
    m_pShowROIBtn = new QPushButton(translated("zhShowROIStr"));
    m_pStartBtn = new QPushButton(translated("zhStartStr"));
    m_pResetBtn = new QPushButton(translated("zhResetStr"));
}

void NDISenderUI::createRegionWidgets() {
    m_pXLabel = makeLabel("x:", 20);
    m_pYLabel = makeLabel("y:", 20);
    m_pWLabel = makeLabel("w:", 20);
    m_pHLabel = makeLabel("h:", 20);
    m_pXSpinBox = new QSpinBox;
    m_pYSpinBox = new QSpinBox;
    m_pWSpinBox = new QSpinBox;
    m_pHSpinBox = new QSpinBox;
    setBounds(m_pXSpinBox, 0, m_desktopWidth);
    setBounds(m_pYSpinBox, 0, m_desktopHeight);
    setBounds(m_pWSpinBox, 9, m_desktopWidth);
    setBounds(m_pHSpinBox, 9, m_desktopHeight);
    for (QSpinBox* box : {m_pXSpinBox, m_pYSpinBox, m_pWSpinBox, m_pHSpinBox}) {
        box->setFixedWidth(100);
        box->setStyleSheet(kSpinArrows);
    }
    m_pROIGroupBox = new QGroupBox(translated("zhSentROIStr"));
    m_pROIGroupBox->setStyleSheet("QGroupBox{border:none}");
}

void NDISenderUI::arrange() {
    auto* centre = new QWidget(this);
    centre->setObjectName(tr("dialogCenter"));
    centre->setContentsMargins(0, 0, 0, 0);
    auto* centreLayout = new QHBoxLayout(centre);
    centreLayout->addWidget(arrangeLeftPanel());
    centreLayout->addSpacing(40);
    centreLayout->addWidget(arrangeRightPanel());
    centreLayout->setContentsMargins(10, 10, 20, 10);

    m_pTitleBar->setFixedHeight(44);
    m_pTitleBar->show();
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_pTitleBar);
    layout->addWidget(centre);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
}

QWidget* NDISenderUI::arrangeLeftPanel() {
    auto* panel = new QWidget;
    panel->setFixedWidth(300);
    auto* layout = new QVBoxLayout(panel);
    layout->addLayout(row(m_pNameLabel, m_pNameLndt));
    layout->addSpacing(0);
    layout->addLayout(row(m_pScreenLabel, m_pScreenCbx));
    layout->addLayout(row(m_pFrameRateLabel, m_pFrateSpinBox, m_pStartBtn, m_pResetBtn));
    return panel;
}

QWidget* NDISenderUI::arrangeRightPanel() {
    auto* groupLayout = new QVBoxLayout;
    groupLayout->addLayout(row(m_pXLabel, m_pXSpinBox, m_pYLabel, m_pYSpinBox));
    groupLayout->addLayout(row(m_pWLabel, m_pWSpinBox, m_pHLabel, m_pHSpinBox));
    groupLayout->setContentsMargins(0, 20, 10, 0);
    m_pROIGroupBox->setLayout(groupLayout);

    auto* panel = new QWidget;
    panel->setFixedHeight(160);
    auto* layout = new QVBoxLayout(panel);
    layout->addLayout(row(m_pSelectROIBtn, m_pShowROIBtn));
    layout->addSpacing(10);
    layout->addWidget(m_pROIGroupBox);
    return panel;
}

void NDISenderUI::connectWidgets() {
    connect(m_pScreenCbx, SIGNAL(currentIndexChanged(int)), this, SLOT(slotScreenCbxChange(int)));
    connect(m_pFrateSpinBox, SIGNAL(editingFinished()), this, SLOT(slotFrameRateChanged()));
    connect(m_pXSpinBox, SIGNAL(editingFinished()), this, SLOT(slotROIXChanged()));
    connect(m_pYSpinBox, SIGNAL(editingFinished()), this, SLOT(slotROIYChanged()));
    connect(m_pWSpinBox, SIGNAL(editingFinished()), this, SLOT(slotROIWChanged()));
    connect(m_pHSpinBox, SIGNAL(editingFinished()), this, SLOT(slotROIHChanged()));
    connect(m_pStartBtn, SIGNAL(clicked()), this, SLOT(slotStartSend()));
    connect(m_pSelectROIBtn, SIGNAL(clicked()), this, SLOT(slotCatpureROI()));
    connect(m_pCaptureROI.get(), SIGNAL(signalConfirmROI(int, int, int, int)), this,
            SLOT(slotROIChanged(int, int, int, int)));
    connect(m_pCaptureROI.get(), &CaptureROI::signalDragROI, this,
            [this](int x, int y, int w, int h) {
                followDrag({x, y, w, h});
            });
    connect(m_pShowROIBtn, SIGNAL(clicked()), this, SLOT(slotShowAndHideROI()));
    connect(m_pResetBtn, SIGNAL(clicked()), this, SLOT(slotStop()));
    connect(m_pCaptureROI.get(), SIGNAL(signalHideROI()), this, SLOT(slotShowAndHideROI()));
    connect(m_pNameLndt, SIGNAL(editingFinished()), this, SLOT(slotNameChanged()));
}

void NDISenderUI::loadStyleSheet() {
    // Resources of a static library are not linked unless they are referenced.
    Q_INIT_RESOURCE(ndiSender);
    ui::substituteFonts();
    QFile file(QString(":/qss/Resources/qss/") + "ndiSender.qss");
    if (file.open(QIODevice::ReadOnly)) {
        const QByteArray bytes = file.readAll();
        setStyleSheet(QString::fromUtf8(bytes.constData()));
        file.close();
    }
    const QString icons = QCoreApplication::applicationDirPath() + "/configImage/";
    QIcon icon(icons + "WINDOW_ICON.png");
    icon.addFile(icons + "NDI_ICON.png");
    setWindowIcon(icon);
}

/// The output has no event for a change of its status, so the window asks for it. That costs some
/// microseconds.
void NDISenderUI::startStatusTimer() {
    constexpr int kIntervalMs = 500;
    connect(&m_statusTimer, &QTimer::timeout, this, [this] { showSourceStatus(); });
    m_statusTimer.start(kIntervalMs);
    showSourceStatus();
}

void NDISenderUI::connectTitleBar() {
    connect(m_pTitleBar, &TitleBar::signalButtonCloseClicked, this, &NDISenderUI::close);
    connect(m_pTitleBar, &TitleBar::signalButtonMinClicked, this, &NDISenderUI::showMinimized);
    connect(m_pTitleBar, &TitleBar::signalTranslate, this, &NDISenderUI::slotTranslate);
    connect(m_pTitleBar, &TitleBar::signalTranslate, m_pCaptureROI.get(),
            &CaptureROI::slotTranslate);
}

/// Sets the title of the title bar and of the taskbar entry.
void NDISenderUI::setTitle() {
    const QString title = QString("NDI %1").arg(translated("zhSenderStr"));
    m_pTitleBar->setTitleContent(title);
    setWindowTitle(title);
}

void NDISenderUI::slotTranslate() {
    setTitle();
    m_pNameLabel->setText(captioned("zhNameStr"));
    m_pScreenLabel->setText(captioned("zhScreenStr"));
    m_pFrameRateLabel->setText(captioned("zhFPSStr"));
    m_pROIGroupBox->setTitle(translated("zhSentROIStr"));
    m_pSelectROIBtn->setText(translated("zhSelectROIStr"));
    m_pResetBtn->setText(translated("zhResetStr"));
    m_pFrateSpinBox->setToolTip(translated("zhFPSRangeStr"));
    m_pNameLndt->setToolTip(translated("zhResetEffectStr"));
    // After a reset the state is Paused: a language switch turns "start" into "continue". Known and
    // kept.
    switch (m_sendState) {
        case SendState::Sending:
            m_pStartBtn->setText(translated("zhPauseStr"));
            break;
        case SendState::Paused:
            m_pStartBtn->setText(translated("zhContinueStr"));
            break;
        case SendState::Idle:
            m_pStartBtn->setText(translated("zhStartStr"));
            break;
    }
    // The opposite of what slotShowAndHideROI() sets. Known and kept.
    m_pShowROIBtn->setText(translated(m_roiShown ? "zhShowROIStr" : "zhHideROIStr"));
    for (int i = 0; i < m_screensMsg.count; ++i) {
        m_pScreenCbx->setItemText(i, screenLabel(i));
    }
    showSourceStatus();
}
