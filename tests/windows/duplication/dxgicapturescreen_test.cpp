// The duplication capturer on a machine of fake graphics objects.

#include "capture/dxgi/dxgicapturescreen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

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
        m_machine.frameWidth = 20;
        m_machine.frameHeight = 16;
    }

    ~Duplication() override {
        m_capturer.reset();
        EXPECT_THAT(m_machine.held(), IsEmpty());
        EXPECT_THAT(m_machine.mistakes, IsEmpty());
    }

    bool init() { return m_capturer->InitCapture(kSecond); }

    bool read() { return read(0, 0, m_machine.frameWidth, m_machine.frameHeight); }
    bool read(int x, int y, int width, int height) {
        m_image.assign(static_cast<std::size_t>(width) * height, 0);
        return m_capturer->ReadScreenData(x, y, width, height,
                                          reinterpret_cast<unsigned char*>(m_image.data()));
    }

    /// The calls that `action` makes.
    template <typename Action>
    Calls callsOf(Action action) {
        m_machine.calls.clear();
        action();
        return m_machine.calls;
    }

    FakeGraphics m_machine;
    std::unique_ptr<DXGICaptureScreen> m_capturer = std::make_unique<DXGICaptureScreen>(m_machine);
    std::vector<std::uint32_t> m_image;
};

TEST_F(Duplication, FindsOutputsByExactNameFirstAdapterFirst) {
    const struct {
        const wchar_t* name;
        std::string expected;  ///< The output that is duplicated; empty: none.
    } cases[] = {
        {nullptr, "output10"},
        {L"\\\\.\\DISPLAY1", "output10"},
        {kSecond, "output11"},
        {L"\\\\.\\display2", ""},
        {L"\\\\.\\DISPLAY3", "output20"},
        {L"\\\\.\\DISPLAY", ""},
        {L"", ""},
    };
    m_machine.adapters.push_back(
        {0, {{L"\\\\.\\DISPLAY3", {0, 0, 1, 1}}, {kSecond, {0, 0, 1, 1}}}});
    for (const auto& one : cases) {
        const Calls calls =
            callsOf([&] { EXPECT_EQ(m_capturer->InitCapture(one.name), !one.expected.empty()); });
        if (!one.expected.empty()) {
            EXPECT_THAT(calls, Contains(one.expected + ".DuplicateOutput"));
        }
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
        "device12.CreateCommandQueue", "queue.SetName", "device12.CreateCommandAllocator",
        "device12.CreateCommandList", "list.SetName", "device11.CreateFence", "CreateEventW",
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

TEST_F(Duplication, AnEventThatIsMissingWithoutAnErrorIsAccepted) {
    m_machine.failing["CreateEventW"] = E_FAIL;
    EXPECT_TRUE(init());
}

TEST_F(Duplication, DeliversFramesAndKeepsItsTextureAndBuffer) {
    for (const bool slow : {true, false}) {
        m_machine.slow = slow;
        m_machine.completed = slow ? 0 : 41;
        ASSERT_TRUE(init());
        for (int frame = 0; frame < 3; ++frame) {
            ++m_machine.frameNumber;
            const Calls calls = callsOf([&] { EXPECT_TRUE(read()); });
            EXPECT_EQ(m_image[0], m_machine.pixel(0, 0));
            EXPECT_EQ(m_image[16 * 20 - 1], m_machine.pixel(19, 15));
            EXPECT_EQ(std::count(calls.begin(), calls.end(), "WaitForSingleObject"), slow ? 2 : 0);
            EXPECT_EQ(std::count(calls.begin(), calls.end(), "device11.CreateTexture2D"),
                      frame == 0 ? 1 : 0);
            EXPECT_EQ(std::count(calls.begin(), calls.end(), "readback.Map"), frame == 0 ? 1 : 0);
            EXPECT_THAT(calls, Contains("duplication.ReleaseFrame"));
        }
        EXPECT_FALSE(m_capturer->DirtyRows().known);
    }
}

TEST_F(Duplication, NoNewFrameCostsOneMillisecondAndALostDesktopIsDuplicatedAgain) {
    const tests::LogCapture log;
    ASSERT_TRUE(init());
    m_machine.failing["duplication.AcquireNextFrame"] = DXGI_ERROR_WAIT_TIMEOUT;
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(read()); }),
                ElementsAre("duplication.AcquireNextFrame", "Sleep"));

    m_machine.failing["duplication.AcquireNextFrame"] = DXGI_ERROR_ACCESS_LOST;
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(read()); }),
                ElementsAre("duplication.AcquireNextFrame", "duplication.Release",
                            "duplication.Release", "~duplication"));
    EXPECT_EQ(log.count("[debug] error code is -2005270490 "), 1) << log.text();
    m_machine.failing["output11.DuplicateOutput"] = E_ACCESSDENIED;
    EXPECT_FALSE(read());
    m_machine.failing.clear();
    EXPECT_TRUE(read());
    EXPECT_EQ(m_image[0], m_machine.pixel(0, 0));
}

