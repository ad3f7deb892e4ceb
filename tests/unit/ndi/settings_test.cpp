// Where the settings let a source listen and who may connect.

#include <map>

#include "mdns/netinterfaces.h"
#include "ndi/output/addressrange.h"
#include "ndi/sendlibrary.h"
#include "unit/ndi/sourcefixture.h"

namespace ndi {
namespace {

OutputSettings read(const std::map<std::string, std::string>& keys) {
    return readOutputSettings([&](const char* key) {
        const auto found = keys.find(key);
        return found != keys.end() ? found->second : std::string();
    });
}

TEST(OutputSettings, AreReadAndWrongOnesKeepTheDefault) {
    const LogCapture log;
    const OutputSettings absent = read({});
    EXPECT_TRUE(absent.networkInterfaces.empty() && absent.allowedReceivers.empty());
    EXPECT_EQ(absent.maximumReceivers, 250);
    EXPECT_EQ(absent.firstPort, 5961);
    const OutputSettings all = read({{"networkInterfaces", " eth0,, 10.0.0.5 "},
                                     {"allowedReceivers", "10.0.0.7 fd00::/8"},
                                     {"maximumReceivers", "3"},
                                     {"firstPort", "7000"},
                                     {"colorMatrix", "2020"}});
    EXPECT_EQ(all.networkInterfaces, (std::vector<std::string>{"eth0", "10.0.0.5"}));
    EXPECT_EQ(all.allowedReceivers, (std::vector<std::string>{"10.0.0.7", "fd00::/8"}));
    EXPECT_EQ(all.maximumReceivers, 3);
    EXPECT_EQ(all.firstPort, 7000);
    EXPECT_EQ(all.colours, speedhq::ColourChoice::Bt2020);
    EXPECT_EQ(log.text(), "");

    for (const char* wrong : {"0", "10001", "-1", "many", "5x", "99999999999"}) {
        EXPECT_EQ(read({{"maximumReceivers", wrong}}).maximumReceivers, 250) << wrong;
    }
    EXPECT_EQ(log.count("setting maximumReceivers is "), 6);
    EXPECT_EQ(read({{"firstPort", "65536"}}).firstPort, 5961);
    EXPECT_EQ(log.count("expected is a number from 1 to 65535; using 5961"), 1);
    EXPECT_EQ(read({{"colorMatrix", "BT.709"}}).colours, speedhq::ColourChoice::Automatic);
    EXPECT_EQ(log.count("expected is auto, 601, 709 or 2020; using auto"), 1);
    for (const char* wrong : {"host", "10.0.0.0/33", "10.0.0.1/", "10.0.0.1, x", "fe80::/129"}) {
        EXPECT_TRUE(read({{"allowedReceivers", wrong}}).allowedReceivers.empty()) << wrong;
    }
    EXPECT_EQ(log.count("setting allowedReceivers has the entry "), 5);
}

TEST(OutputSettings, RangesOfAddresses) {
    const struct {
        const char* range;
        const char* address;
        bool inside;
    } cases[] = {
        {"10.0.0.7", "10.0.0.7", true},      {"10.0.0.7", "10.0.0.8", false},
        {"10.1.2.3/16", "10.1.255.1", true}, {"10.1.2.3/16", "10.2.0.1", false},
        {"0.0.0.0/0", "192.0.2.1", true},    {"0.0.0.0/0", "::1", false},
        {"fd00::/8", "fdff::1", true},       {"fd00::/8", "fe80::1", false},
        {"fe80::1", "fe80::1%1", true},      {"::/0", "2001:db8::1", true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AddressRange::parse(c.range)->contains(asio::ip::make_address(c.address)),
                  c.inside)
            << c.range << " " << c.address;
    }
    using mdns::NetInterface;
    const std::vector<NetInterface> both = {
        {1, "eth0", {{asio::ip::make_address("10.0.0.5"), 24}}},
        {2, "wlan0", {{asio::ip::make_address("fe80::2%2"), 64}}}};
    EXPECT_EQ(mdns::selectInterfaces(both, {}), both);
    EXPECT_EQ(mdns::selectInterfaces(both, {"wlan0"}).at(0).index, 2U);
    EXPECT_EQ(mdns::selectInterfaces(both, {"fe80::2"}).at(0).index, 2U);
    EXPECT_EQ(mdns::selectInterfaces(both, {"10.0.0.5", "eth7"}).at(0).index, 1U);
    EXPECT_TRUE(mdns::selectInterfaces(both, {"eth7"}).empty());
}

TEST(OutputSettings, DecideWhoMayConnect) {
    const struct {
        std::vector<std::string> allowed, interfaces;
        bool accepted;
    } cases[] = {
        {{"10.0.0.0/8"}, {}, false},
        {{"10.0.0.0/8", "127.0.0.0/8"}, {"127.0.0.1"}, true},
        {{}, {"10.99.0.1", "eth77"}, false},
    };
    for (const auto& c : cases) {
        const LogCapture log;
        const auto library = makeBuiltInLibrary([] { return testParts(); });
        OutputSettings settings;
        settings.networkInterfaces = c.interfaces;
        settings.allowedReceivers = c.allowed;
        settings.firstPort = 31961;
        settings.maximumReceivers = 1;
        library->configure(settings);
        const NDIlib_send_create_t create{"Guarded", nullptr, false, false};
        const auto instance = library->create(&create);
        const std::uint16_t port = library->status(instance).port;
        EXPECT_GE(port, settings.firstPort);
        for (int i = 0; i < 3; ++i) {
            TestReceiver receiver(port);
            EXPECT_EQ(receiver.readTexts(3).size(), c.accepted ? 3U : 0U);
        }
        EXPECT_EQ(log.count(": refused "), c.accepted ? 0 : 1) << "one limited line";
        library->destroy(instance);
    }
}

}  // namespace
}  // namespace ndi
