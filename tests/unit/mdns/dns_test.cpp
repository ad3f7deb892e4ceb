#include "mdns/dns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace mdns::dns {
namespace {

Bytes bytes(std::initializer_list<int> values) {
    return Bytes(values.begin(), values.end());
}

/// A header that announces `questions` and `answers`, then `body`.
Bytes message(int questions, int answers, const Bytes& body) {
    Bytes all = bytes(
        {0, 0, 0x84, 0, questions >> 8, questions & 255, answers >> 8, answers & 255, 0, 0, 0, 0});
    std::copy(body.begin(), body.end(), std::back_inserter(all));
    return all;
}

std::optional<Message> parsed(const Bytes& wire) {
    return parse(wire.data(), wire.size());
}

Message everyRecord() {
    const Name instance{"HOST (a.b \xC3\xA4)", "_ndi", "_tcp", "local"};
    Message all;
    all.id = 0x1234;
    all.response = all.authoritative = all.truncated = true;
    all.questions = {{nameFromText("_ndi._tcp.local"), kTypePtr, kClassIn, true}};
    all.answers = {
        {nameFromText("_ndi._tcp.local"), kTypePtr, kClassIn, false, 4500, instance},
        {instance, kTypeSrv, kClassIn, true, 120, Srv{1, 2, 5961, nameFromText("host.local")}},
        {instance, kTypeTxt, kClassIn, true, 4500, bytes({0})},
    };
    all.authorities = {{nameFromText("host.local"), kTypeA, kClassIn, true, 0, Ipv4{10, 0, 0, 1}}};
    all.additionals = {
        {nameFromText("host.local"), kTypeAaaa, kClassIn, true, 120, Ipv6{0xFE, 0x80, 1}},
        {nameFromText("host.local"), 47, kClassIn, true, 120, bytes({1, 2, 3})},
    };
    return all;
}

TEST(Dns, ReadsItsOwnMessages) {
    const Message sent = everyRecord();
    const Bytes wire = write(sent);
    const auto read = parsed(wire);
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->response && read->authoritative && read->truncated);
    EXPECT_TRUE(read->questions.at(0).unicastResponse);
    ASSERT_EQ(read->answers.size(), sent.answers.size());
    for (std::size_t i = 0; i < sent.answers.size(); ++i) {
        EXPECT_TRUE(sameRecord(read->answers[i], sent.answers[i])) << i;
        EXPECT_EQ(read->answers[i].ttl, sent.answers[i].ttl) << i;
        EXPECT_EQ(read->answers[i].cacheFlush, sent.answers[i].cacheFlush) << i;
    }
    EXPECT_EQ(write(*read), wire) << "every section is the same";
    // "_ndi._tcp.local" is in the message once.
    const std::string text(wire.begin(), wire.end());
    EXPECT_EQ(text.find("_ndi"), text.rfind("_ndi"));
}

TEST(Dns, ReadsKnownBytes) {
    // The query of a browser, PTR of _ndi._tcp.local, and an answer with a pointer into the
    // question.
    const auto read = parsed(
        message(1, 1, bytes({4,   '_', 'n', 'd',  'i',  4,  '_', 't', 'c',  'p',  5, 'l', 'o',
                             'c', 'a', 'l', 0,    0,    12, 0,   1,   0xC0, 12,   0, 12,  0x80,
                             1,   0,   0,   0x11, 0x94, 0,  4,   1,   'x',  0xC0, 12})));
    ASSERT_TRUE(read);
    EXPECT_EQ(nameToText(read->answers.at(0).name), "_ndi._tcp.local");
    EXPECT_TRUE(read->answers[0].cacheFlush);
    EXPECT_EQ(read->answers[0].ttl, 4500U);
    EXPECT_EQ(std::get<Name>(read->answers[0].data), (Name{"x", "_ndi", "_tcp", "local"}));
}

TEST(Dns, RefusesHostileMessages) {
    Bytes longName;
    for (int i = 0; i < 5; ++i) {
        longName.push_back(63);
        longName.insert(longName.end(), 63, 'x');
    }
    longName.insert(longName.end(), {0, 0, 1, 0, 1});
    const struct {
        const char* what;
        Bytes wire;
    } cases[] = {
        {"nothing", {}},
        {"half a header", bytes({0, 0, 0, 0, 0})},
        {"question missing", message(1, 0, {})},
        {"65535 questions", message(65535, 0, Bytes(65535, 0))},
        {"label beyond the end", message(1, 0, bytes({63, 'a', 'b'}))},
        {"label without an end", message(1, 0, bytes({1, 'a'}))},
        {"pointer to itself", message(1, 0, bytes({0xC0, 12, 0, 1, 0, 1}))},
        {"pointer forward", message(1, 0, bytes({0xC0, 14, 0, 0, 1, 0, 1}))},
        {"pointer cut", message(1, 0, bytes({0xC0}))},
        {"pointers in a circle", message(1, 0, bytes({1, 'a', 0xC0, 12, 0, 1, 0, 1}))},
        {"reserved label kind", message(1, 0, bytes({0x80, 0, 0, 1, 0, 1}))},
        {"name too long", message(1, 0, longName)},
        {"data beyond the end", message(0, 1, bytes({0, 0, 16, 0, 1, 0, 0, 0, 0, 255, 255, 1}))},
        {"A of 5 bytes", message(0, 1, bytes({0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 5, 1, 2, 3, 4, 5}))},
        {"SRV too short", message(0, 1, bytes({0, 0, 33, 0, 1, 0, 0, 0, 0, 0, 4, 1, 2, 3, 4}))},
        {"PTR longer than its data",
         message(0, 1, bytes({0, 0, 12, 0, 1, 0, 0, 0, 0, 0, 1, 1, 'a', 0}))},
    };
    for (const auto& each : cases) {
        EXPECT_FALSE(parsed(each.wire)) << each.what;
    }
    const Bytes whole = write(everyRecord());
    for (std::size_t size = 0; size < whole.size(); ++size) {
        // A copy of exactly this size, so that a sanitizer finds a read beyond it.
        EXPECT_FALSE(parsed(Bytes(whole.begin(), whole.begin() + static_cast<long>(size)))) << size;
    }
}

}  // namespace
}  // namespace mdns::dns
