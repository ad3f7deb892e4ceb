// The duplication capturer on a machine of fake graphics objects.

#include "capture/dxgi/dxgicapturescreen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <vector>

#include "capture/cutrectangle.h"
#include "support/logcapture.h"
#include "windows/fakegraphics.h"

namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Calls = std::vector<std::string>;

constexpr wchar_t kSecond[] = L"\\\\.\\DISPLAY2";

class Duplication : public ::testing::Test {
protected:
    Duplication() {
        m_machine.adapters = {
            {DXGI_ADAPTER_FLAG_SOFTWARE, {{kSecond, {0, 0, 64, 64}}}},
            {0, {{L"\\\\.\\DISPLAY1", {0, 0, 30, 20}}, {kSecond, {-40, 10, -20, 26}}}}};
    }

    ~Duplication() override {
        m_capturer.reset();
        EXPECT_THAT(m_machine.held(), IsEmpty());
        EXPECT_THAT(m_machine.mistakes, IsEmpty());
    }

    bool init() { return m_capturer->InitCapture(kSecond); }

    bool read() { return read(0, 0, 20, 16); }
    bool read(int x, int y, int width, int height) {
        m_image.assign(static_cast<std::size_t>(width) * height, 0);
        return readAgain(x, y, width, height);
    }
    /// Into the image as it is.
    bool readAgain(int x, int y, int width, int height) {
        return m_capturer->ReadScreenData(x, y, width, height,
                                          reinterpret_cast<unsigned char*>(m_image.data()));
    }

    /// Part of the desktop as it is now, opaque.
    [[nodiscard]] std::vector<std::uint32_t> desktop(int x, int y, int width, int height) const {
        std::vector<std::uint32_t> pixels;
        for (int i = 0; i < width * height; ++i) {
            pixels.push_back(m_machine.pixel(x + i % width, y + i / width));
        }
        return pixels;
    }

    /// The calls that `action` makes.
    template <typename Action>
    Calls callsOf(Action action) {
        m_machine.calls.clear();
        action();
        return m_machine.calls;
    }

    /// As the sender does: it initialises again where the capturer asks for it.
    bool readsWithin(int attempts) {
        for (; attempts > 0; --attempts) {
            const auto& [x, y, width, height] = m_wanted;
            if (read(x, y, width, height)) {
                return true;
            }
            if (m_capturer->Failure().needsInit) {
                init();
            }
        }
        return false;
    }

    using Rows = std::vector<std::array<int, 4>>;  ///< First and count, left and right.
    [[nodiscard]] Rows rows() const {
        Rows result;
        EXPECT_TRUE(m_capturer->DirtyRows().known);
        for (const support::RowSpan& span : m_capturer->DirtyRows().spans) {
            result.push_back({span.first, span.count, span.left, span.right});
        }
        return result;
    }

    capture::Cut m_wanted = {0, 0, 20, 16};
    FakeGraphics m_machine;
    std::unique_ptr<DXGICaptureScreen> m_capturer = std::make_unique<DXGICaptureScreen>(m_machine);
    std::vector<std::uint32_t> m_image;
};

TEST_F(Duplication, FindsOutputsByExactNameFirstAdapterFirst) {
    m_machine.adapters.push_back(
        {0, {{L"\\\\.\\DISPLAY3", {0, 0, 1, 1}}, {kSecond, {0, 0, 1, 1}}}});
    const std::pair<const wchar_t*, std::string> cases[] = {{nullptr, "output10"},
                                                            {kSecond, "output11"},
                                                            {L"\\\\.\\DISPLAY3", "output20"},
                                                            {L"\\\\.\\display2", "nothing"},
                                                            {L"\\\\.\\DISPLAY", "nothing"},
                                                            {L"", "nothing"}};
    for (const auto& [name, expected] : cases) {
        m_machine.calls = {"nothing.DuplicateOutput"};
        EXPECT_EQ(m_capturer->InitCapture(name), expected != "nothing") << expected;
        EXPECT_THAT(m_machine.calls, Contains(expected + ".DuplicateOutput"));
    }
    m_machine.adapters.clear();
    EXPECT_FALSE(init());
}

