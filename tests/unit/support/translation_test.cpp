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
        {"the first of equal keys",
         "<r><zhA>1</zhA><zhB>x</zhB><zhA>2</zhA></r>",
         {{"zhA", "1"}, {"zhB", "x"}}},
        {"nested text",
         "<r><zhA>one<b>two<i>three</i></b><![CDATA[<four>]]></zhA></r>",
         {{"zhA", "onetwothree<four>"}}},
        {"a declared encoding",
         "<?xml version='1.0' encoding='ISO-8859-1'?><r><zhA>gr\xfcn</zhA></r>",
         {{"zhA", QString::fromUtf8("grün")}}},
        {"malformed at its end", "<r><zhA>1</zhA>", {}},
    };
    const DataHome home;
    for (const auto& c : kCases) {
        EXPECT_EQ(loadLanguageFile(home.write("language.xml", c.content)), c.expected) << c.what;
    }
    EXPECT_EQ(loadLanguageFile(home.path("absent.xml")), Table()) << "a missing file";
    EXPECT_EQ(loadLanguageFile(home.path("")), Table()) << "a folder";
}

}  // namespace
