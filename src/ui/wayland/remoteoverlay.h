#pragma once

#include <QProcess>
#include <QRect>
#include <QTimer>
#include <string>

#include "ui/captureroi.h"

namespace ui {

/// An overlay that the process `tarsin-overlay` shows as a layer surface, which the compositor lays
/// over the screen. Qt makes layer surfaces of all windows of a process or of none, so it needs one
/// of its own. It is started when the overlay is first wanted, and nothing ever waits for it.
///
/// Where it is missing, can't do this or ends, that is logged once, and this widget, hidden until
/// then, does what any CaptureROI does.
class RemoteOverlay : public CaptureROI {
    Q_OBJECT

public:
    RemoteOverlay(int width, int height);
    ~RemoteOverlay() override;

    void setScreenGeometry(int x, int y, int w, int h) override;
    void setSelection(int x, int y, int w, int h) override;
    void beginSelection() override;
    void setShowROI(bool on) override;

public slots:
    void setVisible(bool visible) override;
    void slotTranslate() override;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    enum class State { NotStarted, Starting, Ready, Failed };
    enum class Mode { Hidden, Selecting, Frame };

    [[nodiscard]] bool isLocal() const { return m_state == State::Failed; }
    void enter(Mode mode);
    void startProcess();
    void readLines();
    void obey(const QStringList& fields);
    void greet(const QString& word, const std::string& text);
    [[nodiscard]] static QByteArray texts();
    void send(const QByteArray& line);
    void explainEnd(int code, QProcess::ExitStatus status);
    void giveUp(const std::string& reason);

    QProcess m_process;
    std::string m_path;  ///< Of its program.
    State m_state = State::NotStarted;
    QTimer m_patience;  ///< With a process that does not get ready.
    Mode m_mode = Mode::Hidden;
    QRect m_screen;
    QRect m_region;
};

}  // namespace ui