TEST_F(Duplication, EveryFailingCallOfInitCaptureMakesItFailAndIsGotOver) {
    // clang-format off
    const char* const calls[] = {
        "CreateDXGIFactory2", "factory.EnumAdapters1", "adapter1.EnumOutputs", "output11.GetDesc",
        "D3D11CreateDevice", "device11.QueryInterface", "context11.QueryInterface",
        "output11.QueryInterface", "output11.DuplicateOutput", "D3D12CreateDevice",
        "device12.CreateCommandQueue", "device12.CreateCommandAllocator",
        "device12.CreateCommandList", "device11.CreateFence", "CreateEventW",
        "device12.CreateFence"};
    // clang-format on
    m_machine.lastError = ERROR_NOT_ENOUGH_MEMORY;
    for (const char* const call : calls) {
        for (const HRESULT result : {E_FAIL, E_ACCESSDENIED, E_NOINTERFACE, E_NOTIMPL,
                                     DXGI_ERROR_UNSUPPORTED, DXGI_ERROR_NOT_CURRENTLY_AVAILABLE}) {
            m_machine.failing[call] = result;
            EXPECT_FALSE(init()) << call;
            EXPECT_FALSE(read()) << call;
            m_machine.failing.clear();
        }
        EXPECT_TRUE(init()) << call;
        EXPECT_TRUE(read()) << call;
    }
}

TEST_F(Duplication, NamesTheReasonWhyItCannotBeHad) {
    const struct {
        const char* call;
        HRESULT result;
        const char* reason;
    } cases[] = {
        {"output11.DuplicateOutput", DXGI_ERROR_UNSUPPORTED, "Settings > System > Display"},
        {"output11.DuplicateOutput", DXGI_ERROR_NOT_CURRENTLY_AVAILABLE, "too many programs"},
        {"output11.DuplicateOutput", E_NOTIMPL, "no desktop duplication"},
        {"device11.QueryInterface", E_NOINTERFACE, "too old"},
        {"D3D12CreateDevice", E_FAIL, "D3D12CreateDevice failed with error 0x80004005"},
    };
    for (const auto& one : cases) {
        m_machine.failing = {{one.call, one.result}};
        EXPECT_FALSE(init());
        EXPECT_THAT(m_capturer->Failure().reason, HasSubstr(one.reason));
        EXPECT_TRUE(m_capturer->Failure().needsInit);
    }
}

TEST_F(Duplication, AnEventThatIsMissingWithoutAnErrorIsAccepted) {
    m_machine.failing["CreateEventW"] = E_FAIL;
    EXPECT_TRUE(init());
}

TEST_F(Duplication, DeliversFramesAndKeepsItsTextureAndBuffer) {
    for (const bool slow : {true, false}) {
        m_machine.slow = slow;
        ASSERT_TRUE(init());
        for (int frame = 0; frame < 3; ++frame) {
            m_machine.present({});
            const Calls calls = callsOf([&] { EXPECT_TRUE(read()); });
            EXPECT_EQ(m_image, desktop(0, 0, 20, 16));
            EXPECT_EQ(std::count(calls.begin(), calls.end(), "WaitForSingleObject"), slow ? 2 : 0);
            EXPECT_EQ(std::count(calls.begin(), calls.end(), "device11.CreateTexture2D"),
                      frame == 0 ? 1 : 0);
            EXPECT_EQ(std::count(calls.begin(), calls.end(), "readback.Map"), frame == 0 ? 1 : 0);
            EXPECT_THAT(calls, Contains("duplication.ReleaseFrame"));
        }
    }
}

