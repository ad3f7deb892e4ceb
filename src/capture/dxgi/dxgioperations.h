#pragma once
// The platform functions that DXGICaptureScreen calls. The objects they create are COM interfaces,
// so a test that replaces these functions replaces DXGI, Direct3D 11 and Direct3D 12 as a whole.

#include <d3d11_4.h>
#include <d3d12.h>
#include <dxgi1_5.h>

/// Each function has the arguments and the meaning of the platform function of the same name.
class DxgiOperations {
public:
    virtual ~DxgiOperations() = default;

    virtual HRESULT CreateDXGIFactory2(UINT flags, REFIID interfaceId, void** factory) = 0;
    virtual HRESULT D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE driverType,
                                      HMODULE software, UINT flags,
                                      const D3D_FEATURE_LEVEL* featureLevels,
                                      UINT featureLevelCount, UINT sdkVersion,
                                      ID3D11Device** device, D3D_FEATURE_LEVEL* featureLevel,
                                      ID3D11DeviceContext** context) = 0;
    virtual HRESULT D3D12CreateDevice(IUnknown* adapter, D3D_FEATURE_LEVEL minimum,
                                      REFIID interfaceId, void** device) = 0;

    virtual HANDLE CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset,
                                BOOL initialState, LPCWSTR name) = 0;
    virtual DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) = 0;
    virtual BOOL CloseHandle(HANDLE handle) = 0;
    virtual DWORD GetLastError() = 0;
    virtual void Sleep(DWORD milliseconds) = 0;

    /// The platform's own functions.
    static DxgiOperations& real();
};
