// Monitors of the X server that come, go, move and change their mode while the window is open.

#include <QProcess>

#include "operator.h"

namespace tests {
namespace {

class Screens : public testing::Test {
protected:
    Screens() {
        m_fakes.realScreens = true;
        declare("left", "1920/500x1080/280+0+0", "screen");
        declare("right", "1920/500x1080/280+1920+0");
        op = std::make_unique<Operator>(m_fakes, m_folder.filePath("settings.ini"));
        Operator::choose(op->screen, 1);
        m_fakes.takeCalls();
    }
    ~Screens() override {
        remove("right");
        remove("left");
    }

    static void xrandr(const QStringList& arguments) {
        EXPECT_EQ(QProcess::execute("xrandr", arguments), 0) << arguments.join(' ').toStdString();
    }
    static void declare(const QString& name, const QString& geometry,
                        const QString& output = "none") {
        xrandr({"--setmonitor", name, geometry, output});
    }
    /// In one go, so that the monitor is not seen to be gone.
    static void change(const QString& name, const QString& geometry) {
        xrandr({"--delmonitor", name, "--setmonitor", name, geometry, "none"});
    }
    static void remove(const QString& name) { xrandr({"--delmonitor", name}); }

    void expectCalls(const std::string& calls) {
        EXPECT_TRUE(eventuallyWithEvents([&] { return m_fakes.calls() == calls; }))
            << m_fakes.calls();
        m_fakes.takeCalls();
    }
    /// Waits until the combo box has these items.
    void expectListed(const QStringList& labels) const {
        EXPECT_TRUE(eventuallyWithEvents([&] { return listed() == labels; }))
            << listed().join(", ").toStdString();
    }
    [[nodiscard]] QStringList listed() const {
        QStringList labels;
        for (int i = 0; i < op->screen->count(); ++i) {
            labels += op->screen->itemText(i);
        }
        return labels;
    }
    [[nodiscard]] QRect region() const {
        return {op->box("x")->value(), op->box("y")->value(), op->box("w")->value(),
                op->box("h")->value()};
    }

    const QTemporaryDir m_folder;
    FakeCollaborators m_fakes{{}};
    std::unique_ptr<Operator> op;
};

TEST_F(Screens, ChangeOfModeOpensTheCaptureAgainAndKeepsTheRegion) {
    op->click("start");
    expectCalls("dx init 0 0 1920 1080 30 right, dx start");
    change("right", "1280/300x720/200+1920+0");
    expectCalls("dx reset, dx init 0 0 1280 720 30 right, dx start");
    EXPECT_EQ(op->screen->currentText(), "Screen:1(1280x720)");

    op->type("w", "600");
    op->type("h", "400");
    op->type("x", "2500");
    op->type("y", "300");
    m_fakes.takeCalls();
    change("right", "640/160x350/90+1920+0");
    expectCalls("dx reset, dx init 580 300 60 50 30 right, dx start");
    change("right", "640/160x480/120+2560+100");
    expectCalls("dx reset, dx init 580 300 60 180 30 right, dx start");
    EXPECT_EQ(region(), QRect(3140, 400, 60, 180));
    EXPECT_EQ(op->overlay->pos(), QPoint(2560, 100));
    change("right", "1280/300x720/200+1920+0");
    expectCalls("dx reset, dx init 580 300 600 400 30 right, dx start");

    op->click("start");
    m_fakes.takeCalls();
    change("right", "1920/500x1080/280+1920+0");
    expectListed({"Screen:0(1920x1080)", "Screen:1(1920x1080)"});
    EXPECT_EQ(m_fakes.calls(), "") << "it is paused";
    op->click("start");
    expectCalls("dx reset, dx init 580 300 600 400 30 right, dx start");
}

TEST_F(Screens, ScreenThatComesBackGoesOn) {
    op->click("start");
    op->click("show");
    m_fakes.takeCalls();
    remove("right");
    expectCalls("dx gone, dx new " + op->name());
    expectListed({"Screen:0(1920x1080)"});
    EXPECT_EQ(op->screen->currentIndex(), -1);
    EXPECT_EQ(op->source()->display().text, "nothing is sent:\nthe screen is disconnected");
    EXPECT_EQ(op->caption("start"), "Pause");
    EXPECT_FALSE(op->overlay->isVisible());

    // The operator's acts are kept for then.
    op->type("w", "800");
    op->click("start");
    op->click("start");
    EXPECT_THAT(m_fakes.takeCalls(), testing::Not(testing::HasSubstr("init")));
    // It has another place in the list now.
    declare("middle", "100/30x100/30+1000+0");
    declare("right", "1920/500x1080/280+1920+0");
    expectCalls("dx reset, dx init 0 0 800 1080 30 right, dx start");
    EXPECT_EQ(op->screen->currentIndex(), 2);
    EXPECT_EQ(op->source()->display().text, "no receivers");
    const QSettings stored(m_folder.filePath("settings.ini"), QSettings::IniFormat);
    EXPECT_EQ(stored.value("SystemSet/screenIndex"), "1") << "the operator's choice";

    remove("middle");
    expectListed({"Screen:0(1920x1080)", "Screen:1(1920x1080)"});
    EXPECT_EQ(m_fakes.calls(), "") << "another screen has gone";
    EXPECT_EQ(op->screen->currentIndex(), 1);

    remove("right");
    expectListed({"Screen:0(1920x1080)"});
    m_fakes.takeCalls();
    Operator::choose(op->screen, 0);
    expectCalls("dx reset, dx init 0 0 1920 1080 30 screen, dx start");
}

TEST_F(Screens, FirstScreenIsChosenWhenItComes) {
    op.reset();
    m_fakes.realScreens = false;
    op = std::make_unique<Operator>(m_fakes, m_folder.filePath("none.ini"));
    m_fakes.realScreens = true;
    change("right", "1280/300x720/200+1920+0");
    expectListed({"Screen:0(1920x1080)", "Screen:1(1280x720)"});
    EXPECT_EQ(op->screen->currentIndex(), 0);
    EXPECT_EQ(region(), QRect(0, 0, 1920, 1080));
}

}  // namespace
}  // namespace tests
