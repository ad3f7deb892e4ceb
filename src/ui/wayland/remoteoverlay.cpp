#include "ui/wayland/remoteoverlay.h"

#include <fmt/format.h>

#include <QGuiApplication>
#include <array>

#include "support/log.h"
#include "support/wayland/module.h"
#include "ui/desktop.h"
#include "ui/translated.h"
#include "ui/wayland/overlayprotocol.h"

namespace ui {

using namespace overlayprotocol;

namespace {

constexpr char kProgram[] = "tarsin-overlay";
constexpr std::array<const char*, 3> kModes = {kHide, kSelect, kFrame};
constexpr int kPatienceMs = 10000;  ///< Until it is ready; 0.1 s is usual.

}  // namespace

std::unique_ptr<CaptureROI> makeOverlay(int width, int height) {
    if (overlayHidesScreen()) {
        return std::make_unique<RemoteOverlay>(width, height);
    }
    return std::make_unique<CaptureROI>(width, height, nullptr);
}

RemoteOverlay::RemoteOverlay(int width, int height) : CaptureROI(width, height, nullptr) {
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &RemoteOverlay::readLines);
    connect(&m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            giveUp(fmt::format("{} can't be started ({}); install the program anew", m_path,
                               m_process.errorString().toStdString()));
        }
    });
    connect(&m_process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
            &RemoteOverlay::explainEnd);
    m_patience.setSingleShot(true);
    m_patience.setInterval(kPatienceMs);
    connect(&m_patience, &QTimer::timeout, this, [this] {
        giveUp(fmt::format("{} does not answer; start the program anew to try again", m_path));
    });
}

RemoteOverlay::~RemoteOverlay() {
    m_process.disconnect(this);
    m_process.kill();
    m_process.waitForFinished();
}

void RemoteOverlay::setScreenGeometry(int x, int y, int w, int h) {
    CaptureROI::setScreenGeometry(x, y, w, h);
    m_screen = {x, y, w, h};
    send(lineOf(kScreen, m_screen));
}

void RemoteOverlay::setSelection(int x, int y, int w, int h) {
    CaptureROI::setSelection(x, y, w, h);
    m_region = {x, y, w, h};
    send(lineOf(kRegion, m_region));
}

void RemoteOverlay::beginSelection() {
    if (isLocal()) {
        CaptureROI::beginSelection();
    } else {
        enter(Mode::Selecting);
    }
}

void RemoteOverlay::setShowROI(bool on) {
    if (isLocal()) {
        CaptureROI::setShowROI(on);
    } else {
        enter(on ? Mode::Frame : Mode::Hidden);
    }
}

/// What is to be shown comes with beginSelection() or setShowROI().
void RemoteOverlay::setVisible(bool visible) {
    if (isLocal()) {
        CaptureROI::setVisible(visible);
    } else if (!visible) {
        enter(Mode::Hidden);
    }
}

void RemoteOverlay::slotTranslate() {
    CaptureROI::slotTranslate();
    send(texts());
}

void RemoteOverlay::closeEvent(QCloseEvent* event) {
    hide();
    CaptureROI::closeEvent(event);
}

void RemoteOverlay::enter(Mode mode) {
    m_mode = mode;
    if (m_state == State::NotStarted && mode != Mode::Hidden) {
        startProcess();
    } else {
        send(lineOf({kModes.at(static_cast<std::size_t>(mode))}));
    }
}

void RemoteOverlay::startProcess() {
    support::wayland::ModuleError error;
    m_path = support::wayland::deliveredFile(kProgram, error).string();
    if (m_path.empty()) {
        giveUp(error.text());
        return;
    }
    m_state = State::Starting;
    m_patience.start();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_QPA_PLATFORM", QGuiApplication::platformName());
    m_process.setProcessEnvironment(environment);
    m_process.start(QString::fromStdString(m_path), QStringList());
}

void RemoteOverlay::readLines() {
    while (!isLocal() && m_process.canReadLine()) {
        obey(fieldsOf(m_process.readLine().trimmed()));
    }
}

void RemoteOverlay::obey(const QStringList& fields) {
    const QString& word = fields.first();
    const QRect rect = rectOf(fields);
    if (m_state == State::Starting) {
        greet(word, fields.value(1).toStdString());
    } else if (word == kConfirmed) {
        emit signalConfirmROI(rect.x(), rect.y(), rect.width(), rect.height());
    } else if (word == kDragged) {
        emit signalDragROI(rect.x(), rect.y(), rect.width(), rect.height());
    } else if (word == kEscape) {
        emit signalHideROI();
    } else if (word == kHidden && m_mode == Mode::Selecting) {
        m_mode = Mode::Hidden;
    }
}

/// Takes the first line.
void RemoteOverlay::greet(const QString& word, const std::string& text) {
    const std::string own = support::wayland::programVersion();
    if (word == kUnable) {
        giveUp(text);
    } else if (word != kReady || text != own) {
        giveUp(
            fmt::format("{} is of another build ({}) than the program ({}); install both together",
                        m_path, text, own));
    } else {
        m_patience.stop();
        m_state = State::Ready;
        send(lineOf(kScreen, m_screen));
        send(lineOf(kRegion, m_region));
        send(texts());
        enter(m_mode);
    }
}

QByteArray RemoteOverlay::texts() {
    return lineOf({kTexts, translated("zhOkStr"), translated("zhCancalStr")});
}

void RemoteOverlay::send(const QByteArray& line) {
    if (m_state == State::Ready) {
        m_process.write(line);
    }
}

void RemoteOverlay::explainEnd(int code, QProcess::ExitStatus status) {
    const std::string how = status == QProcess::CrashExit ? "crashed or was killed"
                                                          : fmt::format("ended with {}", code);
    if (m_state == State::Ready) {
        giveUp(fmt::format("{} {}; start the program anew to have it back", m_path, how));
    } else {
        const QByteArray said = m_process.readAllStandardError().trimmed();
        giveUp(fmt::format("{} {} ({}); install layer-shell-qt", m_path, how, said.toStdString()));
    }
}

void RemoteOverlay::giveUp(const std::string& reason) {
    HV_WARN(
        "the overlay can't be laid over the screen: {}. Regions are drawn on an image of the "
        "screen, "
        "and the frame around the region is not shown",
        reason);
    m_state = State::Failed;
    m_patience.stop();
    m_process.disconnect(this);
    m_process.kill();
    if (m_mode == Mode::Selecting) {
        show();
        beginSelection();
    } else {
        setShowROI(m_mode == Mode::Frame);
    }
}

}  // namespace ui
