#pragma once

#include <QLabel>
#include <QRect>

#include "ui/captureroi.h"

namespace overlay {

/// The overlay as a layer surface: over panels and windows, exactly on its output. In selection
/// mode it alone has the keyboard, in show mode never. Requires
/// LayerShellQt::Shell::useLayerShell().
class LayerOverlay : public CaptureROI {
    Q_OBJECT

public:
    LayerOverlay();

    void setScreenGeometry(int x, int y, int w, int h) override;
    void setShowROI(bool on) override;

signals:
    void hidden();

public slots:
    void setVisible(bool visible) override;

protected:
    [[nodiscard]] bool staysOnTop() const override { return true; }
    void setShape(const QRegion& shape) override;
    void showSize(QPoint at, const QString& size) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    void cover();
    void place();

    QRect m_screen;
    QLabel m_tip;  ///< The size of the selection while it is drawn.
};

}  // namespace overlay
