#pragma once
// A machine with graphics adapters, outputs and both Direct3D APIs, made of fake COM objects. It
// records every call, fails those it is told to fail, counts references, and moves real bytes from
// its desktop to the readback buffer, but not before the caller waits for its fences. Where
// Microsoft's documentation says what the system refuses or leaves out, so does the machine; the
// page is named beside it.

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "capture/dxgi/dxgioperations.h"

class FakeGraphics;

/// One COM object: its first member is where a caller finds the methods.
struct FakeObject {
    const void* methods = nullptr;
    FakeGraphics* machine = nullptr;
    std::string name;
    int references = 1;
    int arrangement = 0;        ///< When the factory was made that all this comes from.
    std::size_t adapter = 0;    ///< In that arrangement.
    std::size_t output = 0;     ///< Of that adapter.
    int device = 0;             ///< Which of the machine's devices it belongs to; 0: to none.
    std::uint64_t reached = 0;  ///< Of a fence.
    UINT width = 0;             ///< Of a texture.
    UINT height = 0;
    bool lost = false;  ///< Of a duplication: the desktop has been switched since.
    bool held = false;  ///< Of a duplication: a frame is acquired.
    bool used = false;  ///< Of a duplication: it has given a frame.
};

class FakeGraphics : public DxgiOperations {
public:
    struct Output {
        std::wstring name;
        RECT desktop = {};
        DXGI_MODE_ROTATION rotation = DXGI_MODE_ROTATION_IDENTITY;
    };
    struct Adapter {
        UINT flags = 0;
        std::vector<Output> outputs;
    };

    // What the machine is like; a test sets it.
    std::vector<Adapter> adapters;
    int frameNumber = 0;          ///< In each pixel's third byte.
    bool slow = true;             ///< A fence is reached when it is waited for, not at once.
    bool timesFirstFrame = true;  ///< Nothing promises a new duplication's frame a present time.
    DXGI_FORMAT format = DXGI_FORMAT_B8G8R8A8_UNORM;  ///< Of frames.
    int waitsUntilRemoval = 0;   ///< The device is removed during this wait for it; 0: it is not.
    bool noticesOutputs = true;  ///< A factory is outdated once monitors come or go.
    bool locked = false;         ///< The secure desktop is shown.
    DWORD lastError = 0;
    std::map<std::string, HRESULT> failing;  ///< By name.

    // What happens to it.
    /// The image changes, inside these rectangles of the texture.
    void present(std::vector<RECT> dirty, std::vector<DXGI_OUTDUPL_MOVE_RECT> moves = {});
    void movePointer(const POINT& at = {}, bool visible = true);
    void setPointer(const DXGI_OUTDUPL_POINTER_SHAPE_INFO& info, std::vector<std::uint8_t> bytes);
    /// Duplications end, as at every switch of the desktop.
    void switchDesktop();
    /// Gives an output of the last adapter another mode.
    void setMode(std::size_t output, const RECT& desktop, DXGI_MODE_ROTATION rotation);
    /// Monitors or adapters come or go.
    void rearrange(std::vector<Adapter> present);
    /// The graphics device fails and comes back; what belongs to it stays useless.
    void removeDevice();

    std::vector<std::string> calls;     ///< "object.Method"; "~object" after its last release.
    std::vector<std::string> mistakes;  ///< Wrong arguments, and uses of released objects.

    /// The pixel of the desktop: blue is x, green is y, red is the frame's number.
    [[nodiscard]] std::uint32_t pixel(int x, int y) const;
    /// Names of the objects and events that are not released yet.
    [[nodiscard]] std::vector<std::string> held() const;

    HRESULT CreateDXGIFactory2(UINT flags, REFIID interfaceId, void** factory) override;
    HRESULT D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type, HMODULE software,
                              UINT flags, const D3D_FEATURE_LEVEL* levels, UINT levelCount, UINT,
                              ID3D11Device** device, D3D_FEATURE_LEVEL* level,
                              ID3D11DeviceContext** context) override;
    HRESULT D3D12CreateDevice(IUnknown* adapter, D3D_FEATURE_LEVEL minimum, REFIID interfaceId,
                              void** device) override;
    HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState,
                        LPCWSTR name) override;
    DWORD WaitForSingleObject(HANDLE event, DWORD milliseconds) override;
    BOOL CloseHandle(HANDLE event) override;
    DWORD GetLastError() override { return lastError; }
    void Sleep(DWORD milliseconds) override;

    // For the objects.
    HRESULT call(const std::string& name, bool asDocumented = true);
    FakeObject& make(const void* methods, const std::string& name, const FakeObject& from);
    void onGpu(std::function<void()> work) { m_work.push_back(std::move(work)); }
    void signal(FakeObject& fence, std::uint64_t value);
    HRESULT duplicate(const FakeObject& output, const FakeObject& device);
    HRESULT acquire(FakeObject& duplication, DXGI_OUTDUPL_FRAME_INFO& info);
    /// As its factory found them.
    [[nodiscard]] const std::vector<Adapter>& adaptersOf(const FakeObject& object) const;
    [[nodiscard]] const Output* outputOf(const FakeObject& object) const;
    std::vector<std::uint32_t> desktop;  ///< The image of the frame that is acquired.
    UINT desktopWidth = 0;
    UINT desktopHeight = 0;
    std::vector<std::uint32_t> texture;  ///< The shared one.
    UINT textureWidth = 0;
    UINT textureHeight = 0;
    std::vector<std::uint8_t> readback;
    std::vector<RECT> dirtyRects;  ///< Of the frame that is acquired.
    std::vector<DXGI_OUTDUPL_MOVE_RECT> moveRects;
    DXGI_OUTDUPL_POINTER_SHAPE_INFO pointerInfo = {};  ///< Of the pointer's newest shape.
    std::vector<std::uint8_t> pointerBytes;
    int currentArrangement = -1;
    int currentDevice = 1;

    // A test with a real Direct3D 11 sets all of these.
    std::function<void*()> realFrame;  ///< The texture with the desktop's image.
    std::function<void(UINT width, UINT height)> createRealTexture;  ///< The shared one.
    std::function<void()> copyReal;                                  ///< From that into this.

private:
    void drawDesktop(const Output& output);
    void finishWork();

    std::vector<std::vector<Adapter>> m_arrangements;  ///< As each factory found them.
    std::deque<FakeObject> m_objects;  ///< Never shrinks: a late call finds its object.
    std::vector<std::function<void()>> m_work;
    std::map<std::uintptr_t, int> m_events;  ///< And the device there was when they were made.
    std::uintptr_t m_lastEvent = 0;
    bool m_pointerMoved = false;
    bool m_pointerReshaped = false;
    DXGI_OUTDUPL_POINTER_POSITION m_pointer = {};
    UINT m_presents = 0;
    std::vector<RECT> m_dirty;  ///< Since the last frame.
    std::vector<DXGI_OUTDUPL_MOVE_RECT> m_moves;
};

/// Makes the real Direct3D 12 device answer OpenSharedHandle() with `resource`.
void replaceOpenSharedHandle(void* device12, void* resource12);
