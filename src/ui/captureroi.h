#pragma once

#include <QHBoxLayout>
#include <QPixmap>
#include <QPushButton>
#include <QWidget>

#include "ui/physicalpixels.h"

/// The overlay that lies exactly over one screen, in one of two modes. Selecting: the screen is
/// whitened, a drag with the left button draws a rectangle, two small buttons confirm or cancel
/// it. Showing: a red frame stands around the region, and the mouse moves it.
///
/// All numbers that go in or out are physical desktop pixels; Qt's scale factor is the overlay's
/// own affair.
///
/// On X11 a window without a compositing manager can't let the desktop shine through. Then the
/// desktop as it was when the selection began is painted under the selection, and the frame
/// is an opaque strip a few pixels wide (by which it can be moved) with nothing inside. In show
/// mode the window has the shape of what it draws, so that the rest of the desktop can be used.
class CaptureROI : public QWidget {
    Q_OBJECT

public:
    /// The size in pixels is that of the whole desktop until setScreenGeometry() is called.
    CaptureROI(int width, int height, QWidget* parent);

    /// Lays the overlay over this part of the desktop.
    void setScreenGeometry(int x, int y, int w, int h);

    /// The rectangle: desktop coordinates for show mode.
    void setSelection(int x, int y, int w, int h);

    /// Enters selection mode, with nothing selected.
    void beginSelection();

    /// Enters (true) or leaves show mode.
    void setShowROI(bool on);

    void setOverlayWidth(int width) { m_width = width; }
    void setOverlayHeight(int height) { m_height = height; }
    void setOverlaySize(int width, int height);

signals:
    /// The operator chose or moved the region.
    void signalConfirmROI(int x, int y, int w, int h);
    /// The operator left with Escape.
    void signalHideROI();

public slots:
    void slotConfirm();
    void slotCancel();
    void slotTranslate();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void createButtonBar();
    void paintSelecting();
    void paintFrame();
    void moveWhileShowing(const QMouseEvent& event, QPoint at);
    void moveWhileSelecting(const QMouseEvent& event, QPoint at);
    void showButtonBar();
    void clearSelection();
    void takeShape();
    void grabDesktopImage();
    [[nodiscard]] QRect frameRect() const;

    QWidget* m_pButtonBar = nullptr;
    QPushButton* m_pOkBtn = nullptr;
    QPushButton* m_pCancelBtn = nullptr;
    QHBoxLayout* m_pBarLayout = nullptr;
    QPixmap m_basePixmap;     ///< The image under the selection.
    QPixmap m_workPixmap;     ///< The whitened layer that is drawn.
    QPixmap m_desktopPixmap;  ///< The desktop, where it can't shine through.
    /// The overlay's own coordinates while selecting, desktop coordinates while showing.
    int m_left = 0;
    int m_top = 0;
    int m_right = 0;
    int m_bottom = 0;
    int m_width;
    int m_height;
    int m_originX = 0;
    int m_originY = 0;
    bool m_drawing = false;
    bool m_selected = false;
    bool m_cleared = false;
    bool m_showMode = false;
    bool m_moved = false;
    int m_lastX = 0;
    int m_lastY = 0;
    bool m_translucent = true;
    ui::PhysicalPixels m_pixels;
};