TEST_F(Duplication, EveryFailingCallOfAReadMakesItFailAndKeepsTheFrame) {
    // A list that did not close needs InitCapture() before the next read.
    const std::string stuck[] = {"list.Close", "queue.Signal", "fence12.SetEventOnCompletion",
                                 "list.Reset"};
    // clang-format off
    const std::string calls[] = {
        "resource.QueryInterface", "device11.CreateTexture2D", "texture11.QueryInterface",
        "shareable.GetSharedHandle", "device12.OpenSharedHandle", "context11.Signal",
        "fence11.SetEventOnCompletion", "device12.CreateCommittedResource", "readback.Map",
        stuck[0], stuck[1], stuck[2], stuck[3]};
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
            if (std::count(std::begin(stuck), std::end(stuck), call) == 0) {
                EXPECT_TRUE(read()) << call;
                EXPECT_EQ(m_image[21], m_machine.pixel(1, 1)) << call;
            }
        }
    }
}

TEST_F(Duplication, CutsTheRectangleAndPacksItsRows) {
    // clang-format off
    const struct {
        int x, y, width, height;
        int firstX, firstY, rowLength, rows;  ///< What arrives.
    } cases[] = {
        {0, 0, 20, 16, 0, 0, 20, 16}, {3, 5, 4, 2, 3, 5, 4, 2}, {15, 12, 10, 10, 15, 12, 5, 4},
        {-6, -3, 10, 8, 0, 0, 4, 5}, {20, 0, 4, 4, 0, 0, 0, 0}, {5, 16, 4, 4, 5, 16, 0, 0},
        {-10, 2, 10, 4, 0, 2, 0, 0}, {7, -1, 5, 1, 7, 0, 0, 0},
        // Wholly outside: longer rows, as many as the buffer holds.
        {25, 0, 10, 10, 0, 0, 20, 5},
    };
    // clang-format on
    ASSERT_TRUE(init());
    for (const auto& one : cases) {
        ++m_machine.frameNumber;
        ASSERT_TRUE(read(one.x, one.y, one.width, one.height));
        std::vector<std::uint32_t> expected;
        for (int i = 0; i < one.rows * one.rowLength; ++i) {
            expected.push_back(
                m_machine.pixel(one.firstX + i % one.rowLength, one.firstY + i / one.rowLength));
        }
        expected.resize(m_image.size(), 0);
        EXPECT_EQ(m_image, expected) << one.x << "," << one.y;
    }
}

TEST_F(Duplication, KeepsTheFirstFramesSizeUntilItIsInitialisedAgain) {
    ASSERT_TRUE(init());
    ASSERT_TRUE(read());
    m_machine.frameWidth = 12;
    m_machine.frameHeight = 9;
    m_machine.frameNumber = 3;
    const Calls calls = callsOf([&] { EXPECT_TRUE(read(0, 0, 20, 16)); });
    EXPECT_THAT(calls, Not(Contains(HasSubstr("Create"))));
    EXPECT_EQ(m_image[0], m_machine.pixel(0, 0));
    EXPECT_EQ(m_image[15 * 20] >> 16 & 0xFF, 0U) << "of the first frame still";

    // A frame smaller than the output: what it lacks is left alone.
    ASSERT_TRUE(init());
    EXPECT_TRUE(read(0, 0, 12, 16));
    EXPECT_EQ(m_image[8 * 12], m_machine.pixel(0, 8));
    EXPECT_EQ(m_image[9 * 12], 0U);
}

TEST_F(Duplication, ReleasesEverythingButTheFactory) {
    ASSERT_TRUE(init());
    ASSERT_TRUE(read());
    const Calls calls = callsOf([&] { m_capturer->ReleaseAll(); });
    EXPECT_THAT(calls, Contains("readback.Unmap"));
    EXPECT_THAT(m_machine.held(), ElementsAre("factory"));
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(read()); }), IsEmpty());
    EXPECT_THAT(callsOf([&] { EXPECT_TRUE(init()); }), Not(Contains("CreateDXGIFactory2")));
    EXPECT_TRUE(read());
}

}  // namespace
