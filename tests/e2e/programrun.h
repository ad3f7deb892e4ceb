#pragma once
// The whole program on a screen of its own, operated by real clicks.

#include <QImage>
#include <QPoint>
#include <QString>
#include <QTemporaryDir>
#include <memory>
#include <string>
#include <vector>

#include "support/process.h"

namespace e2e {

/// The places of the window's controls, in pixels from its top-left corner. The layout is fixed, so
/// they are the same in every language.
namespace control {
inline constexpr QPoint kStart{190, 204};
inline constexpr QPoint kReset{266, 204};
inline constexpr QPoint kClose{619, 22};
inline constexpr QPoint kTitle{250, 22};
inline constexpr QPoint kLanguage{476, 24};
inline constexpr QPoint kName{200, 97};
inline constexpr QPoint kScreen{195, 150};
inline constexpr QPoint kX{410, 164};
inline constexpr QPoint kY{540, 164};
inline constexpr QPoint kWidth{410, 203};
inline constexpr QPoint kHeight{540, 203};
inline constexpr QPoint kSelectRegion{410, 95};
inline constexpr QPoint kShowRegion{545, 95};
}  // namespace control

class ProgramRun {
public:
    /// Starts the program and waits for its window. Its source has a name that no run before had:
    /// the mDNS daemon takes a moment to forget those. Settings and logs are in a folder of this
    /// run.
    explicit ProgramRun(bool forceUseOldCapture = false);

    [[nodiscard]] const std::string& name() const { return m_name; }

    /// A left click on a control, as a hand would.
    void click(QPoint where) const;

    /// Replaces what a field holds.
    void type(QPoint field, const std::string& text) const;

    [[nodiscard]] tests::Process& process() { return *m_process; }

    /// What the log file holds so far.
    [[nodiscard]] QString log() const;

    /// A path inside this run's folder.
    [[nodiscard]] std::string path(const std::string& name) const;

private:
    QTemporaryDir m_folder;
    std::string m_name;
    std::unique_ptr<tests::Process> m_process;
    std::string m_window;
};

/// The test pattern below the program's window. `rate` 0: it stands still.
[[nodiscard]] std::unique_ptr<tests::Process> showTestPattern(int rate, const std::string& output);

/// What xdotool does when told so.
void xdotool(std::vector<std::string> words);

/// A left click, and a drag with the left button, at places of the screen.
void clickAt(QPoint where);
void drag(QPoint from, QPoint to);

/// What the screen shows now.
[[nodiscard]] QImage grabScreen();

/// Waits until the screen shows at `place` what `frame` has there, or something else.
void waitUntilLike(const QImage& frame, QPoint place);
void waitUntilUnlike(const QImage& frame, QPoint place);

/// A receiver in a process of its own.
[[nodiscard]] std::unique_ptr<tests::Process> startMonitor(
    const std::vector<std::string>& arguments, const std::string& output);

}  // namespace e2e
