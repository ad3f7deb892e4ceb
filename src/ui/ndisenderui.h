#pragma once

#include <QComboBox>
#include <QGroupBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QWidget>
#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "session/collaborators.h"
#include "session/screenfollower.h"
#include "session/screenlist.h"
#include "session/screenwatch.h"
#include "session/sendsession.h"

class CaptureROI;
class QBoxLayout;
class TitleBar;

/// Whether the frame around the region is shown. Process-wide.
extern bool g_roiShown;

/// The program's only window. The operator chooses the name of the source, a screen, a frame rate
/// and a region; the window drives the one sender it owns. Everything runs on the GUI thread. No
/// control is disabled in any state.
///
/// Regions and screens are in physical desktop pixels. Each setting is written when it changes.
class NDISenderUI : public QWidget {
    Q_OBJECT

public:
    enum class SendState : std::int32_t { Idle = 0, Sending = 1, Paused = 2 };

    /// `iniPath`: the settings file, in the local 8-bit encoding. Blocks until the NDI source is
    /// created: about a second, longer if the name is taken.
    NDISenderUI(const std::string& iniPath, QWidget* parent)
        : NDISenderUI(iniPath, parent, Collaborators::real()) {}
    NDISenderUI(const std::string& iniPath, QWidget* parent, Collaborators collaborators);

    /// Stops the sender and destroys the source.
    ~NDISenderUI() override;

    /// Replaces the path of the settings file and passes it to the sender.
    void setIniPath(const std::string& iniPath);

public slots:
    void slotScreenCbxChange(int index);
    void slotFrameRateChanged();
    void slotROIChanged(int x, int y, int w, int h);
    void slotROIXChanged();
    void slotROIYChanged();
    void slotROIWChanged();
    void slotROIHChanged();
    void slotStartSend();
    void slotCatpureROI();
    void slotShowAndHideROI();
    void slotStop();
    void slotNameChanged();
    void slotCancel();
    void slotButtonMinClicked();
    void slotTranslate();

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    using Rectangle = session::Rectangle;

    // Construction and captions: ndisenderui_layout.cpp.
    void loadScreenList();
    void loadSettings();
    void buildLayout();
    void createNameAndScreenWidgets();
    void createButtons();
    void createRegionWidgets();
    void arrange();
    QWidget* arrangeLeftPanel();
    QWidget* arrangeRightPanel();
    void connectWidgets();
    void loadStyleSheet();
    void connectTitleBar();
    void setTitle();
    void startStatusTimer();
    [[nodiscard]] QString screenLabel(int index) const;

    // Monitors that come, go, move or change their mode: ndisenderui_screens.cpp.
    void watchScreens();
    void followScreens();
    void listScreens();
    void loseScreen();
    void takeScreen(const session::Target& target);
    void fitOverlay();

    // Control flow: ndisenderui.cpp.
    void initNDI();
    void createSender();
    void setROI(int x, int y, int w, int h);
    /// Sets the range of a spin box, and the tool tip that tells it.
    static void setBounds(QSpinBox* box, int least, int most);
    void updateROIRanges();
    void finishROIEdit(const Rectangle& before);
    /// Shows the status of a capture that fails, or that needs a permission.
    void watchCapture();
    void lookAtCapture();
    /// What the capture last saw of the chosen screen; null: nothing.
    [[nodiscard]] QImage imageOfScreen() const;
    void applyIfSending();
    [[nodiscard]] bool isRateOutsideTheBox(int shown) const;
    void followDrag(const Rectangle& frame);
    [[nodiscard]] bool moveLiveRegion();
    [[nodiscard]] bool isRegionEmpty() const;
    void showSourceStatus();
    void startSender();
    [[nodiscard]] session::Target target() const;
    [[nodiscard]] std::string findOutputDeviceName(const struScreenItem& screen) const;
    [[nodiscard]] QString iniPath() const;
    void writeSetting(const QString& key, const QString& value) const;

    Collaborators m_collaborators;
    std::string m_iniPath;
    session::SendSession m_session;
    std::unique_ptr<CaptureROI> m_pCaptureROI;
    QTimer m_statusTimer;

    TitleBar* m_pTitleBar = nullptr;
    QLabel* m_pNameLabel = nullptr;
    QLineEdit* m_pNameLndt = nullptr;
    QLabel* m_pScreenLabel = nullptr;
    QLabel* m_pFrameRateLabel = nullptr;
    QPushButton* m_pSelectROIBtn = nullptr;
    QPushButton* m_pShowROIBtn = nullptr;
    QPushButton* m_pStartBtn = nullptr;
    QPushButton* m_pResetBtn = nullptr;
    QComboBox* m_pScreenCbx = nullptr;
    QLabel* m_pXLabel = nullptr;
    QLabel* m_pYLabel = nullptr;
    QLabel* m_pWLabel = nullptr;
    QLabel* m_pHLabel = nullptr;
    QSpinBox* m_pXSpinBox = nullptr;
    QSpinBox* m_pYSpinBox = nullptr;
    QSpinBox* m_pWSpinBox = nullptr;
    QSpinBox* m_pHSpinBox = nullptr;
    QSpinBox* m_pFrateSpinBox = nullptr;
    QGroupBox* m_pROIGroupBox = nullptr;

    bool m_paramChanged = false;  ///< Since the last initParmeter() of the sender.
    SendState m_sendState = SendState::Idle;
    bool m_afterReset = false;  ///< The state is Paused because of a reset.
    Rectangle m_roi;
    std::int32_t m_frameRate = 30;
    std::int32_t m_desktopWidth = 0;  ///< Of the union of all screens.
    std::int32_t m_desktopHeight = 0;
    std::int32_t m_desktopRight = 0;  ///< Right and lower edge of the union.
    std::int32_t m_desktopBottom = 0;
    session::ScreenList m_screenList;
    struScreensMsg m_screensMsg;  ///< m_screenList.screens
    struScreenItem m_curScreen;
    std::string m_outputName;    ///< UTF-8.
    std::string m_sourceName;    ///< m_outputName when the source was created.
    bool m_nameChanged = false;  ///< m_outputName takes effect at the next reset.
    std::int32_t m_curScreenIndex = 0;
    std::string m_chosenOutput;  ///< The device name of m_curScreen when it was chosen.
    session::ScreenFollower m_screenFollower;
    std::unique_ptr<session::ScreenWatch> m_screenWatch;
    QStringList m_screenNameList;
    std::string m_captureNote;  ///< Why there are no frames, for the title bar.
    bool m_forceUseOldCapture = false;
    bool m_liveRegion = false;  ///< The region moves without a restart where possible.
    bool m_roiShown = true;     ///< g_roiShown after the last toggle; slotTranslate() uses it.
};
