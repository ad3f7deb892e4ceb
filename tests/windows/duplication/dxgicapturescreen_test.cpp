// The duplication capturer on a machine of fake graphics objects.

#include "capture/dxgi/dxgicapturescreen.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "support/logcapture.h"
#include "windows/fakeoperations.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using Calls = std::vector<std::string>;

constexpr wchar_t kSecond[] = L"\\\\.\\DISPLAY2";

class Duplication : public ::testing::Test {
protected:
    Duplication() : m_operations(m_machine), m_capturer(new DXGICaptureScreen(m_operations)) {
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
        m_picture.assign(static_cast<std::size_t>(width) * height, 0);
        return m_capturer->ReadScreenData(x, y, width, height,
                                          reinterpret_cast<unsigned char*>(m_picture.data()));
    }

    /// The calls that `action` makes.
    template <typename Action>
    Calls callsOf(Action action) {
        m_machine.calls.clear();
        action();
        return m_machine.calls;
    }

    FakeGraphics m_machine;
    FakeOperations m_operations;
    std::unique_ptr<DXGICaptureScreen> m_capturer;
    std::vector<std::uint32_t> m_picture;
};

TEST_F(Duplication, OpensTheNamedOutputOfAHardwareAdapterStepByStep) {
    EXPECT_THAT(callsOf([&] { EXPECT_TRUE(init()); }),
                ElementsAreArray(Calls{
                    "CreateDXGIFactory2(0)",
                    "factory.EnumAdapters1(0)",
                    "adapter0.GetDesc1()",
                    "~adapter0",
                    "factory.EnumAdapters1(1)",
                    "adapter1.GetDesc1()",
                    "adapter1.EnumOutputs(0)",
                    "output10.GetDesc()",
                    "~output10",
                    "adapter1.EnumOutputs(1)",
                    "output11.GetDesc()",
                    "D3D11CreateDevice(adapter1, type 0, flags 0, levels 0)",
                    "device11.QueryInterface(ID3D11Device5)",
                    "context11.QueryInterface(ID3D11DeviceContext4)",
                    "output11.GetDesc()",
                    "output11.QueryInterface(IDXGIOutput1)",
                    "output.DuplicateOutput(output11, device11)",
                    "D3D12CreateDevice(adapter1, level 0xb000)",
                    "device12.CreateCommandQueue(type 0 priority 0 flags 0 node 0)",
                    "queue.SetName(TextureCommandQueue)",
                    "device12.CreateCommandAllocator(type 0)",
                    "device12.CreateCommandList(node 0 type 0, allocator, null)",
                    "list.SetName(TextureCommandList)",
                    "device11.CreateFence(0, flags 1)",  // Direct3D 11's word for none.
                    "CreateEventW(auto, not set)",
                    "device12.CreateFence(0, flags 0)",
                    "CreateEventW(auto, not set)",
                }));
}

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
            EXPECT_THAT(calls,
                        IsSupersetOf({"output.DuplicateOutput(" + one.expected + ", device11)"}));
        }
    }
    m_machine.adapters.clear();
    EXPECT_FALSE(init());
}

