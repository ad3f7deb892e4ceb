// The window's layout, its embedded resources, its languages, and the validator.

#include <QDomDocument>
#include <QFile>
#include <QImage>
#include <QResource>

#include "operator.h"
#include "ui/ndiintvalidator.h"

namespace {

const QStringList kFiles{"LanguageCN_Tools.xml", "LanguageEN_Tools.xml", "Language_zh_TW_Tools.xml",
                         "Language_KR_Tools.xml", "Language_RUS_Tools.xml"};

class Window : public testing::Test {
protected:
    void say(int language) const { Operator::choose(op.language, language); }

    QTemporaryDir m_folder;
    Desk m_desk{{{0, 0, 15360, 8640}, {15360, 0, 1280, 1024}}};
    Operator op{m_desk, m_folder.filePath("settings.ini")};
};

TEST_F(Window, Layout) {
    EXPECT_EQ(op.window->size(), QSize(638, 260));
    EXPECT_EQ(op.window->minimumSize(), op.window->maximumSize());
    EXPECT_EQ(op.window->windowTitle(), "NDI Screen Sender");
    EXPECT_EQ(op.title->geometry(), QRect(0, 0, 638, 44));
    EXPECT_EQ(op.name->size(), QSize(220, 26));
    EXPECT_EQ(op.screen->size(), QSize(220, 26));
    EXPECT_EQ(op.rate->size(), QSize(64, 26));
    EXPECT_EQ(op.region[3]->width(), 100);
    // Nothing is cut by its parent, and no two controls overlap.
    const QList<QWidget*> controls{op.name,      op.screen,    op.rate,     op.start,
                                   op.reset,     op.select,    op.show,     op.region[0],
                                   op.region[1], op.region[2], op.region[3]};
    QRegion taken;
    for (const QWidget* one : controls) {
        EXPECT_EQ(one->visibleRegion().boundingRect(), one->rect());
        const QRect place(one->mapTo(op.window.get(), QPoint()), one->size());
        EXPECT_FALSE(taken.intersects(place)) << one->objectName().toStdString();
        taken += place;
    }
}

TEST_F(Window, Resources) {
    const QMap<QString, int> sides{{"down_arrow", 200},     {"down_arrow_disable", 200},
                                   {"up_arrow", 200},       {"up_arrow_disable", 200},
                                   {"win_min_normal", 24},  {"win_min_hover", 24},
                                   {"win_min_pressed", 24}, {"win_close_noraml", 14},
                                   {"win_close_hover", 24}, {"win_close_pressed", 24}};
    for (const QString& name : sides.keys()) {
        const QString path = QString(":/img/Resources/image/%1.png").arg(name);
        EXPECT_EQ(QImage(path).size(), QSize(sides[name], sides[name])) << name.toStdString();
        EXPECT_EQ(QResource(path).compressionAlgorithm(), QResource::NoCompression);
    }
    QFile sheet(":/qss/Resources/qss/ndiSender.qss");
    ASSERT_TRUE(sheet.open(QIODevice::ReadOnly));
    const QByteArray text = sheet.readAll();
    EXPECT_EQ(text.size(), 3432);
    EXPECT_EQ(text.count('\n'), text.count("\r\n"));
    EXPECT_EQ(QResource(sheet.fileName()).compressionAlgorithm(), QResource::ZlibCompression);
    EXPECT_EQ(op.window->styleSheet().toUtf8(), text);
}

TEST(Languages, EveryFileHasTheSameKeysAndAllThatTheProgramAsksFor) {
    QStringList wanted =
        QString(
            "zhCancalStr zhChineseStr zhChineseTWStr zhCloseAct zhContinueStr zhEnglishStr "
            "zhFPSRangeStr zhFPSStr zhHideROIStr zhKoreanStr zhMaxAct zhMinAct zhNameStr "
            "zhOkStr zhPauseStr zhReductionAct zhResetEffectStr zhResetStr zhRussianStr "
            "zhScreenStr zhSelectROIStr zhSenderStr zhSentROIStr zhShowROIStr zhStartStr")
            .split(' ');
    for (const QString& file : kFiles) {
        QFile xml(beside(file));
        ASSERT_TRUE(xml.open(QIODevice::ReadOnly));
        QDomDocument document;
        ASSERT_TRUE(document.setContent(&xml));
        QStringList keys;
        for (auto entry = document.documentElement().firstChildElement(); !entry.isNull();
             entry = entry.nextSiblingElement()) {
            keys += entry.tagName();
            EXPECT_EQ(entry.text(), entry.text().trimmed());
            EXPECT_FALSE(entry.text().isEmpty());
        }
        keys.sort();
        EXPECT_EQ(keys, wanted) << file.toStdString();
        EXPECT_EQ(loadLanguageFile(beside(file)).keys(), wanted);
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
        const std::pair<QPushButton*, const char*> captions[] = {
            {op.start, "zhStartStr"},      {op.start, "zhPauseStr"},  {op.start, "zhContinueStr"},
            {op.reset, "zhResetStr"},      {op.show, "zhShowROIStr"}, {op.show, "zhHideROIStr"},
            {op.select, "zhSelectROIStr"},
        };
        for (const auto& [button, key] : captions) {  // Two pixels of air beside the border.
            fits(button, StringToTranslate::instance().find(key), button->width() - 6);
        }
        fits(op.group, op.group->title(), op.group->width());
        fits(op.screen, op.screen->itemText(0), op.screen->width() - 30);
        fits(op.language, op.language->itemText(i), op.language->width() - 30);
        for (const QPushButton* button : op.overlay->findChildren<QPushButton*>()) {
            fits(button, button->text(), button->width() - 3);
        }
    }
}

TEST_F(Window, LanguageSwitchesInEveryState) {
    const std::pair<const QWidget*, const char*> kRussian[] = {
        {op.start, "Пуск"},
        {op.show, "Показать рамку"},
        {op.overlay->findChildren<QPushButton*>().at(1), "Отмена"}};
    say(4);
    for (const auto& [button, caption] : kRussian) {
        EXPECT_EQ(button->property("text"), QString::fromUtf8(caption));
    }
    EXPECT_EQ(op.screen->itemText(1), QString::fromUtf8("Экран:1(1280x1024)"));
    EXPECT_EQ(op.screen->currentIndex(), 0);
    EXPECT_EQ(op.language->itemText(3), QString::fromUtf8("한국어"));
    EXPECT_EQ(op.close->toolTip(), QString::fromUtf8("Закрыть"));
    Operator::click(op.start);
    say(1);
    EXPECT_EQ(op.start->text(), "Pause");
    EXPECT_EQ(op.name->toolTip(), "NDI source name; takes effect after a reset");
    EXPECT_EQ(op.rate->toolTip(), "Frame rate: 5 to 60 frames per second");
    Operator::click(op.start);
    say(2);
    EXPECT_EQ(op.start->text(), QString::fromUtf8("繼續"));
    Operator::click(op.reset);
    EXPECT_EQ(op.start->text(), QString::fromUtf8("開始"));
    say(1);
    EXPECT_EQ(op.start->text(), "Continue") << "a reset window is paused";

    // Once the frame was toggled, a switch shows the opposite of what the toggle showed.
    const std::pair<const char*, const char*> kToggles[] = {{"Hide region", "Show region"},
                                                            {"Show region", "Hide region"}};
    for (const auto& [toggled, switched] : kToggles) {
        Operator::click(op.show);
        EXPECT_EQ(op.show->text(), toggled);
        say(0);
        say(1);
        EXPECT_EQ(op.show->text(), switched);
    }
}

TEST_F(Window, MissingLanguageFileShowsKeysUntilAnotherIsChosen) {
    ASSERT_TRUE(QFile::rename(beside(kFiles[3]), beside("away.xml")));
    say(3);
    EXPECT_EQ(op.start->text(), "zhStartStr");
    ASSERT_TRUE(QFile::rename(beside("away.xml"), beside(kFiles[3])));
    say(1);
    EXPECT_EQ(op.start->text(), "Start");
}

TEST(NdiIntValidator, TakesPlainDecimalsOnly) {
    const NdiIntValidator validator(5, 100, nullptr);
    const QMap<QString, QValidator::State> kCases{
        {"42", QValidator::Acceptable}, {"042", QValidator::Invalid},
        {"+5", QValidator::Invalid},    {" 5", QValidator::Invalid},
        {"abc", QValidator::Invalid},   {"", QValidator::Intermediate},
        {"-", QValidator::Invalid},     {"101", QValidator::Intermediate},
        {"5", QValidator::Acceptable},  {"1000", QValidator::Invalid}};
    for (QString text : kCases.keys()) {
        int position = 0;
        EXPECT_EQ(validator.validate(text, position), kCases[text]) << text.toStdString();
    }
    QString anything = "abc";
    validator.fixup(anything);
    EXPECT_EQ(anything, "5");
}

}  // namespace
