// What the window does when an operator acts: what the sender is told, what is written to the
// settings file, what the controls show, and what the log says.

#include <QDir>
#include <QHostInfo>
#include <optional>

#include "operator.h"
#include "support/logcapture.h"

namespace {

/// Each line is an act (what act() knows) and, after "->", what it leads to: the caption of the
/// start button after a click on it, and what source and senders were told; or the answer to a
/// question. Without "->" nothing is expected. "===" begins a new sitting. In the settings file
/// the source is called N unless something else is stored.
constexpr char kJourneys[] = R"(
=== start, pause, continue, reset
sit -> source N, dx new N
start -> Pause: dx init 0 0 1920 1080 30 OUT-0, dx start
start -> Continue: dx pause
start -> Pause: dx start
x 100 -> dx reset, dx init 100 0 1820 1080 30 OUT-0, dx start
reset -> dx pause
caption -> Start
region -> 0 0 1920 1080
start -> Pause: dx reset, dx init 0 0 1920 1080 30 OUT-0, dx start

=== the frame rate waits for the next start, and pausing forgets changes
sit
start
rate 25 ->
file frameRate -> 25
start -> Continue: dx pause
start -> Pause: dx start
start
rate 24
start -> Pause: dx reset, dx init 0 0 1920 1080 24 OUT-0, dx start

=== the name takes effect at reset
sit
start
name N ->
file name -> N
name Студия 2 ->
file name -> Студия 2
reset -> dx pause, dx gone, source Студия 2, dx new Студия 2
reset -> dx pause

=== an unchanged name leaves the file alone
stored name
sit -> source HOST, dx new HOST
name HOST ->
file name ->
file frameRate ->
file forceUseOldCapture -> 0

=== the second screen
sit
file screenIndex -> 0
screen 1 ->
file screenIndex -> 1
region -> 1920 0 1920 1080
range x -> 1920..3840 (1920~3840)
range h -> 9..1080 (9~1080)
start -> Pause: dx init 0 0 1920 1080 30 OUT-1, dx start
screen 0 -> dx reset, dx init 0 0 1920 1080 30 OUT-0, dx start

=== x cuts the width, and the height stays; x moved back leaves the cut width
stored screenIndex 1
sit
start
x 3000 -> dx reset, dx init 1080 0 840 1080 30 OUT-1, dx start
range w -> 9..840 (9~840)
x 2000 -> dx reset, dx init 80 0 840 1080 30 OUT-1, dx start
region -> 2000 0 840 1080
range w -> 9..1840 (9~1840)

=== y cuts the height; what the range of the width refuses is taken back by the box
stored screenIndex 1
sit
start
y 100 -> dx reset, dx init 0 100 1920 980 30 OUT-1, dx start
range h -> 9..980 (9~980)
w 4
region -> 1920 100 1920 980
w 640 -> dx reset, dx init 0 100 640 980 30 OUT-1, dx start
h 360 -> dx reset, dx init 0 100 640 360 30 OUT-1, dx start

=== at the far edge nothing is left; the box holds 9, the old path is tried too
stored screenIndex 1
sit
start
x 3840 -> dx reset, dx init 1920 0 0 1080 30 OUT-1, dx gone, grab new N, grab init 3840 0 0 1080 30 OUT-1, grab start
region -> 3840 0 9 1080
range w -> 9..9 (9~0)

=== confirmed regions: inside, below what the boxes hold, cut by the desktop
stored screenIndex 1
sit
confirm 2000 20 300 200
region -> 2000 20 300 200
confirm 2500 500 2 3
region -> 2500 500 9 9
confirm 3800 1000 500 500
region -> 3800 1000 40 80

=== a default path that fails falls back, and is tried again
stored screenIndex 1
sit
dx fails
start -> Pause: dx init 0 0 1920 1080 30 OUT-1, dx gone, grab new N, grab init 1920 0 1920 1080 30 OUT-1, grab start
log DX screenshot failed, switch to the old ffmpeg screenshot mode. \n //ndisenderui:ndiSenderInitParmeter()# -> 1
dx works
w 800 -> grab reset, grab gone, dx new N, dx init 0 0 800 1080 30 OUT-1, dx start
log is ffmpeg screenshot, switch to the old DX screenshot mode. \n //ndisenderui:ndiSenderInitParmeter()# -> 1
log DX screenshot failed -> 1

=== the old path by force counts from the desktop
stored forceUseOldCapture 2
stored screenIndex 1
sit -> source N, grab new N
start -> Pause: grab init 1920 0 1920 1080 30 OUT-1, grab start
name M ->
reset -> grab pause, grab gone, source M, grab new M

=== no screen
no screens
sit
log no screen was found -> 1
range x -> 0..1 (0~1)
range w -> 9..9 (9~1)
start -> Pause: dx init 0 0 0 0 30 , dx gone, grab new N, grab init 0 0 0 0 30 , grab start
reset -> grab pause
select

=== without a source the window stays usable, and the log tells why
sit
source fails
name Taken
reset
log no NDI source named Taken could be made -> 1
start -> Pause: dx reset, dx init 0 0 1920 1080 30 OUT-0, dx start

=== settings that can't be written are told, and nothing else changes
unwritable
sit
rate 40
log writing SystemSet/frameRate to settings file INI -> 1
start -> Pause: dx init 0 0 1920 1080 40 OUT-0, dx start

=== closed while sending: the sender ends with the window, not before
sit
start
show
shown -> window overlay
close ->
shown ->
leave -> dx gone, source gone

=== stored numbers out of range are used as they are; only an edit replaces them
stored screenIndex 2
stored frameRate 120
stored forceUseOldCapture -3
sit
start -> Pause: dx init 0 0 1920 1080 120 OUT-0, dx start
file frameRate -> 120
file forceUseOldCapture -> 0

=== stored words count as 0
stored screenIndex second
stored frameRate fast
stored forceUseOldCapture zero
sit
start -> Pause: dx init 0 0 1920 1080 0 OUT-0, dx start
file forceUseOldCapture -> zero
)";

