#pragma once
// The seam of the capturer, answered by a FakeGraphics machine.

#include <gtest/gtest.h>

#include "capture/dxgi/dxgioperations.h"
#include "windows/fakegraphics.h"

class FakeOperations : public DxgiOperations {
public:
    explicit FakeOperations(FakeGraphics& machine) : m_machine(machine) {}

    HRESULT CreateDXGIFactory2(UINT flags, REFIID interfaceId, void** factory) override {
        EXPECT_EQ(interfaceId, __uuidof(IDXGIFactory5));
        return m_machine.createFactory(flags, factory);
    }
    HRESULT D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE driverType, HMODULE software,
                              UINT flags, const D3D_FEATURE_LEVEL* levels, UINT levelCount, UINT,
                              ID3D11Device** device, D3D_FEATURE_LEVEL* level,
                              ID3D11DeviceContext** context) override {
        EXPECT_EQ(software, nullptr);
        EXPECT_EQ(levels, nullptr);
        *level = D3D_FEATURE_LEVEL_11_0;
        return m_machine.createDevice11(adapter, driverType, flags, levelCount,
                                        reinterpret_cast<void**>(device),
                                        reinterpret_cast<void**>(context));
    }
    HRESULT D3D12CreateDevice(IUnknown* adapter, D3D_FEATURE_LEVEL minimum, REFIID,
                              void** device) override {
        return m_machine.createDevice12(adapter, minimum, device);
    }
    HANDLE CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState,
                        LPCWSTR name) override {
        EXPECT_EQ(name, nullptr);
        return m_machine.createEvent(manualReset != FALSE, initialState != FALSE);
    }
    DWORD WaitForSingleObject(HANDLE event, DWORD milliseconds) override {
        m_machine.wait(event, milliseconds);
        return WAIT_OBJECT_0;
    }
    BOOL CloseHandle(HANDLE event) override {
        m_machine.closeEvent(event);
        return TRUE;
    }
    DWORD GetLastError() override { return m_machine.lastError; }
    void Sleep(DWORD milliseconds) override { m_machine.sleep(milliseconds); }

protected:
    FakeGraphics& m_machine;
};
