#pragma once

#include <QHBoxLayout>
#include <QImage>
#include <QPixmap>
#include <QPushButton>
#include <QWidget>
#include <functional>
#include <utility>

#include "ui/physicalpixels.h"

/// A frameless window that covers one screen exactly and has two modes. In selection mode the
/// screen is whitened, a drag with the left button draws a rectangle, and two buttons confirm or
/// cancel it. In show mode a red frame marks the region and can be dragged.
///
/// All numbers of the interface are physical desktop pixels; the overlay applies Qt's scale factor
/// itself.
///
/// On X11 windows cannot be translucent without a compositing manager. Then selection mode paints
/// an image of the desktop, grabbed when the selection began, and the frame of show mode is opaque,
/// a few pixels wide and empty inside. In show mode the window is masked to the frame, so that the
/// rest of the desktop can be used.
///
/// Where a window can cover a screen but not be laid over it (ui::overlayHidesScreen()), selection
/// mode covers the whole screen with an image of it, and show mode shows nothing. ui::makeOverlay()
/// makes an overlay that has another process show it there, if possible.
class CaptureROI : public QWidget {
    Q_OBJECT

public:
    /// `width` and `height`: those of the whole desktop; setScreenGeometry() replaces them.
    CaptureROI(int width, int height, QWidget* parent);

    /// Moves the overlay to this part of the desktop and resizes it.
    virtual void setScreenGeometry(int x, int y, int w, int h);

    /// Sets the region in force, in desktop coordinates. Show mode frames it; a selection that is
    /// cancelled changes nothing about it.
    virtual void setSelection(int x, int y, int w, int h);

    /// Where the image comes from of a screen that the overlay hides; null images are allowed.
    void setImageSource(std::function<QImage()> source) { m_imageSource = std::move(source); }

    /// Enters selection mode, with nothing selected.
    virtual void beginSelection();

    /// Enters (true) or leaves show mode.
    virtual void setShowROI(bool on);

    void setOverlayWidth(int width) { m_width = width; }
    void setOverlayHeight(int height) { m_height = height; }
    void setOverlaySize(int width, int height);

signals:
    /// The operator confirmed or dragged a region; desktop coordinates.
    void signalConfirmROI(int x, int y, int w, int h);
    /// The operator pressed Escape.
    void signalHideROI();
    /// The operator drags the frame, which is there now; signalConfirmROI() follows at the end.
    void signalDragROI(int x, int y, int w, int h);

public slots:
    void setVisible(bool visible) override;
    void slotConfirm();
    void slotCancel();
    virtual void slotTranslate();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;

    /// Whether the overlay is above the program's window, too. The frame of show mode is then held
    /// by its edge, and clicks inside it go to what is behind.
    [[nodiscard]] virtual bool staysOnTop() const { return false; }

    /// Restricts the window to this shape; empty: all of it.
    virtual void setShape(const QRegion& shape) { setMask(shape); }

    /// Shows the size of the selection while it is drawn, near the pointer at `at` of the overlay.
    virtual void showSize(QPoint at, const QString& size);

private:
    void createButtonBar();
    void shareButtonBar();
    void paintSelecting();
    void outlineSelection(QPainter& painter) const;
    void paintFrame();
    [[nodiscard]] bool isOnFrame(QPoint at) const;
    void dragFrame(QPoint by);
    void moveWhileShowing(const QMouseEvent& event, QPoint at);
    void moveWhileSelecting(const QMouseEvent& event, QPoint at);
    void showButtonBar();
    void catchClicks();
    void clearSelection();
    void restoreRegion();
    void updateMask();
    void grabDesktopImage();
    [[nodiscard]] QRect frameRect() const;

    QWidget* m_pButtonBar = nullptr;
    QPushButton* m_pOkBtn = nullptr;
    QPushButton* m_pCancelBtn = nullptr;
    QHBoxLayout* m_pBarLayout = nullptr;
    QPixmap m_basePixmap;  ///< The layer without the rectangle that is being drawn.
    QPixmap m_workPixmap;  ///< The whitened layer that is painted.
    std::function<QImage()> m_imageSource = [] { return QImage(); };
    QPixmap m_desktopPixmap;  ///< The grabbed desktop; null where windows can be translucent.
    /// In overlay coordinates in selection mode, in desktop coordinates in show mode.
    int m_left = 0;
    int m_top = 0;
    int m_right = 0;
    int m_bottom = 0;
    QRect m_region;  ///< In force, from setSelection(); desktop coordinates.
    int m_width;
    int m_height;
    int m_originX = 0;
    int m_originY = 0;
    bool m_drawing = false;
    bool m_selected = false;
    bool m_cleared = false;
    bool m_showMode = false;
    bool m_moved = false;
    bool m_dragging = false;  ///< The frame follows the pointer until the button is released.
    int m_lastX = 0;
    int m_lastY = 0;
    bool m_translucent = true;
    ui::PhysicalPixels m_pixels;
};
