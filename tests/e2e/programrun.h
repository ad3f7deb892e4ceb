#pragma once
// The whole program on a virtual screen, operated by real clicks.

#include <QImage>
#include <QPoint>
#include <QString>
#include <QTemporaryDir>
#include <memory>
#include <string>
#include <vector>

#include "support/process.h"

namespace e2e {

class ProgramRun {
public:
    /// Starts the program and waits for its window. Every run has a new source name, because the
    /// mDNS daemon keeps old ones for a while, and its own folder for settings and logs.
    explicit ProgramRun(bool forceUseOldCapture = false);

    [[nodiscard]] const std::string& name() const { return m_name; }

    /// A left click on a control of the window; the names are those of demo/windowcontrols.h.
    void click(const std::string& control) const;

    /// Replaces the content of a field.
    void type(const std::string& field, const std::string& text) const;

    /// Where a control of the overlay is on the screen, when `end` is the end of the selection.
    [[nodiscard]] static QPoint onOverlay(const std::string& control, QPoint end);

    [[nodiscard]] tests::Process& process() { return *m_process; }

    /// The content of the log file.
    [[nodiscard]] QString log() const;

    /// The path of a file in this run's folder.
    [[nodiscard]] std::string path(const std::string& name) const;

private:
    QTemporaryDir m_folder;
    std::string m_name;
    std::unique_ptr<tests::Process> m_process;
    std::string m_window;
};

/// Shows the test pattern below the program's window. `rate` 0: a still image.
[[nodiscard]] std::unique_ptr<tests::Process> showTestPattern(int rate, const std::string& output);

/// Runs xdotool with these arguments.
void xdotool(std::vector<std::string> words);

/// A left click, and a drag with the left button, in screen coordinates.
void clickAt(QPoint where);
void drag(QPoint from, QPoint to);

/// The current content of the screen.
[[nodiscard]] QImage grabScreen();

/// Waits until the screen's pixel at `place` equals that of `image`, or differs from it.
void waitUntilLike(const QImage& image, QPoint place);
void waitUntilUnlike(const QImage& image, QPoint place);

/// Starts ndimonitor.
[[nodiscard]] std::unique_ptr<tests::Process> startMonitor(
    const std::vector<std::string>& arguments, const std::string& output);

}  // namespace e2e
