#include "ui/titlebar.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QMouseEvent>
#include <QPainter>
#include <QPixmap>
#include <QStyle>
#include <QStyleOption>
#include <QWindow>
#include <cstdlib>

#include "ui/desktop.h"
#include "ui/focuscombobox.h"
#include "ui/translated.h"

namespace {

constexpr int kLanguageCount = static_cast<int>(kLanguages.size());

const Language& languageAt(int index) {
    return kLanguages.at(static_cast<std::size_t>(index));
}

constexpr int kEdge = 3;        ///< Pixels at the left, top and right edge where no drag starts.
constexpr int kSourceGap = 12;  ///< Pixels between the source label and its neighbours.
constexpr int kDragStep = 15;   ///< Pixels the pointer can move before the window follows.

}  // namespace

TitleBar::TitleBar(QWidget* parent)
    : QMenuBar(parent),
      m_pIcon(new QLabel(this)),
      m_pTitleContent(new QLabel),
      m_pButtonMin(new QPushButton),
      m_pButtonRestore(new QPushButton),
      m_pButtonMax(new QPushButton),
      m_pButtonClose(new QPushButton),
      m_pTransCombox(new FocusComboBox),
      m_pSourceLabel(new SourceLabel(this)) {
    // A desktop with a global menu would move a native menu bar out of the window.
    setNativeMenuBar(false);
    createLanguageChoice();
    createTitle();
    createButtons();
    buildLayout();
    setAttribute(Qt::WA_MouseTracking);
    setButtonType(m_buttonType);
}

void TitleBar::createLanguageChoice() {
    m_pTransCombox->setObjectName("ComboxTrans");
    m_pTransCombox->setFixedWidth(190);
    for (int i = 0; i < kLanguageCount; ++i) {
        m_pTransCombox->insertItem(m_pTransCombox->count(), QIcon(),
                                   translated(languageAt(i).captionKey), i);
    }
    m_pTransCombox->setCurrentIndex(static_cast<int>(startLanguage()));
    connect(m_pTransCombox, SIGNAL(currentIndexChanged(int)), this,
            SLOT(slotTransIndexChanged(int)));
}

void TitleBar::createTitle() {
    m_pTitleContent->setObjectName("TitleLabel");
    m_pTitleContent->setContextMenuPolicy(Qt::NoContextMenu);
    m_pTitleContent->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_pTitleContent->setAlignment(Qt::AlignLeft);
    m_pTitleContent->setStyleSheet("font-size: 16px;color: #FFFFFF; background:transparent");
    m_pTitleContent->hide();

    m_pSourceLabel->setObjectName("SourceLabel");
    m_pIcon->setObjectName("TitleIconLabel");
    loadIcon();
}

/// Loads the image beside the executable, or its @2x version on a scaled screen.
void TitleBar::loadIcon() {
    const QString base = QCoreApplication::applicationDirPath() + "/configImage/NDI_ICON";
    const QString large = base + "@2x.png";
    const bool useLarge = devicePixelRatioF() > 1 && QFile::exists(large);
    m_pIcon->setPixmap(QPixmap(useLarge ? large : base + ".png"));
}

void TitleBar::createButtons() {
    m_pButtonMin->setObjectName("ButtonMin");
    m_pButtonRestore->setObjectName("ButtonRestore");
    m_pButtonMax->setObjectName("ButtonMax");
    m_pButtonClose->setObjectName("ButtonClose");
    retranslateToolTips();
    connect(m_pButtonMin, SIGNAL(clicked()), this, SLOT(onButtonMinClicked()));
    connect(m_pButtonRestore, SIGNAL(clicked()), this, SLOT(onButtonRestoreClicked()));
    connect(m_pButtonMax, SIGNAL(clicked()), this, SLOT(onButtonMaxClicked()));
    connect(m_pButtonClose, SIGNAL(clicked()), this, SLOT(onButtonCloseClicked()));
}

void TitleBar::buildLayout() {
    m_pLayout = new QHBoxLayout(this);
    m_pLayout->addWidget(m_pIcon);
    m_pLayout->addWidget(m_pTitleContent);
    m_pLayout->addSpacing(8);
    m_pLayout->addSpacing(100);
    m_pLayout->addWidget(m_pTransCombox);
    m_pLayout->addWidget(m_pButtonMin);
    m_pLayout->addWidget(m_pButtonRestore);
    m_pLayout->addWidget(m_pButtonMax);
    m_pLayout->addWidget(m_pButtonClose);
    m_pLayout->setContentsMargins(7, 0, 7, 0);
    setFixedHeight(30);
    setWindowFlags(Qt::FramelessWindowHint);
}

void TitleBar::setButtonType(int type) {
    m_buttonType = type;
    switch (type) {
        case MinimizeAndClose:
            m_pButtonMin->setVisible(true);
            m_pButtonRestore->setVisible(false);
            m_pButtonMax->setVisible(false);
            m_pButtonClose->setVisible(true);
            break;
        case Normal:
            m_pButtonRestore->setVisible(false);
            m_pButtonMax->setVisible(true);
            break;
        case Maximized:
            m_pButtonRestore->setVisible(!m_restoreHidden);
            m_pButtonMax->setVisible(m_restoreHidden);
            break;
        case CloseOnly:
            m_pButtonMin->setVisible(false);
            m_pButtonRestore->setVisible(false);
            m_pButtonMax->setVisible(false);
            m_pButtonClose->setVisible(true);
            break;
        default:
            break;
    }
}

void TitleBar::setTitleContent(const QString& text) {
    m_titleContent = text;
    m_pTitleContent->setText(text);
    m_pTitleContent->show();
}

