#include "support/translation.h"

#include <gtest/gtest.h>

#include "unit/support/datahome.h"

namespace {

using Table = QMap<QString, QString>;

TEST(LanguageFile, GivesOneEntryForEachChildOfTheRoot) {
    const struct {
        const char* what;
        QByteArray content;
        Table expected;
    } kCases[] = {
        {"plain",
         "<?xml version='1.0'?><Language><zhStartStr>Start</zhStartStr>"
         "<zhPauseStr>Pause</zhPauseStr></Language>",
         {{"zhPauseStr", "Pause"}, {"zhStartStr", "Start"}}},
        {"the first of equal keys",
         "<r><zhA>1</zhA><zhB>x</zhB><zhA>2</zhA></r>",
         {{"zhA", "1"}, {"zhB", "x"}}},
        {"nested text",
         "<r><zhA>one<b>two<i>three</i></b><![CDATA[<four>]]></zhA></r>",
         {{"zhA", "onetwothree<four>"}}},
        {"no keys in attributes, comments, instructions and text",
         "<r zhX='x'><!-- <zhC>c</zhC> --><?zhP p?>text<zhA zhY='y'>1</zhA></r>",
         {{"zhA", "1"}}},
        {"empty text", "<r><zhA/></r>", {{"zhA", ""}}},
        {"UTF-8 without a declaration",
         "<r><zhA>\xe5\xbc\x80\xe5\xa7\x8b</zhA></r>",
         {{"zhA", QString::fromUtf8("开始")}}},
        {"a declared encoding",
         "<?xml version='1.0' encoding='ISO-8859-1'?><r><zhA>gr\xfcn</zhA></r>",
         {{"zhA", QString::fromUtf8("grün")}}},
        {"malformed at its end", "<r><zhA>1</zhA>", {}},
        {"not XML", QByteArray("\0\xff\x01 zhA=1", 9), {}},
        {"empty", "", {}},
        {"a bomb of entities",
         "<!DOCTYPE r [<!ENTITY a 'aaaaaaaaaaaaaaaa'>"
         "<!ENTITY b '&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;'>"
         "<!ENTITY c '&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;'>"
         "<!ENTITY d '&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;'>"
         "<!ENTITY e '&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;'>"
         "]><r><zhA>&e;</zhA></r>",
         {}},
    };
    const DataHome home;
    for (const auto& c : kCases) {
        EXPECT_EQ(loadLanguageFile(home.write("language.xml", c.content)), c.expected) << c.what;
    }
    EXPECT_EQ(loadLanguageFile(home.path("absent.xml")), Table()) << "a missing file";
    EXPECT_EQ(loadLanguageFile(home.path("")), Table()) << "a folder";
}

TEST(StringToTranslate, IsReplacedWholeAndAnswersUnknownKeysWithThemselves) {
    StringToTranslate& table = StringToTranslate::instance();
    table.setTranslateStringMap({{"zhA", "first"}, {"zhB", "only here"}});
    EXPECT_EQ(table.find("zhA"), "first");
    table.setTranslateStringMap({{"zhA", "second"}});
    EXPECT_EQ(table.find("zhA"), "second");
    EXPECT_EQ(table.find("zhB"), "zhB");
    table.setTranslateStringMap({});
    EXPECT_EQ(table.find("zhA"), "zhA");
}

}  // namespace
