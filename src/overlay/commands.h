#pragma once

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>

#include "overlay/layeroverlay.h"

namespace overlay {

/// Writes a line of the protocol (ui/wayland/overlayprotocol.h) to standard output.
void tell(const QByteArray& line);

/// Shows the overlay as standard input says, and tells what the operator does with it. Ends the
/// application at the end of standard input.
class Commands : public QObject {
    Q_OBJECT

public:
    Commands();

private:
    void read();
    void obey(const QStringList& fields);

    LayerOverlay m_overlay;
    QSocketNotifier m_input;
    QByteArray m_unread;  ///< The beginning of a line.
};

}  // namespace overlay
