#pragma once

#include <QWidget>

#include "ui/sourcedisplay.h"

/// Shows the state of the source: a tally light and one or two short lines, with a tool tip.
/// Ignores the mouse, so that the title bar below can be dragged by it.
class SourceLabel : public QWidget {
    Q_OBJECT

public:
    explicit SourceLabel(QWidget* parent);

    void setDisplay(const ui::SourceDisplay& display);
    [[nodiscard]] const ui::SourceDisplay& display() const { return m_display; }

    /// The width that the current text needs.
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    ui::SourceDisplay m_display;
};
