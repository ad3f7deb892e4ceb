#include "capture/dxgi/dxgicapturescreen.h"

#include <cstring>
#include <string_view>

#include "capture/cutrectangle.h"
#include "support/log.h"

namespace {

constexpr UINT kBytesPerPixel = 4;

bool matches(IDXGIOutput& output, const wchar_t* deviceName) {
    DXGI_OUTPUT_DESC description = {};
    if (FAILED(output.GetDesc(&description))) {
        return false;
    }
    return deviceName == nullptr ||
           std::wstring_view(description.DeviceName) == std::wstring_view(deviceName);
}

}  // namespace

DXGICaptureScreen::DXGICaptureScreen(DxgiOperations& operations) : m_operations(operations) {}

DXGICaptureScreen::~DXGICaptureScreen() {
    ReleaseAll();
}

bool DXGICaptureScreen::InitCapture(const wchar_t* deviceName) {
    ReleaseAll();
    if (!m_factory && !createFactory()) {
        return false;
    }
    const FoundOutput found = findOutput(deviceName);
    m_initialized = found.output && createD3D11Device(found.adapter) && openOutput(found.output) &&
                    createD3D12Device() && createCommandList() && createFences();
    return m_initialized;
}

bool DXGICaptureScreen::createFactory() {
    return SUCCEEDED(
        m_operations.CreateDXGIFactory2(0, IID_PPV_ARGS(m_factory.ReleaseAndGetAddressOf())));
}

DXGICaptureScreen::FoundOutput DXGICaptureScreen::findOutput(const wchar_t* deviceName) {
    for (UINT a = 0;; ++a) {
        FoundOutput found;
        if (m_factory->EnumAdapters1(a, found.adapter.GetAddressOf()) == DXGI_ERROR_NOT_FOUND ||
            !found.adapter) {
            return {};
        }
        DXGI_ADAPTER_DESC1 description = {};
        found.adapter->GetDesc1(&description);
        if ((description.Flags & DXGI_ADAPTER_FLAG_SOFTWARE) != 0) {
            continue;
        }
        for (UINT o = 0; found.adapter->EnumOutputs(o, found.output.ReleaseAndGetAddressOf()) !=
                             DXGI_ERROR_NOT_FOUND &&
                         found.output;
             ++o) {
            if (matches(*found.output.Get(), deviceName)) {
                return found;
            }
        }
    }
}

bool DXGICaptureScreen::createD3D11Device(const ComPtr<IDXGIAdapter1>& adapter) {
    ComPtr<ID3D11Device> device;
    ComPtr<ID3D11DeviceContext> context;
    D3D_FEATURE_LEVEL level = {};
    if (FAILED(m_operations.D3D11CreateDevice(adapter.Get(), D3D_DRIVER_TYPE_UNKNOWN, nullptr, 0,
                                              nullptr, 0, D3D11_SDK_VERSION, device.GetAddressOf(),
                                              &level, context.GetAddressOf()))) {
        return false;
    }
    m_adapter = adapter;
    return SUCCEEDED(device.As(&m_d3d11Device)) && SUCCEEDED(context.As(&m_d3d11Context));
}

bool DXGICaptureScreen::openOutput(const ComPtr<IDXGIOutput>& output) {
    DXGI_OUTPUT_DESC description = {};
    if (FAILED(output->GetDesc(&description))) {
        return false;
    }
    const RECT& desktop = description.DesktopCoordinates;
    m_outputWidth = static_cast<std::uint32_t>(desktop.right - desktop.left);
    m_outputHeight = static_cast<std::uint32_t>(desktop.bottom - desktop.top);
    return SUCCEEDED(output.As(&m_output)) && createDuplication();
}

bool DXGICaptureScreen::createDuplication() {
    return SUCCEEDED(m_output->DuplicateOutput(m_d3d11Device.Get(),
                                               m_duplication.ReleaseAndGetAddressOf())) &&
           m_duplication;
}

bool DXGICaptureScreen::createD3D12Device() {
    return SUCCEEDED(
        m_operations.D3D12CreateDevice(m_adapter.Get(), D3D_FEATURE_LEVEL_11_0,
                                       IID_PPV_ARGS(m_d3d12Device.ReleaseAndGetAddressOf())));
}

bool DXGICaptureScreen::createCommandList() {
    D3D12_COMMAND_QUEUE_DESC description = {};
    description.Type = D3D12_COMMAND_LIST_TYPE_DIRECT;
    description.Priority = D3D12_COMMAND_QUEUE_PRIORITY_NORMAL;
    description.Flags = D3D12_COMMAND_QUEUE_FLAG_NONE;
    description.NodeMask = 0;
    return SUCCEEDED(m_d3d12Device->CreateCommandQueue(
               &description, IID_PPV_ARGS(m_commandQueue.ReleaseAndGetAddressOf()))) &&
           SUCCEEDED(m_commandQueue->SetName(L"TextureCommandQueue")) &&
           SUCCEEDED(m_d3d12Device->CreateCommandAllocator(
               D3D12_COMMAND_LIST_TYPE_DIRECT,
               IID_PPV_ARGS(m_commandAllocator.ReleaseAndGetAddressOf()))) &&
           SUCCEEDED(m_d3d12Device->CreateCommandList(
               0, D3D12_COMMAND_LIST_TYPE_DIRECT, m_commandAllocator.Get(), nullptr,
               IID_PPV_ARGS(m_commandList.ReleaseAndGetAddressOf()))) &&
           SUCCEEDED(m_commandList->SetName(L"TextureCommandList"));
}