TEST_F(Duplication, NoNewFrameCostsOneMillisecondAndALostDesktopIsDuplicatedAgain) {
    const tests::LogCapture log;
    ASSERT_TRUE(init());
    EXPECT_TRUE(read());
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(read()); }),
                ElementsAre("duplication.AcquireNextFrame", "Sleep"));
    m_machine.movePointer();
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(read()) << "only the pointer has moved"; }),
                ElementsAre("duplication.AcquireNextFrame", "duplication.ReleaseFrame", "Sleep",
                            "~resource"));

    m_machine.switchDesktop();
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(read()); }),
                ElementsAre("duplication.AcquireNextFrame", "duplication.Release",
                            "duplication.Release", "~duplication"));
    EXPECT_EQ(log.count("[debug] error code is -2005270490 "), 1) << log.text();
    m_machine.locked = true;
    EXPECT_FALSE(read());
    EXPECT_FALSE(read());
    EXPECT_THAT(m_capturer->Failure().reason, HasSubstr("secure desktop"));
    EXPECT_FALSE(m_capturer->Failure().needsInit);
    m_machine.locked = false;
    EXPECT_TRUE(read());
    EXPECT_EQ(m_image, desktop(0, 0, 20, 16));
    EXPECT_EQ(m_capturer->Failure().reason, "");
    EXPECT_EQ(log.count("cannot be captured: the desktop was switched"), 1) << log.text();
    EXPECT_EQ(log.count("cannot be captured"), 1) << log.text();
    EXPECT_EQ(log.count("DISPLAY2\" is captured again"), 1) << log.text();
}

TEST_F(Duplication, TheFirstFrameIsAWholeImageEvenWithoutAPresentTime) {
    m_machine.timesFirstFrame = false;
    ASSERT_TRUE(init());
    for (const bool isLost : {false, true}) {
        EXPECT_TRUE(read()) << isLost;
        EXPECT_EQ(m_image, desktop(0, 0, 20, 16));
        EXPECT_FALSE(m_capturer->DirtyRows().known);
        m_machine.movePointer();
        EXPECT_FALSE(read()) << "only the pointer has moved";
        // Nothing says what the rectangles after such a frame build on.
        m_machine.present({{0, 3, 20, 4}});
        EXPECT_TRUE(read());
        EXPECT_FALSE(m_capturer->DirtyRows().known);
        m_machine.present({{0, 3, 20, 4}});
        EXPECT_TRUE(read());
        EXPECT_EQ(rows(), (Rows{{3, 1, 0, 20}}));
        m_machine.switchDesktop();
        EXPECT_FALSE(read());
    }
}

TEST_F(Duplication, EveryFailingCallOfAReadMakesItFailAndIsGotOver) {
    // clang-format off
    const std::string calls[] = {
        "resource.QueryInterface", "device11.CreateTexture2D", "texture11.QueryInterface",
        "shareable.GetSharedHandle", "device12.OpenSharedHandle", "context11.Signal",
        "fence11.SetEventOnCompletion", "device12.CreateCommittedResource", "readback.Map",
        "list.Close", "queue.Signal", "fence12.SetEventOnCompletion", "list.Reset"};
    // clang-format on
    for (const std::string& call : calls) {
        for (const HRESULT result : {E_FAIL, E_OUTOFMEMORY, DXGI_ERROR_DEVICE_REMOVED}) {
            ASSERT_TRUE(init());
            m_machine.failing[call] = result;
            const Calls made = callsOf([&] { EXPECT_FALSE(read()) << call; });
            EXPECT_EQ(std::count(made.begin(), made.end(), "duplication.ReleaseFrame"),
                      call == "resource.QueryInterface" ? 1 : 0)
                << call;
            EXPECT_THAT(m_image, Each(0U)) << call;
            m_machine.failing.clear();
            m_machine.present({});
            // A frame that is still acquired costs two reads.
            EXPECT_TRUE(readsWithin(3)) << call;
            EXPECT_EQ(m_image, desktop(0, 0, 20, 16)) << call;
        }
    }
}

