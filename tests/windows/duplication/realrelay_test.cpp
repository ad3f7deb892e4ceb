// The relay on real Direct3D interfaces, as far as software drivers go: Direct3D 11 copies a
// picture between textures, and the whole Direct3D 12 half of the capturer, from the queue to the
// mapped buffer, works on a real device. What no software driver here has is put in place of: the
// duplication, the Direct3D 11 fence, and the sharing of one texture by both.

#include <gtest/gtest.h>

#include "capture/dxgi/dxgicapturescreen.h"
#include "windows/fakegraphics.h"

namespace {

using Microsoft::WRL::ComPtr;

constexpr int kWidth = 333;  // Rows that need padding.
constexpr int kHeight = 123;

D3D11_TEXTURE2D_DESC textureDescription() {
    D3D11_TEXTURE2D_DESC description = {};
    description.Width = kWidth;
    description.Height = kHeight;
    description.MipLevels = 1;
    description.ArraySize = 1;
    description.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
    description.SampleDesc = {1, 0};
    return description;
}

/// A source and a target texture on the first adapter.
class RealDirect3D11 {
public:
    void open() {
        ComPtr<IDXGIFactory5> factory;
        ASSERT_EQ(DxgiOperations::real().CreateDXGIFactory2(0, IID_PPV_ARGS(&factory)), S_OK);
        ASSERT_EQ(factory->EnumAdapters1(0, &adapter), S_OK);
        D3D_FEATURE_LEVEL level = {};
        ASSERT_EQ(DxgiOperations::real().D3D11CreateDevice(
                      adapter.Get(), D3D_DRIVER_TYPE_UNKNOWN, nullptr, 0, nullptr, 0,
                      D3D11_SDK_VERSION, &m_device, &level, &m_context),
                  S_OK);
        D3D11_TEXTURE2D_DESC description = textureDescription();
        description.BindFlags = D3D11_BIND_RENDER_TARGET | D3D11_BIND_SHADER_RESOURCE;
        description.MiscFlags = D3D11_RESOURCE_MISC_SHARED;
        ASSERT_EQ(m_device->CreateTexture2D(&description, nullptr, &m_source), S_OK);
        ASSERT_EQ(m_device->CreateTexture2D(&description, nullptr, &m_target), S_OK);
        description = textureDescription();
        description.Usage = D3D11_USAGE_STAGING;
        description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
        ASSERT_EQ(m_device->CreateTexture2D(&description, nullptr, &m_staging), S_OK);
    }

    /// The picture after its way through the two textures is handed to `use`, with its row pitch.
    template <typename Use>
    void copy(const std::vector<std::uint32_t>& picture, Use use) {
        m_context->UpdateSubresource(m_source.Get(), 0, nullptr, picture.data(), kWidth * 4, 0);
        m_context->CopyResource(m_target.Get(), m_source.Get());
        m_context->Flush();
        m_context->CopyResource(m_staging.Get(), m_target.Get());
        D3D11_MAPPED_SUBRESOURCE mapped = {};
        ASSERT_EQ(m_context->Map(m_staging.Get(), 0, D3D11_MAP_READ, 0, &mapped), S_OK);
        use(mapped.pData, mapped.RowPitch);
        m_context->Unmap(m_staging.Get(), 0);
    }

    ComPtr<IDXGIAdapter1> adapter;

private:
    ComPtr<ID3D11Device> m_device;
    ComPtr<ID3D11DeviceContext> m_context;
    ComPtr<ID3D11Texture2D> m_source, m_target, m_staging;
};

/// Duplication and Direct3D 11 as the machine pretends; Direct3D 12, events and waits for real.
class HalfReal final : public FakeGraphics {
public:
    void open(IDXGIAdapter1* adapter) {
        ASSERT_EQ(
            real().D3D12CreateDevice(adapter, D3D_FEATURE_LEVEL_11_0, IID_PPV_ARGS(&m_device)),
            S_OK);
        // A texture that the CPU may fill.
        D3D12_HEAP_PROPERTIES heap = {};
        heap.Type = D3D12_HEAP_TYPE_CUSTOM;
        heap.CPUPageProperty = D3D12_CPU_PAGE_PROPERTY_WRITE_BACK;
        heap.MemoryPoolPreference = D3D12_MEMORY_POOL_L0;
        D3D12_RESOURCE_DESC description = {};
        description.Dimension = D3D12_RESOURCE_DIMENSION_TEXTURE2D;
        description.Width = kWidth;
        description.Height = kHeight;
        description.DepthOrArraySize = 1;
        description.MipLevels = 1;
        description.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
        description.SampleDesc = {1, 0};
        ASSERT_EQ(m_device->CreateCommittedResource(&heap, D3D12_HEAP_FLAG_NONE, &description,
                                                    D3D12_RESOURCE_STATE_COMMON, nullptr,
                                                    IID_PPV_ARGS(&m_texture)),
                  S_OK);
        m_texture->Map(0, nullptr, nullptr);  // Windows asks for it, Wine refuses it.
        replaceOpenSharedHandle(m_device.Get(), m_texture.Get());
    }
    void fill(const void* picture, UINT rowPitch) {
        ASSERT_EQ(m_texture->WriteToSubresource(0, nullptr, picture, rowPitch, 0), S_OK);
    }

    HRESULT D3D12CreateDevice(IUnknown*, D3D_FEATURE_LEVEL, REFIID interfaceId,
                              void** device) override {
        return m_device->QueryInterface(interfaceId, device);
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
    ComPtr<ID3D12Device> m_device;
    ComPtr<ID3D12Resource> m_texture;
};

TEST(RealRelay, BringsPicturesFromADirect3D11TextureToTheCaller) {
    RealDirect3D11 first;
    ASSERT_NO_FATAL_FAILURE(first.open());
    HalfReal machine;
    ASSERT_NO_FATAL_FAILURE(machine.open(first.adapter.Get()));

    machine.adapters = {{0, {{L"screen", {0, 0, kWidth, kHeight}}}}};
    machine.frameWidth = kWidth;
    machine.frameHeight = kHeight;
    machine.slow = false;
    machine.copyFrame = [&] {
        machine.takePicture();
        first.copy(machine.texture,
                   [&](const void* picture, UINT rowPitch) { machine.fill(picture, rowPitch); });
    };
    DXGICaptureScreen capturer(machine);
    constexpr int kRow = 100;
    for (int frame = 0; frame < 40; ++frame) {
        if (frame % 20 == 0) {
            ASSERT_TRUE(capturer.InitCapture(L"screen"));
        }
        ++machine.frameNumber;
        std::vector<std::uint32_t> picture(kRow * 60);
        ASSERT_TRUE(capturer.ReadScreenData(200, 50, kRow, 60,
                                            reinterpret_cast<unsigned char*>(picture.data())));
        std::vector<std::uint32_t> expected;
        for (int i = 0; i < kRow * 60; ++i) {
            expected.push_back(machine.pixel(200 + i % kRow, 50 + i / kRow));
        }
        ASSERT_EQ(picture, expected) << frame;
    }
}

}  // namespace
