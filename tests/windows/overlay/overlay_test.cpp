// Windows sends a click on a pixel of a translucent window whose alpha is 0 to what is behind.

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QMouseEvent>

#include "ui/captureroi.h"

namespace {

void mouse(CaptureROI& overlay, QEvent::Type type, QPoint at) {
    QMouseEvent event(type, at, Qt::LeftButton, Qt::LeftButton, {});
    QApplication::sendEvent(&overlay, &event);
}

QImage painted(CaptureROI& overlay) {
    QImage image(overlay.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    overlay.render(&image, {}, {}, {});
    return image;
}

TEST(Overlay, CatchesClicksWhileARegionIsDrawnAndBesideTheFrameAfterwards) {
    CaptureROI overlay(600, 400, nullptr);
    overlay.setScreenGeometry(0, 0, 600, 400);
    overlay.beginSelection();
    mouse(overlay, QEvent::MouseButtonPress, {100, 100});
    mouse(overlay, QEvent::MouseMove, {300, 200});
    EXPECT_EQ(qAlpha(painted(overlay).pixel(200, 150)), 1) << "the hole in the whitened layer";
    mouse(overlay, QEvent::MouseButtonRelease, {300, 200});
    const QImage drawn = painted(overlay);
    EXPECT_EQ(qAlpha(drawn.pixel(500, 300)), 1);
    EXPECT_GT(qAlpha(drawn.pixel(200, 100)), 100) << "the frame";

    overlay.setSelection(100, 100, 200, 100);
    overlay.setShowROI(true);
    EXPECT_EQ(qAlpha(painted(overlay).pixel(500, 300)), 0) << "the desktop can be used";
}

}  // namespace

int main(int argc, char* argv[]) {
    testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