TEST_F(Duplication, CutsTheRectangleAtTheEdgeOfTheOutput) {
    ASSERT_TRUE(init());
    ASSERT_TRUE(read(15, 12, 10, 10));
    auto expected = desktop(15, 12, 5, 4);
    expected.resize(m_image.size(), 0);
    EXPECT_EQ(m_image, expected);
}

TEST_F(Duplication, FollowsAChangeOfModeWhenInitialisedAgain) {
    const struct {
        RECT area;
        DXGI_MODE_ROTATION rotation;
    } modes[] = {{{-40, 10, -28, 19}, DXGI_MODE_ROTATION_IDENTITY},
                 {{-40, 10, 0, 40}, DXGI_MODE_ROTATION_IDENTITY},
                 {{-40, 10, -10, 50}, DXGI_MODE_ROTATION_ROTATE90},  // The texture is the same.
                 {{-40, 10, -10, 50}, DXGI_MODE_ROTATION_ROTATE270},
                 {{-40, 10, 0, 40}, DXGI_MODE_ROTATION_ROTATE180}};
    ASSERT_TRUE(init());
    ASSERT_TRUE(read());
    for (const auto& mode : modes) {
        m_machine.setMode(1, mode.area, mode.rotation);
        const int width = mode.area.right - mode.area.left;
        const int height = mode.area.bottom - mode.area.top;
        m_wanted = {0, 0, width, height};
        EXPECT_TRUE(readsWithin(3));
        EXPECT_EQ(m_image, desktop(0, 0, width, height)) << width;
        m_machine.present({});
        ASSERT_TRUE(read(3, 2, 8, 7));
        EXPECT_EQ(m_image, desktop(3, 2, 8, 7)) << width;
    }
}

TEST_F(Duplication, ReportsTheRowsThatDirtyAndMoveRectanglesTouch) {
    const struct {
        DXGI_MODE_ROTATION rotation;
        Rows rows;
    } cases[] = {{DXGI_MODE_ROTATION_IDENTITY, {{1, 3, 7, 10}, {9, 4, 2, 6}}},
                 {DXGI_MODE_ROTATION_ROTATE90, {{2, 4, 3, 7}, {7, 3, 12, 15}}},
                 {DXGI_MODE_ROTATION_ROTATE180, {{3, 4, 10, 14}, {12, 3, 6, 9}}},
                 {DXGI_MODE_ROTATION_ROTATE270, {{6, 3, 1, 4}, {10, 4, 9, 13}}}};
    for (const auto& one : cases) {
        m_machine.setMode(1, {-40, 10, -40 + 16, 10 + 16}, one.rotation);
        ASSERT_TRUE(init());
        ASSERT_TRUE(read(0, 0, 16, 16));
        EXPECT_FALSE(m_capturer->DirtyRows().known) << "the first frame";
        // Overlapping and touching rectangles; the moved one's old place is not dirty.
        m_machine.present({{2, 9, 5, 12}, {3, 10, 6, 13}}, {{{0, 0}, {7, 1, 10, 4}}});
        ASSERT_TRUE(read(0, 0, 16, 16));
        EXPECT_EQ(rows(), one.rows) << one.rotation;

        // A region sees its own rows only.
        ASSERT_TRUE((m_machine.present({}), read(0, 4, 16, 8)));
        EXPECT_FALSE(m_capturer->DirtyRows().known) << "another rectangle";
        m_machine.present({{0, 0, 16, 16}});
        ASSERT_TRUE(read(0, 4, 16, 8));
        EXPECT_EQ(rows(), (Rows{{0, 8, 0, 16}}));
    }
}

