// The reactions of the window: the calls to the sender, the settings file, the controls, the log.

#include <QDir>
#include <QHostInfo>
#include <QRegularExpression>
#include <QTextDocument>
#include <optional>

#include "operator.h"
#include "support/logcapture.h"

namespace tests {
namespace {

/// Each line is an act (see act()) and, after "->", what it leads to: the caption of the start
/// button after a click on it, then the calls to source and senders. Or it is a question (see
/// ask()) and its answer. A line without "->" expects nothing. The stored name is N unless the
/// steps store another one.
struct Journey {
    const char* name;
    const char* steps;
};
std::ostream& operator<<(std::ostream& out, const Journey& journey) {
    return out << journey.name;
}

const Journey kJourneys[] = {
    {"StartPauseContinueReset", R"(
open -> source N, dx new N
start -> Pause: dx init 0 0 1920 1080 30 OUT-0, dx start
start -> Continue: dx pause
start -> Pause: dx start
x 100 -> dx reset, dx init 100 0 1820 1080 30 OUT-0, dx start
reset -> dx pause, black 1920 1080
caption -> Start
region -> 0 0 1920 1080
start -> Pause: dx reset, dx init 0 0 1920 1080 30 OUT-0, dx start
)"},
    {"FrameRateWaitsForTheNextStart", R"(
# Pausing clears the note of a change.
open
start
rate 25 ->
file frameRate -> 25
start -> Continue: dx pause
start -> Pause: dx start
start
rate 24
start -> Pause: dx reset, dx init 0 0 1920 1080 24 OUT-0, dx start
)"},
    {"NameTakesEffectAtReset", R"(
open
start
name N ->
file name -> N
name Студия 2 ->
file name -> Студия 2
reset -> dx pause, dx gone, source Студия 2, dx new Студия 2
reset -> dx pause, black 1920 1080
)"},
    {"UnchangedNameLeavesTheFileAlone", R"(
stored name
open -> source HOST, dx new HOST
name HOST ->
file name ->
file frameRate ->
file forceUseOldCapture -> 0
)"},
    {"SecondScreen", R"(
open
file screenIndex -> 0
screen 1 ->
file screenIndex -> 1
region -> 1920 0 1920 1080
range x -> 1920..3840 (1920~3840)
range h -> 9..1080 (9~1080)
start -> Pause: dx init 0 0 1920 1080 30 OUT-1, dx start
screen 0 -> dx reset, dx init 0 0 1920 1080 30 OUT-0, dx start
)"},
    {"XCutsTheWidth", R"(
# The height stays, and moving x back leaves the width cut.
stored screenIndex 1
open
start
x 3000 -> dx reset, dx init 1080 0 840 1080 30 OUT-1, dx start
range w -> 9..840 (9~840)
x 2000 -> dx reset, dx init 80 0 840 1080 30 OUT-1, dx start
region -> 2000 0 840 1080
range w -> 9..1840 (9~1840)
)"},
    {"YCutsTheHeight", R"(
# A width below its range is rejected by the spin box.
stored screenIndex 1
open
start
y 100 -> dx reset, dx init 0 100 1920 980 30 OUT-1, dx start
range h -> 9..980 (9~980)
w 4
region -> 1920 100 1920 980
w 640 -> dx reset, dx init 0 100 640 980 30 OUT-1, dx start
h 360 -> dx reset, dx init 0 100 640 360 30 OUT-1, dx start
)"},
    {"EmptyAtTheFarEdge", R"(
# The spin box holds 9 although the width is 0.
stored screenIndex 1
open
start
x 3840 -> dx reset, dx init 1920 0 0 1080 30 OUT-1, dx gone, grab new N, grab init 3840 0 0 1080 30 OUT-1, grab start
region -> 3840 0 9 1080
range w -> 9..9 (9~0)
)"},
    {"EmptyRegionIsToldUntilItHasPixels", R"(
# Moving y back does not bring the height back, although the spin box shows 9.
open
start
y 1080
log the region is empty: 1920x0 at 0,1080 -> 1
status -> nothing is sent:\nthe region is empty
y 0
region -> 0 0 1920 9
log the region is empty: 1920x0 at 0,0 -> 1
status -> nothing is sent:\nthe region is empty
h 500
status -> no receivers
)"},
    {"RegionThatBeginsOutsideIsMovedIntoTheScreen", R"(
stored screenIndex 1
open
start
confirm 1800 -50 300 200 -> dx reset, dx init 0 0 300 200 30 OUT-1, dx start
region -> 1920 0 300 200
confirm 3900 1200 300 200 -> dx reset, dx init 1620 880 300 200 30 OUT-1, dx start
)"},
    {"UnchangedFieldOfALiveRegionRestartsNothing", R"(
stored liveRegion 1
open
start
w 640
w 640 ->
x 0 ->
start -> Continue: dx pause
h 1080
start -> Pause: dx start
)"},
    {"DraggedFrameMovesALiveRegionInsideTheScreen", R"(
# A size that is not the one in force can't be moved.
stored screenIndex 1
stored liveRegion 1
open
confirm 2000 100 300 200
movable
drag 2010 100 300 200 ->
start
drag 2020 110 300 200 -> dx move 100 110
drag 3700 1000 300 200 -> dx move 1620 880
drag 2020 110 310 200 ->
confirm 2030 120 300 200 -> dx move 110 120
confirm 2030 120 310 200 -> dx reset, dx init 110 120 310 200 30 OUT-1, dx start
start
drag 2040 120 300 200 ->
)"},
    {"DraggedFrameRestartsOnceAtTheEnd", R"(
stored screenIndex 1
open
confirm 2000 100 300 200
movable
start
drag 2020 110 300 200 ->
confirm 2030 120 300 200 -> dx reset, dx init 110 120 300 200 30 OUT-1, dx start
)"},
    {"DesktopBeginsAt1920", R"(
only second
open
region -> 1920 0 1920 1080
start -> Pause: dx init 0 0 1920 1080 30 OUT-0, dx start
confirm 3000 1000 5000 500
region -> 3000 1000 840 80
)"},
    {"ActsAreLoggedBeforeTheirConsequences", R"(
open
log "N", screen 0, 30 fps -> 1
log screen 1: 1920x1080 at 1920,0, scale -> 1
start
rate 25
x 100
name B
screen 1
confirm 2000 20 300 200
start
start
reset
close
acts -> starts 25 fps 1820x1080 names screen 300x200 pauses continues resets closes
)"},
    {"ResetBeforeTheFirstStartSendsNothing", R"(
open
reset -> dx pause
)"},
    {"CutNameIsTold", R"(
seen Long
stored name Longer
open
log receivers see the source "Longer" as "STATION (Long -> 1
tip -> NDI source name; takes effect after a reset|Receivers see: STATION (Long)
status -> no receivers\nLong
)"},
    {"ConfirmedRegions", R"(
# Inside the screen, smaller than the ranges allow, cut by the desktop.
stored screenIndex 1
open
confirm 2000 20 300 200
region -> 2000 20 300 200
confirm 2500 500 2 3
region -> 2500 500 9 9
confirm 3800 1000 500 500
region -> 3800 1000 40 80
)"},
    {"FallsBackAndTriesAgain", R"(
stored screenIndex 1
open
dx fails
start -> Pause: dx init 0 0 1920 1080 30 OUT-1, dx gone, grab new N, grab init 1920 0 1920 1080 30 OUT-1, grab start
log DX screenshot failed, switch to the old ffmpeg screenshot mode. \n //ndisenderui:ndiSenderInitParmeter()# -> 1
status -> no receivers\ncaptured the slow way
dx works
w 800 -> grab reset, grab gone, dx new N, dx init 0 0 800 1080 30 OUT-1, dx start
log is ffmpeg screenshot, switch to the old DX screenshot mode. \n //ndisenderui:ndiSenderInitParmeter()# -> 1
log DX screenshot failed -> 1
status -> no receivers
)"},
    {"ForcedOldPathUsesDesktopCoordinates", R"(
stored forceUseOldCapture 2
stored screenIndex 1
open -> source N, grab new N
start -> Pause: grab init 1920 0 1920 1080 30 OUT-1, grab start
name M ->
reset -> grab pause, grab gone, source M, grab new M
)"},
    {"NoScreen", R"(
no screens
open
log no screen was found -> 1
range x -> 0..1 (0~1)
range w -> 9..9 (9~1)
start -> Pause: dx init 0 0 0 0 30 , dx gone, grab new N, grab init 0 0 0 0 30 , grab start
reset -> grab pause
select
)"},
    {"NoSource", R"(
open
source fails
name Taken
reset
log no NDI source named Taken could be created -> 1
start -> Pause: dx reset, dx init 0 0 1920 1080 30 OUT-0, dx start
)"},
    {"UnwritableSettings", R"(
unwritable
open
rate 40
log writing SystemSet/frameRate to settings file INI -> 1
start -> Pause: dx init 0 0 1920 1080 40 OUT-0, dx start
)"},
    {"ClosedWhileSending", R"(
open
start
show
shown -> window overlay
close ->
shown ->
destroy -> dx gone, source gone
)"},
    {"StoredNumbersOutOfRange", R"(
stored screenIndex 2
stored frameRate 120
stored forceUseOldCapture -3
open
start -> Pause: dx init 0 0 1920 1080 120 OUT-0, dx start
file frameRate -> 120
file forceUseOldCapture -> 0
)"},
    {"LeavingTheBoxKeepsAnExactRateOutsideItsRange", R"(
stored frameRate 100
stored exactFrameRate ntsc
open
rate 60
file frameRate -> 100
rate 50
rate 60
file frameRate -> 60
destroy
stored frameRate 100
stored exactFrameRate maybe
open
rate 60
file frameRate -> 60
)"},
    {"StoredWordsCountAsZero", R"(
stored screenIndex second
stored frameRate fast
stored forceUseOldCapture zero
open
start -> Pause: dx init 0 0 1920 1080 0 OUT-0, dx start
file forceUseOldCapture -> zero
)"},
};

class Control : public testing::TestWithParam<Journey> {
protected:
    void SetUp() override { store("name", "N"); }