class Control : public testing::Test {
protected:
    void begin() {
        m_operator.reset();
        m_folder = std::make_unique<QTemporaryDir>();
        m_desk = std::make_unique<Desk>(
            std::vector<Desk::Screen>{{0, 0, 1920, 1080}, {1920, 0, 1920, 1080}});
        m_log = std::make_unique<tests::LogCapture>();
        store("name", "N");
    }
    [[nodiscard]] QString iniPath() const { return m_folder->filePath("settings.ini"); }
    void store(const QString& key, const QString& value) const {
        QSettings(iniPath(), QSettings::IniFormat).setValue("SystemSet/" + key, value);
    }
    /// The answer, if `word` is a question.
    [[nodiscard]] std::optional<QString> ask(const QString& word, const QString& about) const {
        if (word == "file") {
            return QSettings(iniPath(), QSettings::IniFormat)
                .value("SystemSet/" + about)
                .toString();
        }
        if (word == "caption") {
            return m_operator->start->text();
        }
        if (word == "region") {
            QStringList values;
            for (const QSpinBox* box : m_operator->region) {
                values += QString::number(box->value());
            }
            return values.join(' ');
        }
        if (word == "range") {
            const QSpinBox* box = m_operator->region[QString("xywh").indexOf(about)];
            return QString("%1..%2 ").arg(box->minimum()).arg(box->maximum()) + box->toolTip();
        }
        if (word == "log") {
            return QString::number(m_log->count(about.toStdString()));
        }
        if (word == "shown") {
            return QString(m_operator->window->isVisible() ? "window " : "") +
                   (m_operator->overlay->isVisible() ? "overlay" : "");
        }
        return {};
    }

    void act(const QString& word, const QString& what) {
        Operator* op = m_operator.get();
        const auto one = [&what](int i) { return what.section(' ', i, i); };
        if (word == "stored") {
            store(one(0), one(1));
        } else if (word == "no") {
            m_desk = std::make_unique<Desk>(std::vector<Desk::Screen>());
        } else if (word == "unwritable") {  // A folder in the file's place: not even for root.
            QFile::remove(iniPath());
            QDir().mkpath(iniPath());
        } else if (word == "dx") {
            m_desk->dxFails = what == "fails";
        } else if (word == "source") {
            m_desk->sourceFails = true;
        } else if (word == "sit") {
            m_operator = std::make_unique<Operator>(*m_desk, iniPath());
        } else if (word == "leave") {
            m_operator.reset();
        } else if (word == "screen") {
            Operator::choose(op->screen, what.toInt());
        } else if (word == "confirm") {
            emit op->overlay->signalConfirmROI(one(0).toInt(), one(1).toInt(), one(2).toInt(),
                                               one(3).toInt());
        } else if (word == "rate" || word == "name") {
            Operator::type(word == "rate" ? static_cast<QWidget*>(op->rate) : op->name, what);
        } else if (word.size() == 1) {
            Operator::type(op->region[QString("xywh").indexOf(word)], what);
        } else {
            const QMap<QString, QPushButton*> buttons{{"start", op->start},
                                                      {"reset", op->reset},
                                                      {"select", op->select},
                                                      {"show", op->show},
                                                      {"close", op->close}};
            Operator::click(buttons[word]);
        }
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Desk> m_desk;
    std::unique_ptr<tests::LogCapture> m_log;
    std::unique_ptr<Operator> m_operator;  ///< Goes before the desk it sits at.
};

TEST_F(Control, Journeys) {
    std::string journey;
    for (QString line : QString::fromUtf8(kJourneys).split('\n', Qt::SkipEmptyParts)) {
        if (line.startsWith("===")) {
            journey = line.toStdString();
            begin();
            continue;
        }
        SCOPED_TRACE(journey + ": " + line.toStdString());
        line.replace("HOST", QHostInfo::localHostName()).replace("INI", iniPath());
        line.replace("\\n", "\n");
        const QString deed = line.section(" ->", 0, 0);
        const QString word = deed.section(' ', 0, 0);
        const QString about = deed.section(' ', 1);
        std::optional<QString> result = ask(word, about);
        if (!result) {
            act(word, about);
            result = QString::fromStdString(m_desk->heard());
            result = word == "start" ? m_operator->start->text() + ": " + *result : result;
        }
        if (line.contains(" ->")) {
            EXPECT_EQ(result->trimmed().toStdString(),
                      line.section(" ->", 1).trimmed().toStdString());
        }
    }
}

}  // namespace