TEST_F(Duplication, RowsAreUnknownAfterLostMetadataOrALostFrame) {
    ASSERT_TRUE(init());
    ASSERT_TRUE(read());
    for (const char* const call : {"GetFrameDirtyRects", "GetFrameMoveRects"}) {
        m_machine.failing[std::string("duplication.") + call] = DXGI_ERROR_MORE_DATA;
        m_machine.present({{0, 0, 5, 5}}, {{{0, 0}, {7, 1, 10, 4}}});
        ASSERT_TRUE(read());
        EXPECT_FALSE(m_capturer->DirtyRows().known) << call;
        m_machine.failing.clear();
        m_machine.present({{0, 0, 5, 5}});
        ASSERT_TRUE(read());
        EXPECT_EQ(rows(), (Rows{{0, 5, 0, 5}}));
    }
    m_machine.failing["context11.Signal"] = E_FAIL;
    m_machine.present({{0, 7, 5, 9}});
    EXPECT_FALSE(read());
    m_machine.failing.clear();
    EXPECT_TRUE(readsWithin(3));
    EXPECT_FALSE(m_capturer->DirtyRows().known);
    // Rows that the output's edge cuts short are not where the frame's rows are.
    for (int i = 0; i < 2; ++i) {
        m_machine.present({{0, 0, 5, 5}});
        ASSERT_TRUE(read(10, 0, 20, 10));
        EXPECT_FALSE(m_capturer->DirtyRows().known);
    }
}

/// The pointer's upper left pixel is where it is reported; its hot spot does not count. Positions
/// are upright, as the desktop is.
TEST_F(Duplication, DrawsThePointerWhenAskedTo) {
    constexpr int kWidth = 3;
    constexpr std::uint32_t kPointer = 0xFF0A141E;
    const capture::Cut area = {5, 4, 12, 10};
    const auto reads = [&] { return readAgain(area.x, area.y, area.width, area.height); };
    const auto withPointer = [&](int x, int y) {
        auto pixels = desktop(area.x, area.y, area.width, area.height);
        for (int i = 0; i < area.width * area.height; ++i) {
            const int column = area.x + i % area.width - x;
            const int row = area.y + i / area.width - y;
            if (column >= 0 && column < kWidth && row >= 0 && row < 2) {
                pixels[static_cast<std::size_t>(i)] = kPointer;
            }
        }
        return pixels;
    };
    std::vector<std::uint8_t> shape(kWidth * 2 * 4);
    for (std::size_t i = 0; i < shape.size(); ++i) {
        shape[i] = static_cast<std::uint8_t>(kPointer >> i % 4 * 8);
    }
    m_capturer->DrawPointer(true);
    for (const auto rotation : {DXGI_MODE_ROTATION_IDENTITY, DXGI_MODE_ROTATION_ROTATE90}) {
        m_machine.adapters[1].outputs[1].rotation = rotation;
        ASSERT_TRUE(init());
        m_image.assign(static_cast<std::size_t>(area.width) * area.height, 0);
        m_machine.setPointer({DXGI_OUTDUPL_POINTER_SHAPE_TYPE_COLOR, kWidth, 2, 12, {1, 1}}, shape);
        m_machine.movePointer({7, 6});
        ASSERT_TRUE(reads());
        EXPECT_EQ(m_image, withPointer(7, 6));

        // On a still image a move costs the old place and the new one.
        m_machine.calls.clear();
        m_machine.movePointer({16, 13});
        EXPECT_TRUE(reads());
        EXPECT_THAT(m_machine.calls, Not(Contains("context11.CopyResource")));
        EXPECT_EQ(m_image, withPointer(16, 13));
        EXPECT_EQ(rows(), (Rows{{2, 2, 2, 5}, {9, 1, 11, 12}}));
        m_machine.movePointer({16, 13});
        EXPECT_FALSE(reads()) << "as before";

        m_machine.movePointer({4, 3});
        m_machine.present({{9, 9, 10, 10}});
        ASSERT_TRUE(reads());
        EXPECT_EQ(m_image, withPointer(4, 3));
        m_machine.movePointer({0, 0}, false);
        ASSERT_TRUE(reads());
        EXPECT_EQ(m_image, desktop(area.x, area.y, area.width, area.height));
    }
}

