// What the window does when an operator acts: what the sender is told, what is written to the
// settings file, and what the controls show.

#include <gmock/gmock.h>
#include <spdlog/sinks/ostream_sink.h>

#include <QDir>
#include <QHostInfo>
#include <sstream>

#include "operator.h"
#include "support/log.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

const std::vector<Desk::Screen> kTwoScreens{{0, 0, 1920, 1080}, {1920, 0, 1920, 1080}};

class Control : public testing::Test {
protected:
    void stored(const QString& key, const QString& value) const {
        QSettings(iniPath(), QSettings::IniFormat).setValue("SystemSet/" + key, value);
    }
    [[nodiscard]] QString stored(const QString& key) const {
        return QSettings(iniPath(), QSettings::IniFormat).value("SystemSet/" + key).toString();
    }
    [[nodiscard]] QString iniPath() const { return m_folder.filePath("settings.ini"); }

    Operator& sitDown(std::vector<Desk::Screen> screens = kTwoScreens) {
        m_operator.reset();
        desk = std::make_unique<Desk>(std::move(screens));
        m_operator = std::make_unique<Operator>(*desk, iniPath());
        return *m_operator;
    }

    static std::string region(const Operator& op) {
        return QString("%1 %2 %3 %4")
            .arg(op.x->value())
            .arg(op.y->value())
            .arg(op.w->value())
            .arg(op.h->value())
            .toStdString();
    }

    static std::string range(const QSpinBox* box) {
        return QString("%1..%2 %3")
            .arg(box->minimum())
            .arg(box->maximum())
            .arg(box->toolTip())
            .toStdString();
    }

    /// The log lines written while `act` runs.
    template <typename Act>
    static std::string logged(Act act) {
        std::ostringstream text;
        auto& sinks = HV::SpdlogApplication::instance().logger()->sinks();
        sinks.push_back(std::make_shared<spdlog::sinks::ostream_sink_st>(text));
        act();
        sinks.pop_back();
        return text.str();
    }

    std::unique_ptr<Desk> desk;

private:
    QTemporaryDir m_folder;
    std::unique_ptr<Operator> m_operator;  ///< Goes before the desk it sits at.
};

TEST_F(Control, StartPauseContinueReset) {
    stored("name", "Studio A");
    Operator& op = sitDown();
    EXPECT_THAT(desk->heard(), ElementsAre("source Studio A", "dx new Studio A"));
    EXPECT_EQ(op.start->text(), "Start");

    Operator::click(op.start);
    EXPECT_EQ(op.start->text(), "Pause");
    EXPECT_THAT(desk->heard(), ElementsAre("dx init 0 0 1920 1080 30 OUT-0", "dx start"));

    Operator::click(op.start);
    EXPECT_EQ(op.start->text(), "Continue");
    EXPECT_THAT(desk->heard(), ElementsAre("dx pause"));

    Operator::click(op.start);
    EXPECT_EQ(op.start->text(), "Pause");
    EXPECT_THAT(desk->heard(), ElementsAre("dx start")) << "nothing had changed";

    Operator::type(op.x, "100");
    op.x->clearFocus();
    desk->heard();
    Operator::click(op.reset);
    EXPECT_EQ(op.start->text(), "Start");
    EXPECT_EQ(region(op), "0 0 1920 1080");
    EXPECT_THAT(desk->heard(), ElementsAre("dx pause"));

    Operator::click(op.start);
    EXPECT_EQ(op.start->text(), "Pause");
    EXPECT_THAT(desk->heard(),
                ElementsAre("dx reset", "dx init 0 0 1920 1080 30 OUT-0", "dx start"));
}

TEST_F(Control, FrameRateWaitsForTheNextStart) {
    Operator& op = sitDown();
    Operator::click(op.start);
    desk->heard();

    Operator::type(op.rate, "25");
    EXPECT_THAT(desk->heard(), IsEmpty());
    EXPECT_EQ(stored("frameRate"), "25");

    Operator::click(op.start);
    Operator::click(op.start);
    EXPECT_THAT(desk->heard(), ElementsAre("dx pause", "dx start")) << "pausing forgets changes";

    Operator::click(op.start);
    Operator::type(op.rate, "24");
    Operator::click(op.start);
    EXPECT_THAT(desk->heard(),
                ElementsAre("dx pause", "dx reset", "dx init 0 0 1920 1080 24 OUT-0", "dx start"));

    Operator::type(op.rate, "50");
    Operator::type(op.x, "20");
    EXPECT_THAT(desk->heard(),
                ElementsAre("dx reset", "dx init 20 0 1900 1080 50 OUT-0", "dx start"));
}

