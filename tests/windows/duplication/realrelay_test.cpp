// The relay on real Direct3D interfaces, as far as software drivers go: Direct3D 11 copies a
// picture between textures, and the whole Direct3D 12 half of the capturer, from the queue to the
// mapped buffer, works on a real device. What no software driver here has is put in place of: the
// duplication, the Direct3D 11 fence, and the sharing of one texture by both.

#include <gtest/gtest.h>

#include <cstring>

#include "capture/dxgi/dxgicapturescreen.h"
#include "windows/fakeoperations.h"

namespace {

using Microsoft::WRL::ComPtr;

constexpr int kWidth = 333;  // Rows that need padding.
constexpr int kHeight = 123;

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
        D3D11_TEXTURE2D_DESC description = {};
        description.Width = kWidth;
        description.Height = kHeight;
        description.MipLevels = 1;
        description.ArraySize = 1;
        description.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
        description.SampleDesc = {1, 0};
        description.BindFlags = D3D11_BIND_RENDER_TARGET | D3D11_BIND_SHADER_RESOURCE;
        description.MiscFlags = D3D11_RESOURCE_MISC_SHARED;
        ASSERT_EQ(m_device->CreateTexture2D(&description, nullptr, &m_source), S_OK);
        ASSERT_EQ(m_device->CreateTexture2D(&description, nullptr, &m_target), S_OK);
        description.BindFlags = 0;
        description.MiscFlags = 0;
        description.Usage = D3D11_USAGE_STAGING;
        description.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
        ASSERT_EQ(m_device->CreateTexture2D(&description, nullptr, &m_staging), S_OK);
    }

    /// The picture after its way through the two textures.
    std::vector<std::uint32_t> copy(const std::vector<std::uint32_t>& picture) {
        m_context->UpdateSubresource(m_source.Get(), 0, nullptr, picture.data(), kWidth * 4, 0);
        m_context->CopyResource(m_target.Get(), m_source.Get());
        m_context->Flush();
        m_context->CopyResource(m_staging.Get(), m_target.Get());
        D3D11_MAPPED_SUBRESOURCE mapped = {};
        EXPECT_EQ(m_context->Map(m_staging.Get(), 0, D3D11_MAP_READ, 0, &mapped), S_OK);
        std::vector<std::uint32_t> copied(picture.size());
        for (std::size_t row = 0; row < kHeight; ++row) {
            std::memcpy(&copied[row * kWidth],
                        static_cast<const char*>(mapped.pData) + row * mapped.RowPitch, kWidth * 4);
        }
        m_context->Unmap(m_staging.Get(), 0);
        return copied;
    }

    ComPtr<IDXGIAdapter1> adapter;

private:
    ComPtr<ID3D11Device> m_device;
    ComPtr<ID3D11DeviceContext> m_context;
    ComPtr<ID3D11Texture2D> m_source, m_target, m_staging;
};

/// A Direct3D 12 texture that the CPU can fill.
class RealDirect3D12 {
public:
    void open(IDXGIAdapter1* adapter) {
        ASSERT_EQ(DxgiOperations::real().D3D12CreateDevice(adapter, D3D_FEATURE_LEVEL_11_0,
                                                           IID_PPV_ARGS(&device)),
                  S_OK);
        const D3D12_COMMAND_QUEUE_DESC queue = {};
        ASSERT_EQ(device->CreateCommandQueue(&queue, IID_PPV_ARGS(&m_queue)), S_OK);
        ASSERT_EQ(device->CreateFence(0, D3D12_FENCE_FLAG_NONE, IID_PPV_ARGS(&m_fence)), S_OK);
        D3D12_RESOURCE_DESC description = {};
        description.Dimension = D3D12_RESOURCE_DIMENSION_TEXTURE2D;
        description.Width = kWidth;
        description.Height = kHeight;
        description.DepthOrArraySize = 1;
        description.MipLevels = 1;
        description.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
        description.SampleDesc = {1, 0};
        create(D3D12_HEAP_TYPE_DEFAULT, description, D3D12_RESOURCE_STATE_COMMON, texture);
        UINT64 size = 0;
        device->GetCopyableFootprints(&description, 0, 1, 0, &m_footprint, nullptr, nullptr, &size);
        description = {};
        description.Dimension = D3D12_RESOURCE_DIMENSION_BUFFER;
        description.Width = size;
        description.Height = 1;
        description.DepthOrArraySize = 1;
        description.MipLevels = 1;
        description.SampleDesc = {1, 0};
        description.Layout = D3D12_TEXTURE_LAYOUT_ROW_MAJOR;
        create(D3D12_HEAP_TYPE_UPLOAD, description, D3D12_RESOURCE_STATE_GENERIC_READ, m_upload);
    }