    [[nodiscard]] QString iniPath() const { return m_folder.filePath("settings.ini"); }
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
            return m_operator->caption("start");
        }
        if (word == "region") {
            QStringList values;
            for (const char* name : {"x", "y", "w", "h"}) {
                values += QString::number(m_operator->box(name)->value());
            }
            return values.join(' ');
        }
        if (word == "range") {
            const QSpinBox* box = m_operator->box(about);
            return QString("%1..%2 ").arg(box->minimum()).arg(box->maximum()) + box->toolTip();
        }
        if (word == "status") {
            return m_operator->source()->display().text;
        }
        if (word == "tip") {
            QTextDocument toolTip;
            toolTip.setHtml(m_operator->controls["name"]->toolTip());
            return toolTip.toPlainText().replace(QChar::LineSeparator, '|').replace('\n', '|');
        }
        if (word == "acts") {
            return actsInLog();
        }
        if (word == "log") {
            return QString::number(m_log.count(about.toStdString()));
        }
        if (word == "shown") {
            return QString(m_operator->window->isVisible() ? "window " : "") +
                   (m_operator->overlay->isVisible() ? "overlay" : "");
        }
        return {};
    }

    /// One word of each log line about the operator or a chosen screen, in order.
    [[nodiscard]] QString actsInLog() const {
        QStringList acts;
        const QRegularExpression act(
            "the operator (?:sets the region to |sets |chooses the region )?"
            "(\\d+ fps|\\w+)|(screen) 1 is chosen");
        for (auto found = act.globalMatch(QString::fromStdString(m_log.text())); found.hasNext();) {
            const auto match = found.next();
            acts += match.captured(1) + match.captured(2);
        }
        return acts.join(' ');
    }

