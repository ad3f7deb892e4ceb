#pragma once
// Desktop duplication, relayed through two APIs: Direct3D 11 copies the duplicated frame into a
// shared texture, Direct3D 12 copies that into a buffer that the CPU can read, and the requested
// rectangle is copied from there, upright and opaque, to the caller.

#include <wrl/client.h>

#include <cstdint>
#include <optional>
#include <string>

#include "capture/cutrectangle.h"
#include "capture/dxgi/dxgioperations.h"
#include "capture/dxgi/framemetadata.h"
#include "capture/dxgi/framepointer.h"
#include "capture/rotation.h"
#include "capture/screencapturer.h"

class DXGICaptureScreen final : public ScreenCapturer {
public:
    /// `operations` outlives the capturer.
    explicit DXGICaptureScreen(DxgiOperations& operations = DxgiOperations::real());
    ~DXGICaptureScreen() override;
    DXGICaptureScreen(const DXGICaptureScreen&) = delete;
    DXGICaptureScreen& operator=(const DXGICaptureScreen&) = delete;

    void DrawPointer(bool draw) override { m_drawsPointer = draw; }

    /// While the desktop is away (locked, or its session disconnected) this fails, and a later read
    /// goes on by itself: Failure() passes then.
    bool InitCapture(const wchar_t* deviceName) override;

    /// Waits for the two GPU copies as long as the device is there, and not at all for a new frame.
    /// The first frame of a duplication is always a new one. A move of the pointer is one only
    /// where the pointer is drawn. After an error, a lost desktop included, the duplication is
    /// dropped; the next call makes a new one. The first frame's size and rotation are kept: when
    /// they change, when the device is removed, or when the output is gone, InitCapture() has to be
    /// called again. The first failure and the end of failing are logged.
    bool ReadScreenData(int x, int y, int width, int height, unsigned char* dest) override;

    /// The factory stays.
    void ReleaseAll() override;

    [[nodiscard]] const CaptureFailure& Failure() const override { return m_failure; }

    [[nodiscard]] const support::DirtyRows& DirtyRows() const override { return m_dirtyRows; }

private:
    template <typename T>
    using ComPtr = Microsoft::WRL::ComPtr<T>;

    // The steps of InitCapture().
    struct FoundOutput {
        ComPtr<IDXGIAdapter1> adapter;
        ComPtr<IDXGIOutput> output;  ///< Null: no hardware adapter has such an output.
    };
    [[nodiscard]] bool createFactory();
    [[nodiscard]] FoundOutput findOutput(const wchar_t* deviceName);
    [[nodiscard]] bool createD3D11Device(const ComPtr<IDXGIAdapter1>& adapter);
    [[nodiscard]] bool openOutput(const ComPtr<IDXGIOutput>& output);
    [[nodiscard]] bool createD3D12Device();
    [[nodiscard]] bool createCommandList();
    [[nodiscard]] bool createFences();
    [[nodiscard]] bool createEvent(HANDLE& event);
    void closeEvent(HANDLE& event);

    // The steps of ReadScreenData().
    [[nodiscard]] bool createDuplication();
    void dropDuplication();
    [[nodiscard]] ComPtr<ID3D11Texture2D> openFrame(const ComPtr<IDXGIResource>& resource);
    [[nodiscard]] bool relay(ID3D11Texture2D& frame);
    [[nodiscard]] bool fits(const D3D11_TEXTURE2D_DESC& frame) const;
    void keepMode(const D3D11_TEXTURE2D_DESC& frame);
    [[nodiscard]] bool createSharedTexture(const D3D11_TEXTURE2D_DESC& frame);
    [[nodiscard]] bool copyToSharedTexture(ID3D11Texture2D& frame);
    [[nodiscard]] bool createReadback();
    [[nodiscard]] bool copyToReadback();
    [[nodiscard]] capture::Cut cutOf(int x, int y, int width, int height) const;
    [[nodiscard]] bool movePointer(int x, int y, int width, int height, unsigned char* dest);
    void deliver(int x, int y, int width, int height, unsigned char* dest, bool rowsKnown);