TEST_F(Control, NameTakesEffectAtReset) {
    stored("name", "Old");
    Operator& op = sitDown();
    EXPECT_EQ(op.name->text(), "Old");
    Operator::click(op.start);
    desk->heard();

    Operator::type(op.name, "Old");
    EXPECT_THAT(desk->heard(), IsEmpty());
    Operator::type(op.name, QString::fromUtf8("Студия 2"));
    EXPECT_THAT(desk->heard(), IsEmpty()) << "the stream keeps its name";
    EXPECT_EQ(stored("name"), QString::fromUtf8("Студия 2"));

    Operator::click(op.reset);
    EXPECT_THAT(desk->heard(),
                ElementsAre("dx pause", "dx gone", "source Студия 2", "dx new Студия 2"));
    EXPECT_EQ(op.start->text(), "Start");
    Operator::click(op.reset);
    EXPECT_THAT(desk->heard(), ElementsAre("dx pause")) << "the name is in effect";
}

TEST_F(Control, UnchangedNameLeavesTheFileAlone) {
    Operator& op = sitDown();
    EXPECT_EQ(op.name->text(), QHostInfo::localHostName());
    Operator::click(op.name);
    QTest::keyClick(op.name, Qt::Key_Return);
    EXPECT_EQ(stored("name"), "");
    EXPECT_EQ(QSettings(iniPath(), QSettings::IniFormat).allKeys(),
              QStringList({"SystemSet/forceUseOldCapture", "SystemSet/screenIndex"}));
}

TEST_F(Control, SecondScreen) {
    Operator& op = sitDown();
    EXPECT_EQ(op.screen->itemText(1), "Screen:1(1920x1080)");
    EXPECT_EQ(stored("screenIndex"), "0");
    desk->heard();

    Operator::choose(op.screen, 1);
    EXPECT_THAT(desk->heard(), IsEmpty()) << "idle";
    EXPECT_EQ(stored("screenIndex"), "1");
    EXPECT_EQ(region(op), "1920 0 1920 1080");
    EXPECT_EQ(range(op.x), "1920..3840 (1920~3840)");
    EXPECT_EQ(range(op.y), "0..1080 (0~1080)");
    EXPECT_EQ(range(op.w), "9..1920 (9~1920)");
    EXPECT_EQ(range(op.h), "9..1080 (9~1080)");
    EXPECT_EQ(op.overlay->geometry(), QRect(1920, 0, 1920, 1080));

    Operator::click(op.start);
    EXPECT_THAT(desk->heard(), ElementsAre("dx init 0 0 1920 1080 30 OUT-1", "dx start"));
    Operator::choose(op.screen, 0);
    EXPECT_THAT(desk->heard(),
                ElementsAre("dx reset", "dx init 0 0 1920 1080 30 OUT-0", "dx start"));
}

