// The relay on real Direct3D interfaces, as far as software drivers go: Direct3D 11 copies a
// frame between textures, and the whole Direct3D 12 half of the capturer, from the queue to the
// mapped buffer, works on a real device. What no software driver here has is put in place of: the
// duplication, the Direct3D 11 fence, and the sharing of one texture by both.

#include <gtest/gtest.h>

#include "capture/dxgi/dxgicapturescreen.h"
#include "windows/fakegraphics.h"

namespace {

using Microsoft::WRL::ComPtr;

constexpr int kWidth = 333;  // Rows that need padding.
constexpr int kHeight = 123;

/// Duplication as the machine pretends, and the rest of Direct3D 11 as far as the capturer meets
/// it; the copies, Direct3D 12, events and waits for real.
class HalfReal final : public FakeGraphics {
public:
    void open() {
        ComPtr<IDXGIFactory5> factory;
        ComPtr<IDXGIAdapter1> adapter;
        ASSERT_EQ(real().CreateDXGIFactory2(0, IID_PPV_ARGS(&factory)), S_OK);
        ASSERT_EQ(factory->EnumAdapters1(0, &adapter), S_OK);
        ASSERT_NO_FATAL_FAILURE(open11(adapter.Get()));
        ASSERT_NO_FATAL_FAILURE(open12(adapter.Get()));
        replaceOpenSharedHandle(m_device12.Get(), m_texture12.Get());

        adapters = {{0, {{L"screen", {0, 0, kWidth, kHeight}}}}};
        frameWidth = kWidth;
        frameHeight = kHeight;
        slow = false;
        copyFrame = [this] { bringImageOver(); };
    }

    HRESULT D3D12CreateDevice(IUnknown*, D3D_FEATURE_LEVEL, REFIID interfaceId,
                              void** device) override {
        return m_device12->QueryInterface(interfaceId, device);
    }
    HANDLE CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                        LPCWSTR name) override {
        return real().CreateEventW(attributes, manualReset, initialState, name);
    }
    DWORD WaitForSingleObject(HANDLE event, DWORD milliseconds) override {
        return real().WaitForSingleObject(event, milliseconds);
    }
    BOOL CloseHandle(HANDLE event) override { return real().CloseHandle(event); }

private:
    void open11(IDXGIAdapter1* adapter) {
        D3D_FEATURE_LEVEL level = {};
        ASSERT_EQ(real().D3D11CreateDevice(adapter, D3D_DRIVER_TYPE_UNKNOWN, nullptr, 0, nullptr, 0,
                                           D3D11_SDK_VERSION, &m_device11, &level, &m_context),
                  S_OK);
        constexpr UINT kBind = D3D11_BIND_RENDER_TARGET | D3D11_BIND_SHADER_RESOURCE;
        // clang-format off
        D3D11_TEXTURE2D_DESC is = {kWidth, kHeight, 1, 1, DXGI_FORMAT_B8G8R8A8_UNORM, {1, 0},
                                   D3D11_USAGE_DEFAULT, kBind, 0, D3D11_RESOURCE_MISC_SHARED};
        // clang-format on
        ASSERT_EQ(m_device11->CreateTexture2D(&is, nullptr, &m_source), S_OK);
        ASSERT_EQ(m_device11->CreateTexture2D(&is, nullptr, &m_target), S_OK);
        is.Usage = D3D11_USAGE_STAGING;
        is.BindFlags = is.MiscFlags = 0;
        is.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
        ASSERT_EQ(m_device11->CreateTexture2D(&is, nullptr, &m_staging), S_OK);
    }

    /// With a texture that the CPU may fill.
    void open12(IDXGIAdapter1* adapter) {
        ASSERT_EQ(
            real().D3D12CreateDevice(adapter, D3D_FEATURE_LEVEL_11_0, IID_PPV_ARGS(&m_device12)),
            S_OK);
        const D3D12_HEAP_PROPERTIES heap = {
            D3D12_HEAP_TYPE_CUSTOM, D3D12_CPU_PAGE_PROPERTY_WRITE_BACK, D3D12_MEMORY_POOL_L0, 0, 0};
        // clang-format off
        const D3D12_RESOURCE_DESC is = {D3D12_RESOURCE_DIMENSION_TEXTURE2D, 0, kWidth, kHeight, 1, 1,
                                        DXGI_FORMAT_B8G8R8A8_UNORM, {1, 0},
                                        D3D12_TEXTURE_LAYOUT_UNKNOWN, D3D12_RESOURCE_FLAG_NONE};
        // clang-format on
        ASSERT_EQ(m_device12->CreateCommittedResource(&heap, D3D12_HEAP_FLAG_NONE, &is,
                                                      D3D12_RESOURCE_STATE_COMMON, nullptr,
                                                      IID_PPV_ARGS(&m_texture12)),
                  S_OK);
        m_texture12->Map(0, nullptr, nullptr);  // Windows asks for it, Wine refuses it.
    }

    /// The frame's way through the textures of both.
    void bringImageOver() {
        readFrame();
        m_context->UpdateSubresource(m_source.Get(), 0, nullptr, texture.data(), kWidth * 4, 0);
        m_context->CopyResource(m_target.Get(), m_source.Get());
        m_context->Flush();
        m_context->CopyResource(m_staging.Get(), m_target.Get());
        D3D11_MAPPED_SUBRESOURCE copy = {};
        ASSERT_EQ(m_context->Map(m_staging.Get(), 0, D3D11_MAP_READ, 0, &copy), S_OK);
        ASSERT_EQ(m_texture12->WriteToSubresource(0, nullptr, copy.pData, copy.RowPitch, 0), S_OK);
        m_context->Unmap(m_staging.Get(), 0);
    }

    ComPtr<ID3D11Device> m_device11;
    ComPtr<ID3D11DeviceContext> m_context;
    ComPtr<ID3D11Texture2D> m_source, m_target, m_staging;
    ComPtr<ID3D12Device> m_device12;
    ComPtr<ID3D12Resource> m_texture12;
};

TEST(RealRelay, BringsFramesFromADirect3D11TextureToTheCaller) {
    HalfReal machine;
    ASSERT_NO_FATAL_FAILURE(machine.open());
    DXGICaptureScreen capturer(machine);
    constexpr int kRow = 100;
    for (int frame = 0; frame < 40; ++frame) {
        if (frame % 20 == 0) {
            ASSERT_TRUE(capturer.InitCapture(L"screen"));
        }
        ++machine.frameNumber;
        std::vector<std::uint32_t> image(kRow * 60);
        ASSERT_TRUE(capturer.ReadScreenData(200, 50, kRow, 60,
                                            reinterpret_cast<unsigned char*>(image.data())));
        std::vector<std::uint32_t> expected;
        for (int i = 0; i < kRow * 60; ++i) {
            expected.push_back(machine.pixel(200 + i % kRow, 50 + i / kRow));
        }
        ASSERT_EQ(image, expected) << frame;
    }
}

}  // namespace