TEST_F(Duplication, ARemovedDeviceAndAnUnpluggedScreenComeBack) {
    ASSERT_TRUE(init());
    ASSERT_TRUE(read());
    m_machine.removeDevice();
    EXPECT_TRUE(readsWithin(3));
    EXPECT_EQ(m_image, desktop(0, 0, 20, 16));

    const auto before = m_machine.adapters;
    auto without = before;
    without.back().outputs.pop_back();
    m_machine.rearrange(without);
    EXPECT_FALSE(readsWithin(5));
    EXPECT_TRUE(m_capturer->Failure().needsInit);
    EXPECT_THAT(m_capturer->Failure().reason, HasSubstr("no such output"));
    m_machine.rearrange(before);
    EXPECT_TRUE(readsWithin(3));
    EXPECT_EQ(m_image, desktop(0, 0, 20, 16));
}

TEST_F(Duplication, ADeviceThatIsRemovedDuringACopyGivesNoFrame) {
    for (const int wait : {1, 2, 3, 4}) {  // Two copies each of the first and the second frame.
        ASSERT_TRUE(init());
        m_machine.waitsUntilRemoval = wait;
        EXPECT_EQ(read(), wait > 2);
        m_machine.present({});
        EXPECT_FALSE(wait > 2 && read()) << wait;
        EXPECT_THAT(m_image, Each(0U)) << wait;
        EXPECT_TRUE(m_capturer->Failure().needsInit);
        EXPECT_TRUE(readsWithin(2));
        EXPECT_EQ(m_image, desktop(0, 0, 20, 16));
    }
}

TEST_F(Duplication, OpensOnADesktopThatIsAwayAndFindsAMonitorThatNobodyReported) {
    const tests::LogCapture log;
    m_machine.locked = true;
    EXPECT_FALSE(init());
    EXPECT_TRUE(m_capturer->Failure().passes);
    EXPECT_FALSE(read());
    m_machine.locked = false;
    EXPECT_TRUE(read());

    m_machine.noticesOutputs = false;
    auto more = m_machine.adapters;
    more.back().outputs.push_back({L"\\\\.\\DISPLAY3", {0, 0, 20, 16}});
    m_machine.rearrange(more);
    EXPECT_TRUE(m_capturer->InitCapture(L"\\\\.\\DISPLAY3"));
    EXPECT_TRUE(read());
    EXPECT_FALSE(m_capturer->InitCapture(L"\\\\.\\DISPLAY4"));
    EXPECT_EQ(log.count("cannot be captured"), 2) << "once for each output" << log.text();
}

TEST_F(Duplication, FramesOfAnotherFormatAreReleasedAndReported) {
    m_machine.format = DXGI_FORMAT_R16G16B16A16_FLOAT;
    ASSERT_TRUE(init());
    for (int i = 0; i < 2; ++i) {
        m_machine.present({});
        EXPECT_FALSE(read());
        EXPECT_THAT(m_capturer->Failure().reason, HasSubstr("HDR"));
    }
    m_machine.format = DXGI_FORMAT_B8G8R8A8_UNORM;
    m_machine.present({});
    EXPECT_TRUE(read());
    EXPECT_EQ(m_image, desktop(0, 0, 20, 16));
}

TEST_F(Duplication, ReleasesEverythingButTheFactoryInOrder) {
    ASSERT_TRUE(init());
    ASSERT_TRUE(read());
    m_machine.calls.clear();
    m_capturer->ReleaseAll();
    EXPECT_THAT(m_machine.calls,
                ElementsAre("~queue", "~fence12", "~list", "~allocator", "~context11",
                            "duplication.Release", "~duplication", "~texture11", "~texture12",
                            "~fence11", "CloseHandle", "readback.Unmap", "~readback", "~device11",
                            "~device12", "CloseHandle", "~output11", "~adapter1"));
    EXPECT_THAT(m_machine.held(), ElementsAre("factory"));
    m_machine.calls.clear();
    EXPECT_FALSE(read());
    EXPECT_TRUE(init());
    EXPECT_THAT(m_machine.calls, Not(Contains("CreateDXGIFactory2")));
    EXPECT_TRUE(read());
}

}  // namespace
