// The messages: byte for byte where an outside fact says so, round trips elsewhere.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "ndi/wire/message.h"
#include "ndi/wire/messagereader.h"
#include "ndi/wire/scramble.h"
#include "ndi/wire/sourcename.h"
#include "ndi/wire/textmessage.h"
#include "ndi/wire/videoinfo.h"
#include "support/utf8.h"

namespace ndi::wire {
namespace {

using Bytes = std::vector<std::uint8_t>;

TextMessage parse(const std::string& xml) {
    return parseText({reinterpret_cast<const std::uint8_t*>(xml.data()), xml.size()});
}

Bytes fromHex(const std::string& hex) {
    Bytes bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

TEST(Message, TextIsKnownBytes) {
    EXPECT_EQ(makeTextMessage(
                  R"(<ndi_version text="3" video="5" audio="4" sdk="5.5.3" platform="LINUX"/>)"),
              fromHex("018002000800000049000000"
                      "95062997cf5d793bc5cb4829180f15b267e61e8d926501245bd137c04acadd55"
                      "aa0a0c32ce4e06f5fbd05e9512d758c32cee257c6dba04e671ac63de2a342419"
                      "ab63912081b2b17e849b076b19ae27afbc"));
    Bytes plain(81);
    for (std::size_t size = 0; size <= plain.size(); ++size) {  // Every length of the last word.
        Bytes cut(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(size));
        scramble(cut.data(), size, 0xFFFFFFF0U);
        unscramble(cut.data(), size, 0xFFFFFFF0U);
        EXPECT_EQ(cut, Bytes(size));
    }
}

VideoInfo someInfo() {
    VideoInfo info;
    info.fourCC = 0x32514853;
    info.width = 1920;
    info.height = 1080;
    info.rateNumerator = 30000;
    info.rateDenominator = 1001;
    info.aspect = 1.5F;
    info.timecode = -7;
    info.timestamp = 0x0102030405060708;
    info.metadata = "<m/>";
    return info;
}

TEST(Message, VideoHeadIsKnownBytes) {
    MessageHead head;
    writeVideoHead(someInfo(), 3000, head);
    ASSERT_EQ(head.size, kHeaderSize + 61);
    unscramble(head.bytes.data() + kHeaderSize, 61, 3061);
    EXPECT_EQ(Bytes(head.bytes.begin(), head.bytes.begin() + 73),
              fromHex("038000003d000000b80b0000"       // version 3, video, 61 and 3000 bytes
                      "534851328007000038040000"       // fourCC, size
                      "30750000e90300000000c03f"       // rate, aspect
                      "000000000100000000000000"       // progressive
                      "00000000f9ffffffffffffff"       // timecode
                      "08070605040302013c6d2f3e00"));  // timestamp, metadata
}

TEST(MessageReader, RefusesWhatIsNoMessage) {
    const struct {
        const char* what;
        const char* header;
        MessageReader::Result result;
    } cases[] = {
        {"no mark", "010002000800000010000000", MessageReader::Result::Garbage},
        {"4 GiB of text", "0180020008000000ffffffff", MessageReader::Result::Garbage},
        {"4 GiB of info", "01800200ffffffff10000000", MessageReader::Result::Garbage},
        {"info beyond 1 KiB", "018002000104000010000000", MessageReader::Result::Garbage},
        {"text beyond 1 MiB", "018002000800000001001000", MessageReader::Result::Garbage},
        {"text of 1 MiB", "018002000800000000001000", MessageReader::Result::More},
        {"half a header", "018002000800", MessageReader::Result::More},
    };
    for (const auto& c : cases) {
        MessageReader reader(Limits{});
        const Bytes bytes = fromHex(c.header);
        reader.append(bytes.data(), bytes.size());
        Message message;
        EXPECT_EQ(reader.next(message), c.result) << c.what;
        // It stays so, whatever follows.
        const Bytes good = makeTextMessage("<a/>");
        reader.append(good.data(), good.size());
        EXPECT_NE(reader.next(message), MessageReader::Result::Ready) << c.what;
    }
}

TEST(VideoInfo, ShortAndWrongOnes) {
    MessageHead head;
    VideoInfo info;
    info.width = info.height = info.rateNumerator = info.rateDenominator = 5;
    info.metadata.assign(kMaxVideoMetadata + 1, 'x');
    writeVideoHead(info, 10, head);
    ASSERT_EQ(head.size, kHeaderSize + 57) << "metadata that does not fit is left out";
    unscramble(head.bytes.data() + kHeaderSize, 57, 67);
    const std::uint8_t* const plain = head.bytes.data() + kHeaderSize;
    EXPECT_TRUE(parseVideoInfo({plain, 57}));
    EXPECT_TRUE(parseVideoInfo({plain, 24})) << "every version has these fields";
    EXPECT_FALSE(parseVideoInfo({plain, 23}));
    EXPECT_FALSE(parseVideoInfo({Bytes(57, 0).data(), 57})) << "a size of 0x0";

    info.metadata.pop_back();
    writeVideoHead(info, 10, head);
    EXPECT_EQ(head.size, kHeaderSize + kMaxInfoSize);
}

TEST(TextMessage, ReadsWhatReceiversSay) {
    const auto version = std::get<VersionText>(
        parse(R"(<ndi_version text="3" video="5" audio="4" sdk="5.5.3" platform="LINUX"/>)"));
    EXPECT_EQ(std::tie(version.video, version.sdk), std::tuple(5, "5.5.3"));
    const auto streams = std::get<EnabledStreamsText>(parse(
        R"(<ndi_enabled_streams unknown="1" text="true" audio="false" video="true" shq_short_dc="true"/>)"));
    EXPECT_TRUE(streams.video && !streams.audio);
    EXPECT_TRUE(std::get<QualityText>(parse(R"(<ndi_video quality="low"/>)")).low);
    EXPECT_FALSE(std::get<QualityText>(parse("<ndi_video/>")).low);
    const auto tally =
        std::get<TallyText>(parse(R"(<ndi_tally on_preview="true" on_program="false"/>)"));
    EXPECT_TRUE(tally.onPreview && !tally.onProgram);
    EXPECT_EQ(composeText(TallyEchoText{true, false}),
              R"(<ndi_tally_echo on_program="true" on_preview="false"/>)");
}

TEST(TextMessage, NamesArePlainAndShortHoweverTheyCome) {
    const auto name = [](const std::string& value) {
        return std::get<IdentifyText>(parse("<ndi_identify name=\"" + value + "\"/>")).name;
    };
    EXPECT_EQ(name("A &amp; B &#x41;"), "A & B A");
    EXPECT_EQ(name("line\nbreak&#10;&#27;[31m"), "line break  [31m");
    EXPECT_EQ(name("\xff\xc3"), "??");
    EXPECT_EQ(name(std::string(127, 'x') + "\xc3\xa4").size(), 127U);
}

TEST(TextMessage, HostileXmlIsHarmless) {
    const std::string bomb =
        "<!DOCTYPE a [<!ENTITY b \"bbbbbbbb\"><!ENTITY c \"&b;&b;&b;&b;\">"
        "<!ENTITY d \"&c;&c;&c;&c;\">]><ndi_identify name=\"&d;\"/>";
    EXPECT_EQ(std::get<IdentifyText>(parse(bomb)).name, "&d;");
    std::string deep;
    for (int i = 0; i < 5000; ++i) {
        deep += "<a>";
    }
    for (const std::string& xml : {deep, std::string(), std::string("<a b=>")}) {
        EXPECT_TRUE(std::holds_alternative<MalformedText>(parse(xml))) << xml.substr(0, 10);
    }
    EXPECT_TRUE(std::holds_alternative<UnknownText>(parse(std::string(100'000, '<'))));
}

TEST(SourceName, FitsItsLabelAndEndsAtACharacter) {
    std::string umlauts;
    for (int i = 0; i < 60; ++i) {
        umlauts += "\xc3\xa4";
    }
    const struct {
        std::string machine, source, expected;
    } cases[] = {
        {"HOST", "Screen 1", "HOST (Screen 1)"},
        {"HOST", "", "HOST ()"},
        // 63 - "HOST (" - ")" leaves 56 bytes, 28 characters of two bytes.
        {"HOST", umlauts, "HOST (" + umlauts.substr(0, 56) + ")"},
        // One byte less: a whole character goes.
        {"HOST1", umlauts, "HOST1 (" + umlauts.substr(0, 54) + ")"},
        {std::string(63, 'M'), umlauts, std::string(40, 'M') + " (" + umlauts.substr(0, 20) + ")"},
        {std::string(63, 'M'), "x", std::string(59, 'M') + " (x)"},
        {"HOST", "tab\tand\x7f\xff\xed\xa0\x80", "HOST (tab and ??\?\?)"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(instanceName(c.machine, c.source), c.expected);
        EXPECT_LE(instanceName(c.machine, c.source).size(), kMaxInstanceName);
    }
    // The numbers of a caller's retries survive the cut.
    const std::string longName = "A source name that fills its label to the last byte, in words";
    std::set<std::string> names = {instanceName("HOST", longName)};
    for (int number = 1; number <= 16; ++number) {
        const std::string name = instanceName("HOST", longName + std::to_string(number));
        EXPECT_EQ(name.size(), kMaxInstanceName);
        EXPECT_EQ(sourcePart(name).find(std::to_string(number)),
                  sourcePart(name).size() - std::to_string(number).size());
        names.insert(name);
    }
    EXPECT_EQ(names.size(), 17U);
    // Four-byte characters, cut at each of their bytes.
    const std::string face = "\xf0\x9f\x98\x80";
    for (std::size_t size = 4; size < 8; ++size) {
        EXPECT_EQ(support::cutUtf8(face + face, size), face);
    }
    EXPECT_EQ(machineName().find_first_of("abcdefghijklmnopqrstuvwxyz."), std::string::npos);
}

}  // namespace
}  // namespace ndi::wire