/// Regions typed on the second of two screens side by side, while sending.
TEST_F(Control, TypedRegions) {
    struct Case {
        const char* what;
        std::vector<std::pair<char, const char*>> typed;
        const char* shown;
        const char* told;  ///< The last parameters.
        const char* widths;
    };
    const Case kCases[] = {
        {"x cuts the width, and the height stays",
         {{'x', "3000"}},
         "3000 0 840 1080",
         "dx init 1080 0 840 1080 30 OUT-1",
         "9..840 (9~840)"},
        {"y cuts the height",
         {{'y', "100"}},
         "1920 100 1920 980",
         "dx init 0 100 1920 980 30 OUT-1",
         "9..1920 (9~1920)"},
        {"width and height are taken as they are",
         {{'w', "640"}, {'h', "360"}},
         "1920 0 640 360",
         "dx init 0 0 640 360 30 OUT-1",
         "9..1920 (9~1920)"},
        {"x moved back leaves the cut width",
         {{'x', "3000"}, {'x', "2000"}},
         "2000 0 840 1080",
         "dx init 80 0 840 1080 30 OUT-1",
         "9..1840 (9~1840)"},
        {"at the far edge nothing is left; the box holds 9, the old path is tried too",
         {{'x', "3840"}},
         "3840 0 9 1080",
         "grab init 3840 0 0 1080 30 OUT-1",
         "9..9 (9~0)"},
        {"what the range refuses is taken back by the box",
         {{'w', "4"}},
         "1920 0 1920 1080",
         "dx init 0 0 1920 1080 30 OUT-1",
         "9..1920 (9~1920)"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.what);
        stored("screenIndex", "1");
        Operator& op = sitDown();
        Operator::click(op.start);
        for (const auto& [field, text] : c.typed) {
            QSpinBox* box = field == 'x' ? op.x : field == 'y' ? op.y : field == 'w' ? op.w : op.h;
            Operator::type(box, text);
        }
        EXPECT_EQ(region(op), c.shown);
        EXPECT_EQ(range(op.w), c.widths);
        EXPECT_EQ(desk->told.back(), c.told[0] == 'd' ? "dx start" : "grab start");
        desk->told.pop_back();
        if (desk->told.back() == "dx gone") {
            desk->told.pop_back();
        }
        EXPECT_EQ(desk->told.back(), c.told);
    }
}

/// The region setter keeps the region inside the desktop, the ranges inside the screen.
TEST_F(Control, ConfirmedRegions) {
    const struct {
        int screen;
        QRect confirmed;
        const char* shown;
    } kCases[] = {
        {0, {10, 20, 300, 200}, "10 20 300 200"},
        {0, {1800, 1000, 500, 500}, "1800 1000 120 80"},  // cut by the screen
        {1, {3800, 0, 500, 90}, "3800 0 40 90"},          // cut by the desktop
        {0, {1000, 500, 2, 3}, "1000 500 9 9"},           // the boxes hold 9
        {1, {100, 0, 200, 100}, "1920 0 200 100"},        // x shown in its range
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.shown);
        stored("screenIndex", QString::number(c.screen));
        Operator& op = sitDown();
        emit op.overlay->signalConfirmROI(c.confirmed.x(), c.confirmed.y(), c.confirmed.width(),
                                          c.confirmed.height());
        EXPECT_EQ(region(op), c.shown);
    }
}

TEST_F(Control, FailingDefaultPathFallsBackAndIsTriedAgain) {
    Operator& op = sitDown();
    Operator::choose(op.screen, 1);
    desk->heard();
    desk->dxFails = true;

    const std::string first = logged([&] { Operator::click(op.start); });
    EXPECT_THAT(first, AllOf(HasSubstr("DX screenshot failed, switch to the old ffmpeg screenshot "
                                       "mode. \n //ndisenderui:ndiSenderInitParmeter()#")));
    EXPECT_THAT(desk->heard(), ElementsAre("dx init 0 0 1920 1080 30 OUT-1", "dx gone",
                                           "grab new " + QHostInfo::localHostName().toStdString(),
                                           "grab init 1920 0 1920 1080 30 OUT-1", "grab start"));
    EXPECT_EQ(op.start->text(), "Pause");

    desk->dxFails = false;
    const std::string second = logged([&] { Operator::type(op.w, "800"); });
    EXPECT_THAT(second, AllOf(HasSubstr("is ffmpeg screenshot, switch to the old DX screenshot "
                                        "mode. \n //ndisenderui:ndiSenderInitParmeter()#"),
                              Not(HasSubstr("DX screenshot failed"))));
    EXPECT_THAT(desk->heard(), ElementsAre("grab reset", "grab gone",
                                           "dx new " + QHostInfo::localHostName().toStdString(),
                                           "dx init 0 0 800 1080 30 OUT-1", "dx start"));
}

TEST_F(Control, ForcedOldPathCountsFromTheDesktop) {
    stored("forceUseOldCapture", "2");
    stored("screenIndex", "1");
    stored("name", "N");
    Operator& op = sitDown();
    Operator::click(op.start);
    Operator::type(op.name, "M");
    Operator::click(op.reset);
    EXPECT_THAT(desk->heard(),
                ElementsAre("source N", "grab new N", "grab init 1920 0 1920 1080 30 OUT-1",
                            "grab start", "grab pause", "grab gone", "source M", "grab new M"));
}

