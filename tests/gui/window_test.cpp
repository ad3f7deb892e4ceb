// The window's layout, its embedded resources, its languages, and the validator.

#include <gmock/gmock.h>

#include <QDomDocument>
#include <QFile>
#include <QImage>
#include <QResource>

#include "operator.h"
#include "ui/ndiintvalidator.h"

namespace {

const char* const kFiles[] = {"LanguageCN_Tools.xml", "LanguageEN_Tools.xml",
                              "Language_zh_TW_Tools.xml", "Language_KR_Tools.xml",
                              "Language_RUS_Tools.xml"};

class Window : public testing::Test {
protected:
    Window()
        : m_desk({{0, 0, 15360, 8640}, {15360, 0, 1280, 1024}}),
          op(m_desk, m_folder.filePath("settings.ini")) {}
    QTemporaryDir m_folder;
    Desk m_desk;
    Operator op;
};

TEST_F(Window, Layout) {
    EXPECT_EQ(op.window->size(), QSize(638, 260));
    EXPECT_EQ(op.window->minimumSize(), op.window->maximumSize());
    EXPECT_TRUE(op.window->windowFlags() & Qt::FramelessWindowHint);
    EXPECT_EQ(op.window->windowTitle(), "NDI Screen Sender");
    EXPECT_EQ(op.title->height(), 44);
    EXPECT_EQ(op.title->mapTo(op.window.get(), QPoint()), QPoint(0, 0));
    EXPECT_EQ(op.name->size(), QSize(220, 26));
    EXPECT_EQ(op.screen->size(), QSize(220, 26));
    EXPECT_EQ(op.rate->size(), QSize(64, 26));
    EXPECT_EQ(op.language->width(), 190);
    for (const char* label : {"nameLabel", "m_pScreenLabel", "m_pFrameRateLabel"}) {
        EXPECT_EQ(op.window->findChild<QLabel*>(label)->width(), 60) << label;
    }
    for (const QSpinBox* box : {op.x, op.y, op.w, op.h}) {
        EXPECT_EQ(box->width(), 100);
    }
    EXPECT_TRUE(op.window->findChild<QLabel*>("TitleLabel")->isVisible());

    // Nothing is cut by its parent, and no two controls overlap.
    const QList<QWidget*> controls{op.name, op.screen, op.rate, op.start, op.reset, op.select,
                                   op.show, op.x,      op.y,    op.w,     op.h};
    for (const QWidget* one : controls) {
        EXPECT_EQ(one->visibleRegion().boundingRect(), one->rect());
        for (const QWidget* other : controls) {
            const QRect a(one->mapTo(op.window.get(), QPoint()), one->size());
            const QRect b(other->mapTo(op.window.get(), QPoint()), other->size());
            EXPECT_TRUE(one == other || !a.intersects(b));
        }
    }
}

TEST_F(Window, Resources) {
    const struct {
        const char* name;
        int side;
    } kImages[] = {{"down_arrow", 200},       {"down_arrow_disable", 200}, {"up_arrow", 200},
                   {"up_arrow_disable", 200}, {"win_min_normal", 24},      {"win_min_hover", 24},
                   {"win_min_pressed", 24},   {"win_close_noraml", 14},    {"win_close_hover", 24},
                   {"win_close_pressed", 24}};
    for (const auto& image : kImages) {
        const QString path = QString(":/img/Resources/image/%1.png").arg(image.name);
        EXPECT_EQ(QImage(path).size(), QSize(image.side, image.side)) << image.name;
        EXPECT_EQ(QResource(path).compressionAlgorithm(), QResource::NoCompression);
    }
    EXPECT_FALSE(QFile::exists(":/img/Resources/image/win_close_normal.png"));

    QFile sheet(":/qss/Resources/qss/ndiSender.qss");
    ASSERT_TRUE(sheet.open(QIODevice::ReadOnly));
    const QByteArray text = sheet.readAll();
    EXPECT_EQ(text.size(), 3432);
    EXPECT_EQ(text.count('\n'), text.count("\r\n"));
    EXPECT_EQ(QResource(sheet.fileName()).compressionAlgorithm(), QResource::ZlibCompression);
    EXPECT_EQ(op.window->styleSheet().toUtf8(), text);
}

QSet<QString> keysOf(const QString& file) {
    const QStringList keys = loadLanguageFile(beside(file)).keys();
    return {keys.begin(), keys.end()};
}

TEST(Languages, EveryFileHasTheSameKeysAndAllThatTheProgramAsksFor) {
    const QSet<QString> wanted{
        "zhChineseStr", "zhEnglishStr",   "zhChineseTWStr", "zhKoreanStr",      "zhRussianStr",
        "zhMinAct",     "zhReductionAct", "zhMaxAct",       "zhCloseAct",       "zhOkStr",
        "zhCancalStr",  "zhSenderStr",    "zhNameStr",      "zhResetEffectStr", "zhScreenStr",
        "zhFPSStr",     "zhFPSRangeStr",  "zhSentROIStr",   "zhSelectROIStr",   "zhShowROIStr",
        "zhHideROIStr", "zhStartStr",     "zhPauseStr",     "zhContinueStr",    "zhResetStr"};
    for (const char* file : kFiles) {
        EXPECT_EQ(keysOf(file), wanted) << file;
        for (const QString& text : loadLanguageFile(beside(file))) {
            EXPECT_EQ(text, text.trimmed());
            EXPECT_FALSE(text.isEmpty());
        }
        QFile xml(beside(file));
        ASSERT_TRUE(xml.open(QIODevice::ReadOnly));
        QDomDocument document;
        ASSERT_TRUE(document.setContent(&xml));
        int entries = 0;
        for (QDomElement entry = document.documentElement().firstChildElement(); !entry.isNull();
             entry = entry.nextSiblingElement()) {
            ++entries;
        }
        EXPECT_EQ(entries, wanted.size()) << file << " has a key twice";
    }
}

/// Measured with the fonts that are really used.
TEST_F(Window, EveryTextFitsItsPlaceInEveryLanguage) {
    const auto fits = [](const QWidget* widget, const QString& text, int room, const char* file) {
        const int width = widget->fontMetrics().horizontalAdvance(text);
        EXPECT_LE(width, room) << file << ": " << text.toStdString();
    };
    op.overlay->findChild<QWidget*>()->resize(100, 40);
    for (int i = 0; i < 5; ++i) {
        op.title->slotTransIndexChanged(i);
        op.overlay->findChild<QWidget*>()->layout()->activate();
        const auto text = [](const char* key) { return StringToTranslate::instance().find(key); };
        for (const QLabel* label : op.window->findChildren<QLabel*>()) {
            fits(label, label->text(), label->contentsRect().width(), kFiles[i]);
        }
        // Two pixels of air beside the border.
        const auto inside = [](const QPushButton* button) { return button->width() - 6; };
        for (const char* key : {"zhStartStr", "zhPauseStr", "zhContinueStr"}) {
            fits(op.start, text(key), inside(op.start), kFiles[i]);
        }
        fits(op.reset, text("zhResetStr"), inside(op.reset), kFiles[i]);
        fits(op.select, text("zhSelectROIStr"), inside(op.select), kFiles[i]);
        fits(op.show, text("zhShowROIStr"), inside(op.show), kFiles[i]);
        fits(op.show, text("zhHideROIStr"), inside(op.show), kFiles[i]);
        fits(op.group(), op.group()->title(), op.group()->width(), kFiles[i]);
        fits(op.screen, op.screen->itemText(0), op.screen->width() - 30, kFiles[i]);
        fits(op.language, op.language->itemText(i), op.language->width() - 30, kFiles[i]);
        for (const QPushButton* button : op.overlay->findChildren<QPushButton*>()) {
            fits(button, button->text(), button->width() - 3, kFiles[i]);
        }
    }
}

TEST_F(Window, LanguageSwitchesInEveryState) {
    const auto say = [this](int language) { Operator::choose(op.language, language); };
    say(4);
    EXPECT_EQ(op.start->text(), QString::fromUtf8("Пуск"));
    EXPECT_EQ(op.show->text(), QString::fromUtf8("Показать рамку"));
    EXPECT_EQ(op.screen->itemText(1), QString::fromUtf8("Экран:1(1280x1024)"));
    EXPECT_EQ(op.screen->currentIndex(), 0);
    EXPECT_EQ(op.language->itemText(3), QString::fromUtf8("한국어"));
    EXPECT_EQ(op.window->findChild<QPushButton*>("ButtonClose")->toolTip(),
              QString::fromUtf8("Закрыть"));
    EXPECT_EQ(op.overlay->findChildren<QPushButton*>().at(1)->text(), QString::fromUtf8("Отмена"));
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
    Operator::click(op.show);
    EXPECT_EQ(op.show->text(), "Hide region");
    say(0);
    say(1);
    EXPECT_EQ(op.show->text(), "Show region");
    Operator::click(op.show);
    EXPECT_EQ(op.show->text(), "Show region");
    say(2);
    say(1);
    EXPECT_EQ(op.show->text(), "Hide region");
}

TEST_F(Window, MissingLanguageFileShowsKeysUntilAnotherIsChosen) {
    ASSERT_TRUE(QFile::rename(beside(kFiles[3]), beside("away.xml")));
    Operator::choose(op.language, 3);
    EXPECT_EQ(op.start->text(), "zhStartStr");
    ASSERT_TRUE(QFile::rename(beside("away.xml"), beside(kFiles[3])));
    Operator::choose(op.language, 1);
    EXPECT_EQ(op.start->text(), "Start");
}

TEST(NdiIntValidator, TakesPlainDecimalsOnly) {
    const NdiIntValidator validator(0, 100, nullptr);
    const struct {
        const char* text;
        QValidator::State state;
    } kCases[] = {{"42", QValidator::Acceptable},    {"042", QValidator::Invalid},
                  {"007", QValidator::Invalid},      {"+5", QValidator::Invalid},
                  {" 5", QValidator::Invalid},       {"abc", QValidator::Invalid},
                  {"", QValidator::Intermediate},    {"-", QValidator::Invalid},
                  {"101", QValidator::Intermediate}, {"0", QValidator::Acceptable},
                  {"1000", QValidator::Invalid}};
    for (const auto& c : kCases) {
        QString text = c.text;
        int position = 0;
        EXPECT_EQ(validator.validate(text, position), c.state) << c.text;
    }
    QString anything = "abc";
    NdiIntValidator(5, 60, nullptr).fixup(anything);
    EXPECT_EQ(anything, "5");
}

}  // namespace