void TitleBar::setSourceDisplay(const ui::SourceDisplay& display) {
    if (display != m_pSourceLabel->display()) {
        m_pSourceLabel->setDisplay(display);
        placeSourceLabel();
    }
}

/// Puts the source label into the empty stretch between the title's text and the language choice.
void TitleBar::placeSourceLabel() {
    const int titleWidth = m_pTitleContent->fontMetrics().horizontalAdvance(m_titleContent);
    const int left = m_pTitleContent->x() + titleWidth + kSourceGap;
    const int right = m_pTransCombox->x() - kSourceGap;
    const int wanted = m_pSourceLabel->sizeHint().width();
    m_pSourceLabel->setGeometry(left, 0, qBound(0, wanted, right - left), height());
    m_pSourceLabel->raise();
}

void TitleBar::setDoubleClickEnabled(bool enabled) {
    m_doubleClickEnabled = enabled;
}

void TitleBar::setRestoreButtonVisible(bool visible) {
    m_pButtonRestore->setVisible(visible);
    m_restoreHidden = !visible;
}

void TitleBar::setMaxButtonVisible(bool visible) {
    m_pButtonMax->setVisible(visible);
    m_maxHidden = !visible;
}

void TitleBar::installFilterOnChildren(QObject* filter) {
    QWidget* const watched[] = {m_pTitleContent, m_pButtonMin, m_pButtonRestore, m_pButtonMax,
                                m_pButtonClose};
    for (QWidget* widget : watched) {
        widget->setMouseTracking(true);
        widget->installEventFilter(filter);
    }
}

void TitleBar::setOwnerValues(qint64 value, const QSize& size) {
    m_ownerValue = value;
    m_ownerSize = size;
}

std::pair<qint64, QSize> TitleBar::ownerValues() const {
    return {m_ownerValue, m_ownerSize};
}

void TitleBar::retranslateToolTips() {
    m_pButtonMin->setToolTip(translated("zhMinAct"));
    m_pButtonRestore->setToolTip(translated("zhReductionAct"));
    m_pButtonMax->setToolTip(translated("zhMaxAct"));
    m_pButtonClose->setToolTip(translated("zhCloseAct"));
}

void TitleBar::onButtonMinClicked() {
    emit signalButtonMinClicked();
}

void TitleBar::onButtonRestoreClicked() {
    setButtonType(Normal);
    emit signalButtonRestoreClicked();
}

void TitleBar::onButtonMaxClicked() {
    setButtonType(Maximized);
    emit signalButtonMaxClicked();
}

void TitleBar::onButtonCloseClicked() {
    emit signalButtonCloseClicked();
}

void TitleBar::slotTransIndexChanged(int index) {
    if (index >= 0 && index < kLanguageCount) {
        StringToTranslate::instance().setTranslateStringMap(
            loadLanguageFile(QCoreApplication::applicationDirPath() + languageAt(index).file));
    }
    retranslateToolTips();
    emit signalTranslate();
}

void TitleBar::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton) {
        return;
    }
    const QPoint at = event->pos();
    if (at.x() >= kEdge && at.y() >= kEdge && at.x() <= width() - kEdge) {
        m_isPressed = true;
        m_startMovePos = event->globalPos();
    }
}

void TitleBar::mouseMoveEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton || !m_isPressed || m_isDoubleClicked) {
        return;
    }
    const QPoint step = event->globalPos() - m_startMovePos;
    if (std::abs(step.x()) <= kDragStep && std::abs(step.y()) <= kDragStep) {
        return;
    }
    if (ui::compositorPlacesWindows() && window()->windowHandle() != nullptr &&
        window()->windowHandle()->startSystemMove()) {
        m_isPressed = false;  // The compositor has the pointer until the button is released.
        return;
    }
    QPoint target = parentWidget()->pos() + step;
    if (m_buttonType == Maximized && !m_restoreHidden) {
        target.setX(restoreBeforeDrag());
    }
    m_startMovePos = event->globalPos();
    parentWidget()->move(target);
    emit signalMove(target.x(), target.y());
}

/// Restores the maximised parent window to its normal size. Returns the x position at which the
/// pointer keeps its relative position across the narrower window.
int TitleBar::restoreBeforeDrag() {
    const int left = parentWidget()->x();
    const double before = parentWidget()->width();
    setButtonType(Normal);
    emit signalShowNormal();
    const double after = parentWidget()->width();
    return static_cast<int>(m_startMovePos.x() - after / before * (m_startMovePos.x() - left));
}

void TitleBar::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton) {
        return;
    }
    m_isPressed = false;
    m_isDoubleClicked = false;
}

void TitleBar::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton || !m_doubleClickEnabled) {
        return;
    }
    if (m_buttonType == Normal) {
        onButtonMaxClicked();
    } else if (m_buttonType == Maximized) {
        onButtonRestoreClicked();
    }
    m_isDoubleClicked = true;
}

bool TitleBar::event(QEvent* event) {
    const bool handled = QMenuBar::event(event);
    if (event->type() == QEvent::Resize || event->type() == QEvent::Show ||
        event->type() == QEvent::LayoutRequest) {
        placeSourceLabel();
    }
    return handled;
}

void TitleBar::changeEvent(QEvent* event) {
    QMenuBar::changeEvent(event);
    if (event->type() == QEvent::LanguageChange) {
        retranslateToolTips();
    }
}

void TitleBar::paintEvent(QPaintEvent* event) {
    {
        QStyleOption option;
        option.initFrom(this);
        QPainter painter(this);
        style()->drawPrimitive(QStyle::PE_Widget, &option, &painter, this);
    }
    QMenuBar::paintEvent(event);
}