TEST_F(Duplication, EveryFailingCallOfInitCaptureMakesItFailAndIsGotOver) {
    const char* const calls[] = {"CreateDXGIFactory2",
                                 "factory.EnumAdapters1",
                                 "adapter1.EnumOutputs",
                                 "output11.GetDesc",
                                 "D3D11CreateDevice",
                                 "device11.QueryInterface",
                                 "context11.QueryInterface",
                                 "output11.QueryInterface",
                                 "output.DuplicateOutput",
                                 "D3D12CreateDevice",
                                 "device12.CreateCommandQueue",
                                 "queue.SetName",
                                 "device12.CreateCommandAllocator",
                                 "device12.CreateCommandList",
                                 "list.SetName",
                                 "device11.CreateFence",
                                 "CreateEventW",
                                 "device12.CreateFence"};
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

TEST_F(Duplication, RelaysTheFirstFrameAndKeepsWhatItMade) {
    ASSERT_TRUE(init());
    EXPECT_THAT(
        callsOf([&] { EXPECT_TRUE(read()); }),
        ElementsAreArray(Calls{
            "duplication.AcquireNextFrame(0)",
            "resource.QueryInterface(ID3D11Texture2D)",
            "~resource",
            "device11.CreateTexture2D(20x16 format 87 mips 1 array 1 samples 1/0 bind 0x28 misc "
            "0x2)",
            "texture11.QueryInterface(IDXGIResource1)",
            "shareable.GetSharedHandle()",
            "device12.OpenSharedHandle(0x5a5a)",
            "~shareable",
            "context11.CopyResource(texture11, frame)",
            "context11.Flush()",
            "context11.Signal(fence11, 1)",
            "fence11.SetEventOnCompletion(1, event1)",
            "WaitForSingleObject(event1)",
            "texture12.GetDesc()",
            "device12.GetCopyableFootprints(20x16 from 0 count 1 offset 0)",
            "device12.CreateCommittedResource(heap 3 flags 0, dimension 1 3920x1 depth 1 mips 1 "
            "format 0 samples 1 layout 1 flags 0, state 0x400)",
            "readback.Map(0, all)",
            "list.CopyTextureRegion(readback pitch 256 at 0 0 0, texture12 0)",
            "list.Close()",
            "queue.ExecuteCommandLists(1, list)",
            "queue.Signal(fence12, 1)",
            "fence12.SetEventOnCompletion(1, event2)",
            "WaitForSingleObject(event2)",
            "allocator.Reset()",
            "list.Reset(allocator, null)",
            "duplication.ReleaseFrame()",
            "~frame",
        }));
    EXPECT_EQ(m_picture[16 * 20 - 1], m_machine.pixel(19, 15));

    m_machine.frameNumber = 7;
    EXPECT_THAT(
        callsOf([&] { EXPECT_TRUE(read()); }),
        ElementsAre("duplication.AcquireNextFrame(0)", "resource.QueryInterface(ID3D11Texture2D)",
                    "~resource", "context11.CopyResource(texture11, frame)", "context11.Flush()",
                    "context11.Signal(fence11, 2)", "fence11.SetEventOnCompletion(2, event1)",
                    "WaitForSingleObject(event1)",
                    "list.CopyTextureRegion(readback pitch 256 at 0 0 0, texture12 0)",
                    "list.Close()", "queue.ExecuteCommandLists(1, list)",
                    "queue.Signal(fence12, 2)", "fence12.SetEventOnCompletion(2, event2)",
                    "WaitForSingleObject(event2)", "allocator.Reset()",
                    "list.Reset(allocator, null)", "duplication.ReleaseFrame()", "~frame"));
    EXPECT_EQ(m_picture[0], m_machine.pixel(0, 0));
    EXPECT_FALSE(m_capturer->ChangedRows().known);
}

TEST_F(Duplication, SignalsTheCompletedValuePlusOneAndWaitsOnlyForWhatIsNotThere) {
    m_machine.completed = 41;
    m_machine.slow = false;
    ASSERT_TRUE(init());
    const Calls calls = callsOf([&] { EXPECT_TRUE(read()); });
    EXPECT_THAT(calls,
                IsSupersetOf({"context11.Signal(fence11, 42)", "queue.Signal(fence12, 42)"}));
    EXPECT_THAT(calls, ::testing::Not(::testing::Contains(HasSubstr("Wait"))));
    EXPECT_EQ(m_picture[0], m_machine.pixel(0, 0));
}

TEST_F(Duplication, NoNewPictureCostsOneMillisecond) {
    ASSERT_TRUE(init());
    m_machine.failing["duplication.AcquireNextFrame"] = DXGI_ERROR_WAIT_TIMEOUT;
    const Calls once = {"duplication.AcquireNextFrame(0)", "Sleep(1)"};
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(read()); }), ElementsAreArray(once));
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(read()); }), ElementsAreArray(once));
}

TEST_F(Duplication, ALostDesktopIsLoggedReleasedTwiceAndDuplicatedAgain) {
    const tests::LogCapture log;
    ASSERT_TRUE(init());
    m_machine.failing["duplication.AcquireNextFrame"] = DXGI_ERROR_ACCESS_LOST;
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(read()); }),
                ElementsAre("duplication.AcquireNextFrame(0)", "duplication.Release()",
                            "duplication.Release()", "~duplication"));
    EXPECT_THAT(log.text(), HasSubstr("[debug] error code is -2005270490 \n //dxgicapturescreen:"
                                      "ReadScreenData()#"));

    m_machine.failing["output.DuplicateOutput"] = E_ACCESSDENIED;
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(read()); }),
                ElementsAre("output.DuplicateOutput(output11, device11)"));
    m_machine.failing.clear();
    EXPECT_TRUE(read());
    EXPECT_EQ(m_picture[0], m_machine.pixel(0, 0));
}