TEST_F(Control, StoredSettings) {
    const struct {
        const char* index;
        const char* rate;
        const char* force;
        int screenShown;
        int rateShown;
        const char* told;
    } kCases[] = {
        {"1", "25", "0", 1, 25, "dx init 0 0 1920 1080 25 OUT-1"},
        {"2", "120", "-3", 0, 60, "dx init 0 0 1920 1080 120 OUT-0"},
        {"-1", "0", "zero", 0, 5, "dx init 0 0 1920 1080 0 OUT-0"},
        {"second", "fast", "", 0, 5, "dx init 0 0 1920 1080 0 OUT-0"},
        {"0", "-5", "1", 0, 30, "grab init 0 0 1920 1080 30 OUT-0"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.told);
        stored("screenIndex", c.index);
        stored("frameRate", c.rate);
        stored("forceUseOldCapture", c.force);
        Operator& op = sitDown();
        EXPECT_EQ(op.screen->currentIndex(), c.screenShown);
        EXPECT_EQ(op.rate->value(), c.rateShown);
        Operator::click(op.start);
        desk->told.pop_back();
        EXPECT_EQ(desk->told.back(), c.told);
        EXPECT_EQ(stored("frameRate"), c.rate) << "only an edit replaces it";
        EXPECT_EQ(stored("forceUseOldCapture"), c.force == std::string("-3") ? "0" : c.force);
    }
}

TEST_F(Control, NoScreen) {
    std::string log;
    Operator* op = nullptr;
    log = logged([&] { op = &sitDown({}); });
    EXPECT_THAT(log, HasSubstr("no screen was found"));
    EXPECT_EQ(op->screen->count(), 0);
    EXPECT_EQ(range(op->x), "0..1 (0~1)");
    EXPECT_EQ(range(op->w), "9..9 (9~1)");
    Operator::click(op->start);
    Operator::click(op->reset);
    Operator::click(op->select);
    EXPECT_EQ(op->start->text(), "Start");
    EXPECT_THAT(desk->told, testing::Contains("grab init 0 0 0 0 30 "));
}

TEST_F(Control, WithoutSourceTheWindowStaysUsableAndTheLogTellsWhy) {
    Operator& op = sitDown();
    desk->sourceFails = true;
    Operator::type(op.name, "Taken");
    const std::string log = logged([&] { Operator::click(op.reset); });
    EXPECT_THAT(log, HasSubstr("no NDI source named Taken could be made"));
    Operator::click(op.start);
    EXPECT_EQ(desk->told.back(), "dx start");
}

TEST_F(Control, ReadOnlySettingsAreReportedAndNothingElse) {
    // A folder in the file's place: not even root can write there.
    ASSERT_TRUE(QDir().mkpath(iniPath()));
    std::string log;
    log = logged([&] {
        Operator& op = sitDown();
        Operator::type(op.rate, "40");
        Operator::click(op.start);
    });
    EXPECT_EQ(desk->told.end()[-2], "dx init 0 0 1920 1080 40 OUT-0");
    EXPECT_THAT(
        log, HasSubstr("writing SystemSet/frameRate to settings file " + iniPath().toStdString()));
}

TEST_F(Control, CloseWhileSending) {
    stored("name", "N");
    {
        Operator& op = sitDown();
        Operator::click(op.start);
        Operator::click(op.show);
        desk->heard();
        EXPECT_TRUE(op.overlay->isVisible());
        Operator::click(op.window->findChild<QPushButton*>("ButtonClose"));
        EXPECT_FALSE(op.window->isVisible());
        EXPECT_FALSE(op.overlay->isVisible());
        EXPECT_THAT(desk->heard(), IsEmpty()) << "the sender ends with the window, not before";
        op.window.reset();
    }
    EXPECT_THAT(desk->heard(), ElementsAre("dx gone", "source gone"));
}

TEST_F(Control, SettingsPathIsHandedOn) {
    Operator& op = sitDown();
    desk->heard();
    QTemporaryDir elsewhere;
    const QString path = elsewhere.filePath("other.ini");
    op.window->setIniPath(path.toLocal8Bit().toStdString());
    EXPECT_THAT(desk->heard(), ElementsAre("dx aux " + path.toStdString()));
    Operator::type(op.rate, "12");
    EXPECT_EQ(QSettings(path, QSettings::IniFormat).value("SystemSet/frameRate"), "12");
}

}  // namespace