    void act(const QString& word, const QString& what) {
        Operator* op = m_operator.get();
        const auto one = [&what](int i) { return what.section(' ', i, i); };
        if (word == "stored") {
            store(one(0), one(1));
        } else if (word == "no") {
            m_fakes = std::make_unique<FakeCollaborators>(std::vector<FakeCollaborators::Screen>());
        } else if (word == "unwritable") {  // A folder of that name stops root, too.
            QFile::remove(iniPath());
            QDir().mkpath(iniPath());
        } else if (word == "only") {
            m_fakes = std::make_unique<FakeCollaborators>(
                std::vector<FakeCollaborators::Screen>{{1920, 0, 1920, 1080}});
        } else if (word == "seen") {
            m_fakes->seenAs = what.toStdString();
        } else if (word == "dx") {
            m_fakes->dxFails = what == "fails";
        } else if (word == "source") {
            m_fakes->sourceFails = true;
        } else if (word == "open") {
            m_operator = std::make_unique<Operator>(*m_fakes, iniPath());
        } else if (word == "destroy") {
            m_operator.reset();
        } else if (word == "screen") {
            Operator::choose(op->screen, what.toInt());
        } else if (word == "confirm") {
            emit op->overlay->signalConfirmROI(one(0).toInt(), one(1).toInt(), one(2).toInt(),
                                               one(3).toInt());
        } else if (word == "drag") {
            emit op->overlay->signalDragROI(one(0).toInt(), one(1).toInt(), one(2).toInt(),
                                            one(3).toInt());
        } else if (word == "movable") {
            m_fakes->movable = true;
        } else if (word == "rate" || word == "name" || word.size() == 1) {
            op->type(word, what);
        } else {
            op->click(word);
        }
    }

    const QTemporaryDir m_folder;
    std::unique_ptr<FakeCollaborators> m_fakes = std::make_unique<FakeCollaborators>(
        std::vector<FakeCollaborators::Screen>{{0, 0, 1920, 1080}, {1920, 0, 1920, 1080}});
    const LogCapture m_log;
    std::unique_ptr<Operator> m_operator;  ///< Uses m_fakes in its destructor.
};

TEST_P(Control, Journey) {
    for (QString line : QString::fromUtf8(GetParam().steps).split('\n', Qt::SkipEmptyParts)) {
        if (line.startsWith('#')) {
            continue;
        }
        SCOPED_TRACE(line.toStdString());
        line.replace("HOST", QHostInfo::localHostName()).replace("INI", iniPath());
        line.replace("\\n", "\n");
        const QString deed = line.section(" ->", 0, 0);
        const QString word = deed.section(' ', 0, 0);
        const QString about = deed.section(' ', 1);
        std::optional<QString> result = ask(word, about);
        if (!result) {
            act(word, about);
            result = QString::fromStdString(m_fakes->takeCalls());
            result = word == "start" ? m_operator->caption(word) + ": " + *result : result;
        }
        if (line.contains(" ->")) {
            EXPECT_EQ(result->trimmed().toStdString(),
                      line.section(" ->", 1).trimmed().toStdString());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Operator, Control, testing::ValuesIn(kJourneys),
                         [](const auto& journey) { return std::string(journey.param.name); });

}  // namespace
}  // namespace tests