TEST_F(Duplication, EveryFailingCallOfAReadMakesItFailAndKeepsTheFrame) {
    const struct {
        const char* call;
        bool frameReleased;
        bool works;  ///< The read after it; a list that did not close needs InitCapture().
    } cases[] = {
        {"resource.QueryInterface", true, true},
        {"device11.CreateTexture2D", false, true},
        {"texture11.QueryInterface", false, true},
        {"shareable.GetSharedHandle", false, true},
        {"device12.OpenSharedHandle", false, true},
        {"context11.Signal", false, true},
        {"fence11.SetEventOnCompletion", false, true},
        {"device12.CreateCommittedResource", false, true},
        {"readback.Map", false, true},
        {"list.Close", false, false},
        {"queue.Signal", false, false},
        {"fence12.SetEventOnCompletion", false, false},
        {"list.Reset", false, false},
    };
    for (const auto& one : cases) {
        for (const HRESULT result : {E_FAIL, E_OUTOFMEMORY, DXGI_ERROR_DEVICE_REMOVED}) {
            ASSERT_TRUE(init());
            m_machine.failing[one.call] = result;
            const Calls calls = callsOf([&] { EXPECT_FALSE(read()) << one.call; });
            const auto released =
                std::count(calls.begin(), calls.end(), "duplication.ReleaseFrame()");
            EXPECT_EQ(released, one.frameReleased ? 1 : 0) << one.call;
            EXPECT_THAT(m_picture, ::testing::Each(0U)) << one.call;
            m_machine.failing.clear();
            if (one.works) {
                EXPECT_TRUE(read()) << one.call;
                EXPECT_EQ(m_picture[21], m_machine.pixel(1, 1)) << one.call;
            }
        }
    }
}

TEST_F(Duplication, CutsTheRectangleAndPacksItsRows) {
    const struct {
        int x, y, width, height;
        int firstX, firstY, rowLength, rows;  ///< What arrives.
    } cases[] = {
        {0, 0, 20, 16, 0, 0, 20, 16},
        {3, 5, 4, 2, 3, 5, 4, 2},
        {15, 12, 10, 10, 15, 12, 5, 4},
        {-6, -3, 10, 8, 0, 0, 4, 5},
        {20, 0, 4, 4, 0, 0, 0, 0},
        {5, 16, 4, 4, 5, 16, 0, 0},
        {-10, 2, 10, 4, 0, 2, 0, 0},
        {7, -1, 5, 1, 7, 0, 0, 0},
        // Wholly outside: longer rows, as many as the buffer holds.
        {25, 0, 10, 10, 0, 0, 20, 5},
    };
    ASSERT_TRUE(init());
    for (const auto& one : cases) {
        ++m_machine.frameNumber;
        ASSERT_TRUE(read(one.x, one.y, one.width, one.height));
        std::vector<std::uint32_t> expected;
        for (int y = 0; y < one.rows; ++y) {
            for (int x = 0; x < one.rowLength; ++x) {
                expected.push_back(m_machine.pixel(one.firstX + x, one.firstY + y));
            }
        }
        expected.resize(m_picture.size(), 0);
        EXPECT_EQ(m_picture, expected) << one.x << "," << one.y;
    }
}

TEST_F(Duplication, KeepsTheFirstFramesSizeUntilItIsInitialisedAgain) {
    ASSERT_TRUE(init());
    ASSERT_TRUE(read());
    m_machine.frameWidth = 12;
    m_machine.frameHeight = 9;
    m_machine.frameNumber = 3;
    const Calls calls = callsOf([&] { EXPECT_TRUE(read(0, 0, 20, 16)); });
    EXPECT_THAT(calls, ::testing::Not(::testing::Contains(HasSubstr("Create"))));
    EXPECT_EQ(m_picture[0], m_machine.pixel(0, 0));
    EXPECT_EQ(m_picture[15 * 20] >> 16 & 0xFF, 0U) << "of the first frame still";

    // A picture smaller than the output: what it lacks is left alone.
    ASSERT_TRUE(init());
    EXPECT_TRUE(read(0, 0, 12, 16));
    EXPECT_EQ(m_picture[8 * 12], m_machine.pixel(0, 8));
    EXPECT_EQ(m_picture[9 * 12], 0U);
}

TEST_F(Duplication, ReleasesInOrderAndKeepsTheFactory) {
    ASSERT_TRUE(init());
    ASSERT_TRUE(read());
    EXPECT_THAT(
        callsOf([&] { m_capturer->ReleaseAll(); }),
        ElementsAre("~queue", "~fence12", "~list", "~allocator", "~context11",
                    "duplication.Release()", "~duplication", "~texture11", "~texture12", "~fence11",
                    "CloseHandle(event1)", "readback.Unmap()", "~readback", "~device11",
                    "~device12", "CloseHandle(event2)", "~output11", "~adapter1"));
    EXPECT_THAT(m_machine.held(), ElementsAre("factory"));
    EXPECT_THAT(callsOf([&] { EXPECT_FALSE(read()); }), IsEmpty());
    EXPECT_THAT(callsOf([&] { EXPECT_TRUE(init()); }),
                ::testing::Not(::testing::Contains(HasSubstr("CreateDXGIFactory2"))));
    EXPECT_TRUE(read());
}

}  // namespace