    void fill(const std::vector<std::uint32_t>& picture) {
        void* mapped = nullptr;
        ASSERT_EQ(m_upload->Map(0, nullptr, &mapped), S_OK);
        for (std::size_t row = 0; row < kHeight; ++row) {
            std::memcpy(static_cast<char*>(mapped) + row * m_footprint.Footprint.RowPitch,
                        &picture[row * kWidth], kWidth * 4);
        }
        m_upload->Unmap(0, nullptr);

        ComPtr<ID3D12CommandAllocator> allocator;
        ComPtr<ID3D12GraphicsCommandList> list;
        ASSERT_EQ(device->CreateCommandAllocator(D3D12_COMMAND_LIST_TYPE_DIRECT,
                                                 IID_PPV_ARGS(&allocator)),
                  S_OK);
        ASSERT_EQ(device->CreateCommandList(0, D3D12_COMMAND_LIST_TYPE_DIRECT, allocator.Get(),
                                            nullptr, IID_PPV_ARGS(&list)),
                  S_OK);
        D3D12_TEXTURE_COPY_LOCATION to = {};
        to.pResource = texture.Get();
        to.Type = D3D12_TEXTURE_COPY_TYPE_SUBRESOURCE_INDEX;
        D3D12_TEXTURE_COPY_LOCATION from = {};
        from.pResource = m_upload.Get();
        from.Type = D3D12_TEXTURE_COPY_TYPE_PLACED_FOOTPRINT;
        from.PlacedFootprint = m_footprint;
        list->CopyTextureRegion(&to, 0, 0, 0, &from, nullptr);
        ASSERT_EQ(list->Close(), S_OK);
        ID3D12CommandList* const lists[] = {list.Get()};
        m_queue->ExecuteCommandLists(1, lists);
        ASSERT_EQ(m_queue->Signal(m_fence.Get(), ++m_filled), S_OK);
        while (m_fence->GetCompletedValue() < m_filled) {
            Sleep(1);
        }
    }

    ComPtr<ID3D12Device> device;
    ComPtr<ID3D12Resource> texture;

private:
    void create(D3D12_HEAP_TYPE type, const D3D12_RESOURCE_DESC& description,
                D3D12_RESOURCE_STATES state, ComPtr<ID3D12Resource>& resource) {
        D3D12_HEAP_PROPERTIES heap = {};
        heap.Type = type;
        ASSERT_EQ(device->CreateCommittedResource(&heap, D3D12_HEAP_FLAG_NONE, &description, state,
                                                  nullptr, IID_PPV_ARGS(&resource)),
                  S_OK);
    }

    ComPtr<ID3D12CommandQueue> m_queue;
    ComPtr<ID3D12Fence> m_fence;
    ComPtr<ID3D12Resource> m_upload;
    D3D12_PLACED_SUBRESOURCE_FOOTPRINT m_footprint = {};
    UINT64 m_filled = 0;
};

/// Duplication and Direct3D 11 as the machine pretends; Direct3D 12, events and waits for real.
class HalfRealOperations final : public FakeOperations {
public:
    HalfRealOperations(FakeGraphics& machine, ID3D12Device* device)
        : FakeOperations(machine), m_device(device) {}

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
    ID3D12Device* m_device;
};

TEST(RealRelay, BringsPicturesFromADirect3D11TextureToTheCaller) {
    RealDirect3D11 first;
    ASSERT_NO_FATAL_FAILURE(first.open());
    RealDirect3D12 second;
    ASSERT_NO_FATAL_FAILURE(second.open(first.adapter.Get()));
    replaceOpenSharedHandle(second.device.Get(), second.texture.Get());

    FakeGraphics machine;
    machine.adapters = {{0, {{L"screen", {0, 0, kWidth, kHeight}}}}};
    machine.frameWidth = kWidth;
    machine.frameHeight = kHeight;
    machine.slow = false;
    machine.copyFrame = [&] {
        machine.takePicture();
        ASSERT_NO_FATAL_FAILURE(second.fill(first.copy(machine.texture)));
    };
    HalfRealOperations operations(machine, second.device.Get());
    DXGICaptureScreen capturer(operations);
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(capturer.InitCapture(L"screen"));
        for (int frame = 0; frame < 20; ++frame) {
            ++machine.frameNumber;
            std::vector<std::uint32_t> picture(100 * 60);
            ASSERT_TRUE(capturer.ReadScreenData(200, 50, 100, 60,
                                                reinterpret_cast<unsigned char*>(picture.data())));
            for (int y = 0; y < 60; ++y) {
                for (int x = 0; x < 100; ++x) {
                    ASSERT_EQ(picture[static_cast<std::size_t>(y * 100 + x)],
                              machine.pixel(200 + x, 50 + y));
                }
            }
        }
    }
}

}  // namespace
