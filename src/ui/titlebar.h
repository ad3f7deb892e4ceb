#pragma once

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QPoint>
#include <QPushButton>
#include <QSize>
#include <QString>
#include <utility>

#include "ui/sourcelabel.h"

/// The title bar of a frameless window: icon, title, language choice and window buttons. Dragging
/// it moves the parent window. The buttons only emit signals; the parent window acts on them.
class TitleBar : public QMenuBar {
    Q_OBJECT

public:
    /// Which window buttons are shown. Other values are stored and change nothing.
    enum ButtonType {
        MinimizeAndClose = 0,
        Normal = 1,     ///< The window has its normal size; maximise is shown.
        Maximized = 2,  ///< The window is maximised; restore is shown.
        CloseOnly = 3,
    };

    explicit TitleBar(QWidget* parent);

    void setButtonType(int type);
    [[nodiscard]] int buttonType() const { return m_buttonType; }

    /// Sets the title and shows it.
    void setTitleContent(const QString& text);

    /// Whether a double click maximises and restores. Initially true.
    void setDoubleClickEnabled(bool enabled);

    void setRestoreButtonVisible(bool visible);
    void setMaxButtonVisible(bool visible);

    /// Installs `filter` as event filter on the title and the four buttons, and turns on their
    /// mouse tracking.
    void installFilterOnChildren(QObject* filter);

    /// Two values that the title bar stores for its owner.
    void setOwnerValues(qint64 value, const QSize& size);
    [[nodiscard]] std::pair<qint64, QSize> ownerValues() const;

    /// Shows the state of the source between the title and the language choice.
    void setSourceDisplay(const ui::SourceDisplay& display);

    /// Sets the tool tips of the four buttons in the current language.
    void retranslateToolTips();

signals:
    void signalButtonMinClicked();
    void signalButtonRestoreClicked();
    void signalButtonMaxClicked();
    void signalButtonCloseClicked();
    /// The parent window was moved to (x, y).
    void signalMove(int x, int y);
    /// The parent window must restore its normal size before the call returns.
    void signalShowNormal();
    /// The language has changed.
    void signalTranslate();

public slots:
    void onButtonMinClicked();
    void onButtonRestoreClicked();
    void onButtonMaxClicked();
    void onButtonCloseClicked();
    void slotTransIndexChanged(int index);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void createTitle();
    void createButtons();
    void createLanguageChoice();
    void buildLayout();
    void loadIcon();
    void placeSourceLabel();
    int restoreBeforeDrag();

    QLabel* m_pIcon;
    QLabel* m_pTitleContent;
    QPushButton* m_pButtonMin;
    QPushButton* m_pButtonRestore;
    QPushButton* m_pButtonMax;
    QPushButton* m_pButtonClose;
    QHBoxLayout* m_pLayout = nullptr;
    QComboBox* m_pTransCombox;
    qint64 m_ownerValue = 0;
    QSize m_ownerSize;
    bool m_isPressed = false;
    bool m_isDoubleClicked = false;
    QPoint m_startMovePos;  ///< Global position of the pointer at the last step of a drag.
    QString m_titleContent;
    int m_buttonType = MinimizeAndClose;
    bool m_restoreHidden = false;
    bool m_maxHidden = false;
    bool m_doubleClickEnabled = true;
    SourceLabel* m_pSourceLabel;  ///< Outside the layout, so that nothing else moves.
};
