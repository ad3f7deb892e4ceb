#include "overlay/commands.h"

#include <unistd.h>

#include <QCoreApplication>
#include <array>
#include <cstdio>

#include "support/translation.h"
#include "ui/wayland/overlayprotocol.h"

namespace overlay {

using namespace ui::overlayprotocol;

void tell(const QByteArray& line) {
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout);
    std::fflush(stdout);
}

Commands::Commands() : m_input(STDIN_FILENO, QSocketNotifier::Read) {
    connect(&m_input, &QSocketNotifier::activated, this, &Commands::read);
    connect(&m_overlay, &CaptureROI::signalConfirmROI, this, [](int x, int y, int w, int h) {
        tell(lineOf(kConfirmed, {x, y, w, h}));
    });
    connect(&m_overlay, &CaptureROI::signalDragROI, this, [](int x, int y, int w, int h) {
        tell(lineOf(kDragged, {x, y, w, h}));
    });
    connect(&m_overlay, &CaptureROI::signalHideROI, this, [] { tell(lineOf({kEscape})); });
    connect(&m_overlay, &LayerOverlay::hidden, this, [] { tell(lineOf({kHidden})); });
}

void Commands::read() {
    std::array<char, 4096> bytes;
    const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count <= 0) {
        QCoreApplication::quit();
        return;
    }
    m_unread.append(bytes.data(), static_cast<int>(count));
    for (int end = m_unread.indexOf('\n'); end >= 0; end = m_unread.indexOf('\n')) {
        obey(fieldsOf(m_unread.left(end)));
        m_unread.remove(0, end + 1);
    }
}

void Commands::obey(const QStringList& fields) {
    const QString& word = fields.first();
    const QRect rect = rectOf(fields);
    if (word == kScreen) {
        m_overlay.setScreenGeometry(rect.x(), rect.y(), rect.width(), rect.height());
    } else if (word == kRegion) {
        m_overlay.setSelection(rect.x(), rect.y(), rect.width(), rect.height());
    } else if (word == kTexts) {
        StringToTranslate::instance().setTranslateStringMap(
            {{"zhOkStr", fields.value(1)}, {"zhCancalStr", fields.value(2)}});
        m_overlay.slotTranslate();
    } else if (word == kSelect) {
        m_overlay.beginSelection();
        m_overlay.show();
        m_overlay.update();
    } else if (word == kFrame) {
        m_overlay.setShowROI(true);
        m_overlay.show();
        m_overlay.update();
    } else if (word == kHide) {
        m_overlay.setShowROI(false);
        m_overlay.slotCancel();
    }
}

}  // namespace overlay
