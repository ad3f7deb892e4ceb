// The relay on real Direct3D interfaces, as far as software drivers go: the duplication hands out
// a real texture, which Direct3D 11 copies into the real shared one, and the whole Direct3D 12 half
// of the capturer, from the queue to the mapped buffer, works on a real device. What no software
// driver here has is put in place of: the duplication, the Direct3D 11 fence, and the sharing of
// one texture by both.

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
        ASSERT_EQ(real().D3D12CreateDevice(adapter.Get(), D3D_FEATURE_LEVEL_11_0,
                                           IID_PPV_ARGS(&m_device12)),
                  S_OK);
        adapters = {{0, {{L"screen", {0, 0, kWidth, kHeight}}}}};
        slow = false;
        realFrame = [this] { return frameTexture(); };
        createRealTexture = [this](UINT width, UINT height) { createShared(width, height); };
        copyReal = [this] { copyToBoth(); };
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
    }

    ComPtr<ID3D11Texture2D> createTexture(UINT width, UINT height, D3D11_USAGE usage, UINT bind,
                                          UINT access) {
        D3D11_TEXTURE2D_DESC is = {};
        is.Width = width;
        is.Height = height;
        is.MipLevels = is.ArraySize = is.SampleDesc.Count = 1;
        is.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
        is.Usage = usage;
        is.BindFlags = bind;
        is.CPUAccessFlags = access;
        ComPtr<ID3D11Texture2D> made;
        EXPECT_EQ(m_device11->CreateTexture2D(&is, nullptr, &made), S_OK);
        return made;
    }

    /// A real texture with the image that is acquired.
    void* frameTexture() {
        D3D11_TEXTURE2D_DESC is = {};
        if (m_source) {
            m_source->GetDesc(&is);
        }
        if (is.Width != desktopWidth || is.Height != desktopHeight) {
            m_source = createTexture(desktopWidth, desktopHeight, D3D11_USAGE_DEFAULT,
                                     D3D11_BIND_RENDER_TARGET, 0);
        }
        m_context->UpdateSubresource(m_source.Get(), 0, nullptr, desktop.data(), desktopWidth * 4,
                                     0);
        return m_source.Get();
    }

    /// The shared texture of Direct3D 11, and that of Direct3D 12, which the CPU may fill.
    void createShared(UINT width, UINT height) {
        m_target = createTexture(width, height, D3D11_USAGE_DEFAULT,
                                 D3D11_BIND_RENDER_TARGET | D3D11_BIND_SHADER_RESOURCE, 0);
        m_staging = createTexture(width, height, D3D11_USAGE_STAGING, 0, D3D11_CPU_ACCESS_READ);
        const D3D12_HEAP_PROPERTIES heap = {
            D3D12_HEAP_TYPE_CUSTOM, D3D12_CPU_PAGE_PROPERTY_WRITE_BACK, D3D12_MEMORY_POOL_L0, 0, 0};
        D3D12_RESOURCE_DESC is = {};
        is.Dimension = D3D12_RESOURCE_DIMENSION_TEXTURE2D;
        is.Width = width;
        is.Height = height;
        is.DepthOrArraySize = is.MipLevels = 1;
        is.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
        is.SampleDesc = {1, 0};
        EXPECT_EQ(m_device12->CreateCommittedResource(
                      &heap, D3D12_HEAP_FLAG_NONE, &is, D3D12_RESOURCE_STATE_COMMON, nullptr,
                      IID_PPV_ARGS(m_texture12.ReleaseAndGetAddressOf())),
                  S_OK);
        m_texture12->Map(0, nullptr, nullptr);  // Windows asks for it, Wine refuses it.
        replaceOpenSharedHandle(m_device12.Get(), m_texture12.Get());
    }

    /// The capturer's copy, and what sharing would do.
    void copyToBoth() {
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
    std::vector<std::uint32_t> image(kRow * 60);
    const auto read = [&] {
        return capturer.ReadScreenData(20, 50, kRow, 60,
                                       reinterpret_cast<unsigned char*>(image.data()));
    };
    ASSERT_TRUE(capturer.InitCapture(L"screen"));
    for (int frame = 0; frame < 40; ++frame) {
        machine.present({});
        if (frame == 10) {  // Real textures of another size, then on their side.
            machine.setMode(0, {0, 0, kWidth - 70, kHeight + 9}, DXGI_MODE_ROTATION_IDENTITY);
        } else if (frame == 20) {
            machine.setMode(0, {0, 0, kHeight, kWidth}, DXGI_MODE_ROTATION_ROTATE90);
        }
        for (int attempts = 0; attempts < 3 && !read(); ++attempts) {
            if (capturer.Failure().needsInit) {
                ASSERT_TRUE(capturer.InitCapture(L"screen"));
            }
        }
        std::vector<std::uint32_t> expected;
        for (int i = 0; i < kRow * 60; ++i) {
            expected.push_back(machine.pixel(20 + i % kRow, 50 + i / kRow));
        }
        ASSERT_EQ(image, expected) << frame;
    }
}

}  // namespace
