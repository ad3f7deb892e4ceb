// The window's layout, its embedded resources, its languages, and the validator.

#include <QFile>
#include <QImage>
#include <QRegularExpression>

#include "operator.h"
#include "support/logcapture.h"
#include "ui/ndiintvalidator.h"
#include "ui/translated.h"

namespace tests {
namespace {

const QStringList kFiles{"LanguageCN_Tools.xml", "LanguageEN_Tools.xml", "Language_zh_TW_Tools.xml",
                         "Language_KR_Tools.xml", "Language_RUS_Tools.xml"};

class Window : public testing::Test {
protected:
    void say(int language) const { Operator::choose(op.language, language); }

    QTemporaryDir m_folder;
    FakeCollaborators m_fakes{{{0, 0, 15360, 8640}, {15360, 0, 1280, 1024}}};
    Operator op{m_fakes, m_folder.filePath("settings.ini")};
};

TEST_F(Window, Layout) {
    EXPECT_EQ(op.window->size(), QSize(638, 260));
    EXPECT_EQ(op.window->minimumSize(), op.window->maximumSize());
    EXPECT_EQ(op.window->windowTitle(), "NDI Screen Sender");
    EXPECT_EQ(op.title->geometry(), QRect(0, 0, 638, 44));
    // No control is cut by its parent, and no two overlap.
    QRegion taken;
    for (const QString& name : op.controls.keys()) {
        const QWidget* const control = op.controls[name];
        if (control->window() == op.window.get()) {
            EXPECT_EQ(control->visibleRegion().boundingRect(), control->rect());
            const QRect place(control->mapTo(op.window.get(), QPoint()), control->size());
            EXPECT_FALSE(taken.intersects(place)) << name.toStdString();
            taken += place;
        }
    }
}

TEST_F(Window, FollowsADragOfTheTitleBarInStepsOfSixteen) {
    QPoint place;
    const auto mouse = [&](QEvent::Type type, QPoint at) {
        const auto button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, at, at, place + at, button, Qt::LeftButton, {});
        QApplication::sendEvent(op.title, &event);
        return op.window->pos() - place;
    };
    const struct {
        QPoint from, to, moved;
    } kCases[] = {
        {{50, 10}, {65, 25}, {0, 0}},    {{50, 10}, {66, 10}, {16, 0}},
        {{50, 29}, {50, -10}, {0, -39}}, {{3, 3}, {3, 43}, {0, 40}},
        {{2, 10}, {2, 50}, {0, 0}},      {{50, 2}, {50, 50}, {0, 0}},
        {{635, 10}, {635, 50}, {0, 40}}, {{636, 10}, {636, 50}, {0, 0}},
    };
    for (const auto& c : kCases) {
        place = op.window->pos();
        mouse(QEvent::MouseButtonPress, c.from);
        EXPECT_EQ(mouse(QEvent::MouseMove, c.to), c.moved) << c.from.x() << "," << c.from.y();
        mouse(QEvent::MouseButtonRelease, c.to);
        EXPECT_EQ(mouse(QEvent::MouseMove, c.to + QPoint(99, 99)), c.moved);
    }
}

TEST_F(Window, EmbedsEveryImageOfTheStyleSheet) {
    QString sheet = op.window->styleSheet();
    int images = 0;
    const QRegularExpression url("url\\(([^)]*)\\)");
    for (auto found = url.globalMatch(sheet); found.hasNext(); ++images) {
        const QString path = found.next().captured(1);
        EXPECT_FALSE(QImage(path).isNull()) << path.toStdString();
    }
    EXPECT_GE(images, 8);
}

TEST(Languages, EveryFileHasAllThatTheProgramAsksForAndNothingElse) {
    const QStringList wanted =
        QString(
            "zhCancalStr zhCaptureAskingStr zhCaptureFirstChangeStr zhCaptureInterruptedStr "
            "zhCaptureLastImageStr "
            "zhCaptureRefusedStr zhCaptureStoppedStr zhCaptureUnableStr zhCaptureUnansweredStr "
            "zhChineseStr zhChineseTWStr zhCloseAct zhContinueStr zhEnglishStr "
            "zhFPSRangeStr zhFPSStr zhHideROIStr zhKoreanStr zhMaxAct zhMinAct zhNameStr "
            "zhNoReceiversStr zhNoScreenImageStr zhNoSourceStr zhNotAnnouncedStr zhNothingSentStr "
            "zhOkStr zhOnAirStr zhOneReceiverStr zhPauseStr zhPreviewStr zhReceiverLineStr "
            "zhReceiversStr zhReductionAct zhRegionEmptyStr zhResetEffectStr zhResetStr "
            "zhRussianStr zhScreenGoneStr zhScreenStr zhSeenAsStr zhSelectROIStr zhSenderStr "
            "zhSentROIStr zhShowROIStr zhSlowWayStr zhStartStr zhStatusUnknownStr zhWhereToLookStr")
            .split(' ');
    for (const QString& file : kFiles) {
        const QMap<QString, QString> texts = loadLanguageFile(beside(file));
        EXPECT_EQ(texts.keys(), wanted) << file.toStdString();
        for (const QString& text : texts) {
            EXPECT_FALSE(text.isEmpty() || text != text.trimmed()) << file.toStdString();
        }
    }
}

/// Measured with the fonts that are really used.
TEST_F(Window, EveryTextFitsItsPlaceInEveryLanguage) {
    op.overlay->findChild<QWidget*>()->resize(100, 40);
    for (int i = 0; i < 5; ++i) {
        const auto fits = [i](const QWidget* widget, const QString& text, int room) {
            const int width = widget->fontMetrics().horizontalAdvance(text);
            EXPECT_LE(width, room) << kFiles[i].toStdString() << ": " << text.toStdString();
        };
        op.title->slotTransIndexChanged(i);
        op.overlay->findChild<QWidget*>()->layout()->activate();
        for (const QLabel* label : op.window->findChildren<QLabel*>()) {
            fits(label, label->text(), label->contentsRect().width());
        }
        const std::pair<const char*, const char*> captions[] = {
            {"start", "zhStartStr"},      {"start", "zhPauseStr"},  {"start", "zhContinueStr"},
            {"reset", "zhResetStr"},      {"show", "zhShowROIStr"}, {"show", "zhHideROIStr"},
            {"select", "zhSelectROIStr"},
        };
        for (const auto& [name, key] : captions) {  // Border and two pixels on either side.
            const QPushButton* const button = op.button(name);
            fits(button, StringToTranslate::instance().find(key), button->width() - 6);
        }
        for (const ndi::AnnounceState state :
             {ndi::AnnounceState::Announced, ndi::AnnounceState::NotAnnounced}) {
            m_fakes.status = FakeCollaborators::announcedAs("Studio A2");
            m_fakes.status.announceState = state;
            for (int receivers : {0, 1, 250}) {
                m_fakes.status.receivers.resize(static_cast<std::size_t>(receivers));
                op.window->slotTranslate();
                EXPECT_GE(op.source()->width(), op.source()->sizeHint().width())
                    << kFiles[i].toStdString();
            }
        }
        const int room = op.language->x() - 12 - (op.source()->x() + 17);  // Gap; light.
        for (const char* key :
             {"zhNothingSentStr", "zhRegionEmptyStr", "zhScreenGoneStr", "zhNoScreenImageStr"}) {
            fits(op.source(), StringToTranslate::instance().find(key), room);
        }
        fits(op.group, op.group->title(), op.group->width());
        fits(op.screen, op.screen->itemText(0), op.screen->width() - 30);
        fits(op.language, op.language->itemText(i), op.language->width() - 30);
        for (const QPushButton* button : op.overlay->findChildren<QPushButton*>()) {
            fits(button, button->text(), button->width() - 6);
        }
    }
}

TEST_F(Window, ShowsTheStateOfTheSource) {
    ndi::ReceiverStatus receiver;
    receiver.name = "<b>VM</b>";
    receiver.address = "10.0.0.2:40112";
    receiver.megabitsPerSecond = 25.7;
    receiver.dropped.receiverTooSlow = 2;
    const auto three = std::vector<ndi::ReceiverStatus>(3, receiver);
    const std::string name = op.name();
    using ndi::AnnounceState;
    using ui::TallyLight;
    const struct {
        std::string name;
        std::vector<ndi::ReceiverStatus> receivers;
        bool program, preview;
        AnnounceState state;
        TallyLight light;
        const char* text;
    } kCases[] = {
        {name, {}, false, false, AnnounceState::Announced, TallyLight::Grey, "no receivers"},
        {name, {receiver}, false, false, AnnounceState::Announced, TallyLight::White, "1 receiver"},
        {name, three, false, true, AnnounceState::Announced, TallyLight::Green, "preview"},
        {name, three, true, true, AnnounceState::Announced, TallyLight::Red, "on air"},
        {"A2", three, false, false, AnnounceState::Announced, TallyLight::White, "3 receivers\nA2"},
        {name, {}, false, false, AnnounceState::Probing, TallyLight::Grey, "not announced"},
        {name, three, true, false, AnnounceState::NotAnnounced, TallyLight::Red,
         "on air\nnot announced"},
    };
    for (const auto& c : kCases) {
        m_fakes.status = FakeCollaborators::announcedAs(c.name);
        m_fakes.status.receivers = c.receivers;
        m_fakes.status.onProgram = c.program;
        m_fakes.status.onPreview = c.preview;
        m_fakes.status.announceState = c.state;
        EXPECT_TRUE(eventuallyWithEvents([&] { return op.source()->display().text == c.text; }))
            << c.text << " is " << op.source()->display().text.toStdString();
        EXPECT_EQ(op.source()->display().light, c.light) << c.text;
        EXPECT_EQ(op.source()->toolTip().contains("ndimonitor --doctor"),
                  c.receivers.empty() && c.state == AnnounceState::Announced)
            << c.text;
    }
    const QString toolTip = op.source()->toolTip();
    EXPECT_EQ(toolTip.count("&lt;b&gt;VM&lt;/b&gt; (10.0.0.2:40112): 25.7 Mbit/s"), 3)
        << toolTip.toStdString();
    m_fakes.status = {};
    EXPECT_TRUE(
        eventuallyWithEvents([&] { return op.source()->display().text == "receivers unknown"; }));
}

TEST_F(Window, FindsTextsForTheStateWhereALanguageFileLacksThem) {
    StringToTranslate::instance().setTranslateStringMap({{"zhStartStr", "Los"}});
    op.window->slotTranslate();
    EXPECT_EQ(op.caption("start"), "Los");
    EXPECT_TRUE(op.source()->display().text.startsWith("no receivers"));
}

TEST_F(Window, EnterPressesTheFocusedButton) {
    op.controls["start"]->setFocus();
    QTest::keyClick(op.controls["start"], Qt::Key_Return);
    EXPECT_EQ(op.caption("start"), "Pause");
    op.type("w", "500");  // Return in a field presses no button.
    QTest::keyClick(op.controls["start"], Qt::Key_Enter);
    EXPECT_EQ(op.caption("start"), "Pause") << "only the focused button";
    op.controls["start"]->setFocus();
    QTest::keyClick(op.controls["start"], Qt::Key_Enter);
    EXPECT_EQ(op.caption("start"), "Continue");
}

TEST_F(Window, ShowsTheFocusOfTheComboBoxes) {
    for (QComboBox* box : {op.screen, op.language}) {
        const QPoint edge(box->width() / 2, 2);
        op.controls["start"]->setFocus();
        const QColor before = box->grab().toImage().pixelColor(edge);
        box->setFocus();
        EXPECT_NE(box->grab().toImage().pixelColor(edge), before);
    }
}

TEST_F(Window, LanguageSwitchesInEveryState) {
    say(4);
    EXPECT_EQ(op.caption("start"), QString::fromUtf8("Пуск"));
    EXPECT_EQ(op.caption("cancel"), QString::fromUtf8("Отмена"));
    EXPECT_EQ(op.screen->itemText(1), QString::fromUtf8("Экран:1(1280x1024)"));
    EXPECT_EQ(op.controls["close"]->toolTip(), QString::fromUtf8("Закрыть"));
    op.click("start");
    say(1);
    EXPECT_EQ(op.caption("start"), "Pause");
    EXPECT_EQ(op.controls["name"]->toolTip(), "NDI source name; takes effect after a reset");
    EXPECT_EQ(op.controls["rate"]->toolTip(), "Frame rate: 5 to 60 frames per second");
    op.click("reset");
    say(2);
    EXPECT_EQ(op.caption("start"), QString::fromUtf8("繼續")) << "a reset window is paused";
    say(1);

    // After a toggle, a language switch shows the opposite caption. Known and kept.
    Operator::choose(op.screen, 1);
    for (const bool shown : {true, false}) {
        op.click("show");
        EXPECT_EQ(op.caption("show"), shown ? "Hide region" : "Show region");
        say(0);
        say(1);
        EXPECT_EQ(op.caption("show"), shown ? "Show region" : "Hide region");
    }
}

TEST_F(Window, MissingLanguageFileShowsKeys) {
    ASSERT_TRUE(QFile::rename(beside(kFiles[3]), beside("away.xml")));
    say(3);
    EXPECT_EQ(op.caption("start"), "zhStartStr");
    ASSERT_TRUE(QFile::rename(beside("away.xml"), beside(kFiles[3])));
}

TEST(Languages, StartWithTheStoredOne) {
    const QTemporaryDir folder;
    const QString file = folder.filePath("settings.ini");
    const LogCapture log;
    const std::tuple<QString, int, QString> kCases[] = {
        {"RUS", 4, "Пуск"}, {"en", 1, "Start"}, {"Klingon", 0, "开始"}, {"", 0, "开始"}};
    for (const auto& [code, index, start] : kCases) {
        QSettings(file, QSettings::IniFormat).setValue("SystemSet/language", code);
        loadStartLanguage(file);
        EXPECT_EQ(translated("zhStartStr"), start) << code.toStdString();
        TitleBar title(nullptr);
        EXPECT_EQ(title.findChild<QComboBox*>()->currentIndex(), index) << code.toStdString();
    }
    EXPECT_EQ(log.count("setting language is \"Klingon\", expected is CN, EN, TW, KR or RUS"), 1);
}

TEST(NdiIntValidator, TakesPlainDecimalsOnly) {
    const NdiIntValidator validator(5, 100, nullptr);
    const std::pair<QString, QValidator::State> kCases[] = {
        {"42", QValidator::Acceptable}, {"042", QValidator::Invalid},
        {"+5", QValidator::Invalid},    {" 5", QValidator::Invalid},
        {"abc", QValidator::Invalid},   {"", QValidator::Intermediate},
        {"5", QValidator::Acceptable},  {"101", QValidator::Intermediate}};
    for (auto [text, state] : kCases) {
        int position = 0;
        EXPECT_EQ(validator.validate(text, position), state) << text.toStdString();
    }
}

}  // namespace
}  // namespace tests
