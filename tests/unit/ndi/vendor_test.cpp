// Which vendor's runtime is chosen, and what happens when it can't be used. The runtimes are
// stand-ins built with the test.

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>

#include "ndi/loader/sharedlibrary.h"
#include "ndi/ndilibrary.h"
#include "ndi/sendlibrary.h"
#include "support/logcapture.h"

namespace ndi {
namespace {

namespace fs = std::filesystem;
using tests::LogCapture;

/// Folders in which stand-ins lie under the runtime's names.
class Vendor : public testing::Test {
protected:
    void SetUp() override { fs::create_directories(m_root); }
    void TearDown() override { fs::remove_all(m_root); }

    void install(const std::string& standin, const std::string& name, const std::string& version) {
        fs::create_directories(m_root / name);
        fs::copy_file(fs::path(STANDIN_FOLDER) / (standin + ".so"),
                      m_root / name / ("libndi.so." + version));
    }

    /// The tag of the runtime that was chosen, 0 for none. `folders` by the variable's last letter.
    std::uintptr_t load(const std::map<std::string, std::string>& folders) {
        m_library = loadVendorLibrary(
            [&](const std::string& name) {
                const auto found = folders.find(name.substr(name.size() - 1));
                return name.rfind("NDI_RUNTIME_DIR_V", 0) == 0 && found != folders.end()
                           ? (m_root / found->second).string()
                           : std::string();
            },
            m_path, m_reason);
        const NDIlib_send_create_t settings{"x", nullptr, true, false};
        return m_library != nullptr ? reinterpret_cast<std::uintptr_t>(m_library->create(&settings))
                                    : 0;
    }

    const fs::path m_root =
        fs::temp_directory_path() / ("tarsin-vendor-" + std::to_string(::getpid()));
    std::unique_ptr<SendLibrary> m_library;
    std::string m_path;
    std::string m_reason;
};

TEST_F(Vendor, PlacesAreTriedInOrder) {
    install("six", "v6", "6");
    install("five", "v6", "5");
    install("five", "v5", "5");
    install("four", "v4", "4");
    const struct {
        std::map<std::string, std::string> folders;  // by the version of the variable
        std::uintptr_t tag;
        const char* path;
    } cases[] = {
        {{{"6", "v6"}, {"5", "v5"}}, 6, "v6/libndi.so.6"},
        {{{"6", "v5"}, {"5", "v6"}}, 5, "v5/libndi.so.5"},  // an older one in the newest folder
        {{{"4", "v4"}, {"5", "v5"}}, 5, "v5/libndi.so.5"},
        {{{"6", "nowhere"}, {"4", "v4"}}, 4, "v4/libndi.so.4"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(load(c.folders), c.tag) << c.path;
        EXPECT_EQ(fs::path(m_path), m_root / c.path);
    }
    EXPECT_EQ(load({}), 0U);
    EXPECT_EQ(m_reason, "") << "no runtime installed is not an error";
}

TEST_F(Vendor, FaultyOnesAreNamedAndPassedOver) {
    install("unwilling", "a", "6");
    install("incomplete", "b", "6");
    fs::create_directories(m_root / "c");
    for (const auto& [where, why] :
         {std::pair{"a", "libndi.so.6: its NDIlib_initialize() reports"},
          {"b", "libndi.so.6: it does not export NDIlib_send_send_video_v2"},
          {"c", "No such file"}}) {
        EXPECT_EQ(load({{"6", where}}), 0U);
        EXPECT_NE(m_reason.find(why), std::string::npos) << m_reason;
    }
    install("five", "b", "5");
    EXPECT_EQ(load({{"6", "b"}}), 5U);
}

/// Run by ctest with the runtime installed by variable, and along the loader's path.
TEST(Dispatch, DISABLED_ToTheVendor) {
    const LogCapture log;
    EXPECT_TRUE(NDIlib_initialize());
    EXPECT_TRUE(NDIlib_initialize());
    EXPECT_EQ(log.count("NDI: using the vendor's runtime "), 1);
    const NDIlib_send_create_t settings{"x", nullptr, true, false};
    const auto instance = NDIlib_send_create(&settings);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(instance), 6U);
    NDIlib_video_frame_v2_t frame{};
    frame.xres = 1234;
    hintDirtyRows(instance, {});
    EXPECT_FALSE(sourceStatus(instance).known);
    NDIlib_send_send_video_v2(instance, &frame);
    NDIlib_send_destroy(instance);

    const std::string text = log.text();
    const auto from = text.find("runtime ") + 8;
    std::string reason;
    const auto library = loadLibrary(text.substr(from, text.find(' ', from) - from), reason);
    ASSERT_NE(library, nullptr) << reason;
    EXPECT_EQ(*static_cast<int*>(library->symbol("standinWidthSeen")), 1234);
    EXPECT_EQ(*static_cast<int*>(library->symbol("standinDestroyed")), 1);
}

/// Run by ctest with a runtime that can't be initialised.
TEST(Dispatch, DISABLED_ToTheBuiltInOutput) {
    const LogCapture log;
    EXPECT_EQ(NDIlib_send_create(nullptr), nullptr);
    EXPECT_TRUE(log.says("NDIlib_send_create was called before NDIlib_initialize()"));
    EXPECT_TRUE(NDIlib_initialize());
    EXPECT_TRUE(NDIlib_initialize());
    EXPECT_EQ(log.count("NDI: "), 1);
    EXPECT_EQ(log.count("the vendor's runtime can't be used: "), 1);
    EXPECT_EQ(NDIlib_send_create(nullptr), nullptr);
    EXPECT_TRUE(log.says("no settings given"));
    NDIlib_send_send_video_v2(nullptr, nullptr);
    NDIlib_send_destroy(nullptr);
}

}  // namespace
}  // namespace ndi