    /// Whether `call` has succeeded; keeps what fail() reports.
    [[nodiscard]] bool done(const char* call, HRESULT result);
    /// Reports the call that failed last. False.
    bool fail(bool needsInit);
    [[nodiscard]] bool deviceRemoved() const;
    void succeed();

    /// Calls `signal` with the fence's completed value plus one and waits until the fence reaches
    /// it. False: that failed, or the device is gone, so the copy before it may be incomplete.
    template <typename Fence, typename Signal>
    [[nodiscard]] bool waitForFence(Fence& fence, HANDLE event, Signal signal);

    DxgiOperations& m_operations;
    bool m_initialized = false;

    ComPtr<IDXGIFactory5> m_factory;
    ComPtr<IDXGIAdapter1> m_adapter;
    ComPtr<IDXGIOutput1> m_output;
    ComPtr<IDXGIOutputDuplication> m_duplication;
    std::uint32_t m_outputWidth = 0;  ///< Size of the output on the desktop, in pixels.
    std::uint32_t m_outputHeight = 0;
    /// Of the duplication: how its frames have to be turned.
    capture::Rotation m_rotation = capture::Rotation::None;
    /// The duplication has given a frame with a present time. Only after it do dirty rectangles
    /// tell all that has changed.
    bool m_presented = false;

    /// What the shared texture was made for.
    struct Mode {
        UINT width = 0;
        UINT height = 0;
        capture::Rotation rotation = capture::Rotation::None;
    };
    std::optional<Mode> m_mode;

    ComPtr<ID3D11Device5> m_d3d11Device;
    ComPtr<ID3D11DeviceContext4> m_d3d11Context;
    ComPtr<ID3D11Fence> m_d3d11Fence;
    HANDLE m_d3d11Event = nullptr;

    ComPtr<ID3D12Device> m_d3d12Device;
    ComPtr<ID3D12CommandQueue> m_commandQueue;
    ComPtr<ID3D12CommandAllocator> m_commandAllocator;
    ComPtr<ID3D12GraphicsCommandList> m_commandList;
    ComPtr<ID3D12Fence> m_d3d12Fence;
    HANDLE m_d3d12Event = nullptr;

    // One texture, opened in both APIs; created with the first frame.
    ComPtr<ID3D11Texture2D> m_d3d11Texture;
    HANDLE m_sharedHandle = nullptr;  ///< Owned by the texture; never closed here.
    ComPtr<ID3D12Resource> m_d3d12Texture;

    // The buffer the CPU reads; created with the first frame and mapped for its whole life.
    ComPtr<ID3D12Resource> m_readback;
    D3D12_PLACED_SUBRESOURCE_FOOTPRINT m_footprint = {};
    UINT m_rowCount = 0;
    UINT64 m_rowSize = 0;
    UINT64 m_totalSize = 0;  ///< Bytes.
    const std::uint8_t* m_mapped = nullptr;

    /// The parameters of a read: only after an equal read the rows in between are known.
    struct Read {
        capture::Cut cut;
        int requestedWidth = 0;
        unsigned char* dest = nullptr;

        bool operator==(const Read& other) const {
            return cut == other.cut && requestedWidth == other.requestedWidth && dest == other.dest;
        }
    };
    std::optional<Read> m_lastRead;
    capture::dxgi::FrameMetadata m_metadata;
    bool m_drawsPointer = false;
    capture::dxgi::FramePointer m_pointer;
    support::DirtyRows m_dirtyRows;

    std::string m_outputName;  ///< UTF-8, as given to InitCapture(), for the log.
    const char* m_failedCall = "";
    HRESULT m_failedResult = S_OK;
    CaptureFailure m_failure;
};