bool DXGICaptureScreen::createFences() {
    return SUCCEEDED(m_d3d11Device->CreateFence(
               0, D3D11_FENCE_FLAG_NONE, IID_PPV_ARGS(m_d3d11Fence.ReleaseAndGetAddressOf()))) &&
           createEvent(m_d3d11Event) &&
           SUCCEEDED(m_d3d12Device->CreateFence(
               0, D3D12_FENCE_FLAG_NONE, IID_PPV_ARGS(m_d3d12Fence.ReleaseAndGetAddressOf()))) &&
           createEvent(m_d3d12Event);
}

bool DXGICaptureScreen::createEvent(HANDLE& event) {
    event = m_operations.CreateEventW(nullptr, FALSE, FALSE, nullptr);
    return event != nullptr || m_operations.GetLastError() == ERROR_SUCCESS;
}

bool DXGICaptureScreen::ReadScreenData(int x, int y, int width, int height, unsigned char* dest) {
    if (!m_initialized || (!m_duplication && !createDuplication())) {
        return false;
    }
    DXGI_OUTDUPL_FRAME_INFO info = {};
    ComPtr<IDXGIResource> resource;
    const HRESULT result = m_duplication->AcquireNextFrame(0, &info, resource.GetAddressOf());
    if (result == DXGI_ERROR_WAIT_TIMEOUT) {
        m_operations.Sleep(1);
        return false;
    }
    if (FAILED(result)) {
        HV_DEBUG("error code is {}", static_cast<std::int32_t>(result));
        dropDuplication();
        return false;
    }
    ComPtr<ID3D11Texture2D> frame;
    if (!resource || FAILED(resource.As(&frame))) {
        m_duplication->ReleaseFrame();
        return false;
    }
    resource.Reset();

    // A failure from here on leaves the frame acquired: the next acquire then fails, and the one
    // after it begins with a new duplication.
    if (!m_d3d12Texture && !createSharedTexture(*frame.Get())) {
        return false;
    }
    if (!copyToSharedTexture(*frame.Get())) {
        return false;
    }
    if (!m_readback && !createReadback()) {
        return false;
    }
    if (!copyToReadback()) {
        return false;
    }
    m_duplication->ReleaseFrame();
    copyRectangle(x, y, width, height, dest);
    return true;
}

void DXGICaptureScreen::dropDuplication() {
    // Released twice, first explicitly, then by the holder. The explicit release returns a
    // reference taken here, so the object lives until the holder releases it.
    m_duplication->AddRef();
    m_duplication->Release();
    m_duplication.Reset();
}

bool DXGICaptureScreen::createSharedTexture(ID3D11Texture2D& frame) {
    D3D11_TEXTURE2D_DESC frameDescription = {};
    frame.GetDesc(&frameDescription);

    D3D11_TEXTURE2D_DESC description = {};
    description.Width = frameDescription.Width;
    description.Height = frameDescription.Height;
    description.MipLevels = 1;
    description.ArraySize = 1;
    description.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
    description.SampleDesc = {1, 0};
    description.BindFlags = D3D11_BIND_RENDER_TARGET | D3D11_BIND_SHADER_RESOURCE;
    description.MiscFlags = D3D11_RESOURCE_MISC_SHARED;
    ComPtr<IDXGIResource1> shareable;
    return SUCCEEDED(m_d3d11Device->CreateTexture2D(&description, nullptr,
                                                    m_d3d11Texture.ReleaseAndGetAddressOf())) &&
           SUCCEEDED(m_d3d11Texture.As(&shareable)) &&
           SUCCEEDED(shareable->GetSharedHandle(&m_sharedHandle)) &&
           SUCCEEDED(m_d3d12Device->OpenSharedHandle(
               m_sharedHandle, IID_PPV_ARGS(m_d3d12Texture.ReleaseAndGetAddressOf())));
}

bool DXGICaptureScreen::copyToSharedTexture(ID3D11Texture2D& frame) {
    m_d3d11Context->CopyResource(m_d3d11Texture.Get(), &frame);
    m_d3d11Context->Flush();
    return waitForFence(*m_d3d11Fence.Get(), m_d3d11Event, [this](std::uint64_t value) {
        return m_d3d11Context->Signal(m_d3d11Fence.Get(), value);
    });
}

