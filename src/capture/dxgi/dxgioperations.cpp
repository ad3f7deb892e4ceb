#include "capture/dxgi/dxgioperations.h"

namespace {

class RealOperations final : public DxgiOperations {
public:
    HRESULT CreateDXGIFactory2(UINT flags, REFIID interfaceId, void** factory) override {
        return ::CreateDXGIFactory2(flags, interfaceId, factory);
    }

    HRESULT D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE driverType, HMODULE software,
                              UINT flags, const D3D_FEATURE_LEVEL* featureLevels,
                              UINT featureLevelCount, UINT sdkVersion, ID3D11Device** device,
                              D3D_FEATURE_LEVEL* featureLevel,
                              ID3D11DeviceContext** context) override {
        return ::D3D11CreateDevice(adapter, driverType, software, flags, featureLevels,
                                   featureLevelCount, sdkVersion, device, featureLevel, context);
    }

    HRESULT D3D12CreateDevice(IUnknown* adapter, D3D_FEATURE_LEVEL minimum, REFIID interfaceId,
                              void** device) override {
        return ::D3D12CreateDevice(adapter, minimum, interfaceId, device);
    }

    HANDLE CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                        LPCWSTR name) override {
        return ::CreateEventW(attributes, manualReset, initialState, name);
    }

    DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) override {
        return ::WaitForSingleObject(handle, milliseconds);
    }

    BOOL CloseHandle(HANDLE handle) override { return ::CloseHandle(handle); }
    DWORD GetLastError() override { return ::GetLastError(); }
    void Sleep(DWORD milliseconds) override { ::Sleep(milliseconds); }
};

}  // namespace

DxgiOperations& DxgiOperations::real() {
    static RealOperations operations;
    return operations;
}
