#pragma once
// A machine with graphics adapters, outputs and both Direct3D APIs, made of fake COM objects. It
// records every call, fails those it is told to fail, counts references, notes arguments that are
// not those the real functions need, and moves real bytes from its desktop to the readback buffer,
// but not before the caller waits for its fences.

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <set>
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
    std::size_t adapter = 0;  ///< Of an adapter or an output: its index.
    std::size_t output = 0;
    std::uint64_t reached = 0;  ///< Of a fence.
};

class FakeGraphics : public DxgiOperations {
public:
    struct Output {
        std::wstring name;
        RECT desktop = {};
    };
    struct Adapter {
        UINT flags = 0;
        std::vector<Output> outputs;
        std::wstring description = {};
        UINT deviceId = 0;
        LUID luid = {};
    };

    // What the machine is like; a test sets it.
    std::vector<Adapter> adapters;
    int frameWidth = 0;
    int frameHeight = 0;
    int frameNumber = 0;          ///< In each pixel's third byte.
    bool slow = true;             ///< A fence is reached when it is waited for, not at once.
    std::uint64_t completed = 0;  ///< The value that new fences have already reached.
    DWORD lastError = 0;
    /// Copies the desktop into the shared texture.
    std::function<void()> copyFrame = [this] { readFrame(); };
    std::map<std::string, HRESULT> failing;  ///< By name.

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
    HRESULT call(const std::string& name, bool asDocumented);
    void* make(const void* methods, const std::string& name);
    void onGpu(std::function<void()> work) { m_work.push_back(std::move(work)); }
    void signal(FakeObject& fence, std::uint64_t value);
    void setTexture(UINT width, UINT height);
    UINT textureWidth = 0;
    UINT textureHeight = 0;
    std::vector<std::uint32_t> texture;
    std::vector<std::uint8_t> readback;
    void readFrame();

private:
    void finishWork();

    std::deque<FakeObject> m_objects;  ///< Never shrinks: a late call finds its object.
    std::vector<std::function<void()>> m_work;
    std::set<std::uintptr_t> m_events;
    std::uintptr_t m_lastEvent = 0;
};

/// Makes the real Direct3D 12 device answer OpenSharedHandle() with `resource`.
void replaceOpenSharedHandle(void* device12, void* resource12);