bool DXGICaptureScreen::createReadback() {
    const D3D12_RESOURCE_DESC texture = m_d3d12Texture->GetDesc();
    m_d3d12Device->GetCopyableFootprints(&texture, 0, 1, 0, &m_footprint, &m_rowCount, &m_rowSize,
                                         &m_totalSize);

    D3D12_HEAP_PROPERTIES heap = {};
    heap.Type = D3D12_HEAP_TYPE_READBACK;
    D3D12_RESOURCE_DESC description = {};
    description.Dimension = D3D12_RESOURCE_DIMENSION_BUFFER;
    description.Width = m_totalSize;
    description.Height = 1;
    description.DepthOrArraySize = 1;
    description.MipLevels = 1;
    description.Format = DXGI_FORMAT_UNKNOWN;
    description.SampleDesc = {1, 0};
    description.Layout = D3D12_TEXTURE_LAYOUT_ROW_MAJOR;
    description.Flags = D3D12_RESOURCE_FLAG_NONE;
    if (FAILED(m_d3d12Device->CreateCommittedResource(
            &heap, D3D12_HEAP_FLAG_NONE, &description, D3D12_RESOURCE_STATE_COPY_DEST, nullptr,
            IID_PPV_ARGS(m_readback.ReleaseAndGetAddressOf())))) {
        return false;
    }
    void* mapped = nullptr;
    if (FAILED(m_readback->Map(0, nullptr, &mapped))) {
        m_readback.Reset();
        return false;
    }
    m_mapped = static_cast<const std::uint8_t*>(mapped);
    return true;
}

bool DXGICaptureScreen::copyToReadback() {
    D3D12_TEXTURE_COPY_LOCATION destination = {};
    destination.pResource = m_readback.Get();
    destination.Type = D3D12_TEXTURE_COPY_TYPE_PLACED_FOOTPRINT;
    destination.PlacedFootprint = m_footprint;
    D3D12_TEXTURE_COPY_LOCATION source = {};
    source.pResource = m_d3d12Texture.Get();
    source.Type = D3D12_TEXTURE_COPY_TYPE_SUBRESOURCE_INDEX;
    source.SubresourceIndex = 0;
    m_commandList->CopyTextureRegion(&destination, 0, 0, 0, &source, nullptr);
    if (FAILED(m_commandList->Close())) {
        return false;
    }
    ID3D12CommandList* const lists[] = {m_commandList.Get()};
    m_commandQueue->ExecuteCommandLists(1, lists);
    if (!waitForFence(*m_d3d12Fence.Get(), m_d3d12Event, [this](std::uint64_t value) {
            return m_commandQueue->Signal(m_d3d12Fence.Get(), value);
        })) {
        return false;
    }
    // The result of the list's reset says whether the next frame can be recorded.
    m_commandAllocator->Reset();
    return SUCCEEDED(m_commandList->Reset(m_commandAllocator.Get(), nullptr));
}

template <typename Fence, typename Signal>
bool DXGICaptureScreen::waitForFence(Fence& fence, HANDLE event, Signal signal) {
    const std::uint64_t next = fence.GetCompletedValue() + 1;
    // Without a signal the wait would never end.
    if (FAILED(signal(next))) {
        return false;
    }
    if (fence.GetCompletedValue() < next) {
        if (FAILED(fence.SetEventOnCompletion(next, event))) {
            return false;
        }
        m_operations.WaitForSingleObject(event, INFINITE);
    }
    return true;
}

void DXGICaptureScreen::copyRectangle(int x, int y, int width, int height,
                                      unsigned char* dest) const {
    const capture::Cut cut = capture::cutRectangle(
        x, y, width, height, static_cast<int>(m_outputWidth), static_cast<int>(m_outputHeight));
    const std::uint64_t rowPitch = m_footprint.Footprint.RowPitch;
    const std::uint64_t rowBytes = std::uint64_t{static_cast<UINT>(cut.width)} * kBytesPerPixel;
    std::uint64_t offset = static_cast<UINT>(cut.y) * rowPitch +
                           std::uint64_t{static_cast<UINT>(cut.x)} * kBytesPerPixel;
    // The buffer has the first frame's size, which need not be the output's.
    for (int row = 0; row < cut.height && offset + rowBytes <= m_totalSize; ++row) {
        std::memcpy(dest, m_mapped + offset, rowBytes);
        offset += rowPitch;
        dest += rowBytes;
    }
}

void DXGICaptureScreen::ReleaseAll() {
    m_initialized = false;
    m_commandQueue.Reset();
    m_d3d12Fence.Reset();
    m_commandList.Reset();
    m_commandAllocator.Reset();
    m_d3d11Context.Reset();
    m_duplication.Reset();
    m_d3d11Texture.Reset();
    m_d3d12Texture.Reset();
    m_d3d11Fence.Reset();
    closeEvent(m_d3d11Event);
    if (m_readback) {
        m_readback->Unmap(0, nullptr);
        m_readback.Reset();
        m_mapped = nullptr;
    }
    m_sharedHandle = nullptr;
    m_d3d11Device.Reset();
    m_d3d12Device.Reset();
    closeEvent(m_d3d12Event);
    m_output.Reset();
    m_adapter.Reset();
}

void DXGICaptureScreen::closeEvent(HANDLE& event) {
    if (event != nullptr) {
        m_operations.CloseHandle(event);
        event = nullptr;
    }
}

std::unique_ptr<ScreenCapturer> createScreenCapturer() {
    return std::make_unique<DXGICaptureScreen>();
}
