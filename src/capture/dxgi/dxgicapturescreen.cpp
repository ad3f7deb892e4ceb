#include "capture/dxgi/dxgicapturescreen.h"

#include <string_view>
#include <utility>

#include "capture/dxgi/failurereason.h"
#include "support/log.h"
#include "support/utf8.h"

namespace {

using capture::Rotation;

/// Some headers say 1, which is no value of the page "D3D11_FENCE_FLAG".
constexpr auto kNoFenceFlags = static_cast<D3D11_FENCE_FLAG>(0);

/// So often a wait for the GPU looks whether its device is still there.
constexpr DWORD kDeviceCheckMs = 500;

/// Page "Desktop Duplication API": the frame is never rotated, the desktop is, clockwise.
Rotation rotationOf(DXGI_MODE_ROTATION rotation) {
    switch (rotation) {
        case DXGI_MODE_ROTATION_ROTATE90:
            return Rotation::Quarter;
        case DXGI_MODE_ROTATION_ROTATE180:
            return Rotation::Half;
        case DXGI_MODE_ROTATION_ROTATE270:
            return Rotation::ThreeQuarters;
        default:
            return Rotation::None;
    }
}

bool matches(IDXGIOutput& output, const wchar_t* deviceName) {
    DXGI_OUTPUT_DESC description = {};
    if (FAILED(output.GetDesc(&description))) {
        return false;
    }
    return deviceName == nullptr ||
           std::wstring_view(description.DeviceName) == std::wstring_view(deviceName);
}

/// Page "ID3D11DeviceContext::CopyResource": it does nothing where the formats are not of one
/// group.
bool isBgra(DXGI_FORMAT format) {
    return format == DXGI_FORMAT_B8G8R8A8_UNORM || format == DXGI_FORMAT_B8G8R8A8_UNORM_SRGB ||
           format == DXGI_FORMAT_B8G8R8A8_TYPELESS;
}

}  // namespace

DXGICaptureScreen::DXGICaptureScreen(DxgiOperations& operations) : m_operations(operations) {}

DXGICaptureScreen::~DXGICaptureScreen() {
    ReleaseAll();
}

bool DXGICaptureScreen::InitCapture(const wchar_t* deviceName) {
    ReleaseAll();
    std::string name = deviceName != nullptr ? support::utf8FromWide(deviceName) : "";
    if (name != m_outputName) {
        m_failure = {};  // It was another output's.
        m_outputName = std::move(name);
    }
    FoundOutput found;
    if (m_factory && m_factory->IsCurrent()) {
        found = findOutput(deviceName);
    }
    // Page "IDXGIFactory1::IsCurrent": an outdated factory does not see later adapters. Of outputs
    // it says nothing.
    if (!found.output) {
        if (!createFactory()) {
            return fail(true);
        }
        found = findOutput(deviceName);
    }
    m_initialized = done("finding the output", found.output ? S_OK : DXGI_ERROR_NOT_FOUND) &&
                    createD3D11Device(found.adapter) && openOutput(found.output) &&
                    createD3D12Device() && createCommandList() && createFences();
    if (!m_initialized) {
        return fail(true);
    }
    m_failure.needsInit = false;
    if (!m_duplication) {
        fail(false);
        m_failure.passes = !m_failure.needsInit;
        return false;
    }
    return true;
}

bool DXGICaptureScreen::createFactory() {
    return done("CreateDXGIFactory2", m_operations.CreateDXGIFactory2(
                                          0, IID_PPV_ARGS(m_factory.ReleaseAndGetAddressOf())));
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
    if (!done("D3D11CreateDevice",
              m_operations.D3D11CreateDevice(adapter.Get(), D3D_DRIVER_TYPE_UNKNOWN, nullptr, 0,
                                             nullptr, 0, D3D11_SDK_VERSION, device.GetAddressOf(),
                                             &level, context.GetAddressOf()))) {
        return false;
    }
    m_adapter = adapter;
    return done("ID3D11Device5", device.As(&m_d3d11Device)) &&
           done("ID3D11DeviceContext4", context.As(&m_d3d11Context));
}

bool DXGICaptureScreen::openOutput(const ComPtr<IDXGIOutput>& output) {
    DXGI_OUTPUT_DESC description = {};
    if (!done("IDXGIOutput::GetDesc", output->GetDesc(&description))) {
        return false;
    }
    const RECT& desktop = description.DesktopCoordinates;
    m_outputWidth = static_cast<std::uint32_t>(desktop.right - desktop.left);
    m_outputHeight = static_cast<std::uint32_t>(desktop.bottom - desktop.top);
    // What is away for a while is duplicated by a later read.
    return done("IDXGIOutput1", output.As(&m_output)) &&
           (createDuplication() || capture::dxgi::isDesktopAway(m_failedResult));
}

bool DXGICaptureScreen::createDuplication() {
    m_lastRead.reset();  // Its first frame does not build on another one.
    m_presented = false;
    const HRESULT result =
        m_output->DuplicateOutput(m_d3d11Device.Get(), m_duplication.ReleaseAndGetAddressOf());
    if (!done("DuplicateOutput", SUCCEEDED(result) && !m_duplication ? E_FAIL : result)) {
        return false;
    }
    DXGI_OUTDUPL_DESC description = {};
    m_duplication->GetDesc(&description);
    m_rotation = rotationOf(description.Rotation);
    return true;
}

bool DXGICaptureScreen::createD3D12Device() {
    return done("D3D12CreateDevice", m_operations.D3D12CreateDevice(
                                         m_adapter.Get(), D3D_FEATURE_LEVEL_11_0,
                                         IID_PPV_ARGS(m_d3d12Device.ReleaseAndGetAddressOf())));
}

bool DXGICaptureScreen::createCommandList() {
    D3D12_COMMAND_QUEUE_DESC description = {};
    description.Type = D3D12_COMMAND_LIST_TYPE_DIRECT;
    description.Priority = D3D12_COMMAND_QUEUE_PRIORITY_NORMAL;
    description.Flags = D3D12_COMMAND_QUEUE_FLAG_NONE;
    description.NodeMask = 0;
    return done("CreateCommandQueue",
                m_d3d12Device->CreateCommandQueue(
                    &description, IID_PPV_ARGS(m_commandQueue.ReleaseAndGetAddressOf()))) &&
           done("SetName", m_commandQueue->SetName(L"TextureCommandQueue")) &&
           done("CreateCommandAllocator",
                m_d3d12Device->CreateCommandAllocator(
                    D3D12_COMMAND_LIST_TYPE_DIRECT,
                    IID_PPV_ARGS(m_commandAllocator.ReleaseAndGetAddressOf()))) &&
           done("CreateCommandList",
                m_d3d12Device->CreateCommandList(
                    0, D3D12_COMMAND_LIST_TYPE_DIRECT, m_commandAllocator.Get(), nullptr,
                    IID_PPV_ARGS(m_commandList.ReleaseAndGetAddressOf()))) &&
           done("SetName", m_commandList->SetName(L"TextureCommandList"));
}

bool DXGICaptureScreen::createFences() {
    return done("ID3D11Device5::CreateFence",
                m_d3d11Device->CreateFence(0, kNoFenceFlags,
                                           IID_PPV_ARGS(m_d3d11Fence.ReleaseAndGetAddressOf()))) &&
           createEvent(m_d3d11Event) &&
           done("ID3D12Device::CreateFence",
                m_d3d12Device->CreateFence(0, D3D12_FENCE_FLAG_NONE,
                                           IID_PPV_ARGS(m_d3d12Fence.ReleaseAndGetAddressOf()))) &&
           createEvent(m_d3d12Event);
}

bool DXGICaptureScreen::createEvent(HANDLE& event) {
    event = m_operations.CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const DWORD error = event != nullptr ? ERROR_SUCCESS : m_operations.GetLastError();
    return done("CreateEventW", HRESULT_FROM_WIN32(error));
}

bool DXGICaptureScreen::ReadScreenData(int x, int y, int width, int height, unsigned char* dest) {
    if (!m_initialized || m_failure.needsInit) {
        return false;
    }
    if (!m_duplication && !createDuplication()) {
        return fail(!m_factory->IsCurrent() || !capture::dxgi::mayDuplicateLater(m_failedResult));
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
        static_cast<void>(done("AcquireNextFrame", result));
        return fail(false);
    }
    const bool pointerChanged = m_drawsPointer && m_pointer.update(*m_duplication.Get(), info);
    // Page "DXGI_OUTDUPL_FRAME_INFO": the image has not changed, only the pointer. Where there is
    // no image yet, that of the frame is taken all the same: a still screen presents no other.
    const bool isPresented = info.LastPresentTime.QuadPart != 0;
    if (!isPresented && m_lastRead) {
        m_duplication->ReleaseFrame();
        if (pointerChanged && movePointer(x, y, width, height, dest)) {
            return true;
        }
        m_operations.Sleep(1);
        return false;
    }
    const ComPtr<ID3D11Texture2D> frame = openFrame(resource);
    if (!frame) {
        m_duplication->ReleaseFrame();
        return fail(false);
    }
    resource.Reset();
    const bool rowsKnown = m_metadata.fetch(*m_duplication.Get(), info) && m_presented;
    m_presented = m_presented || isPresented;
    if (!relay(*frame.Get())) {
        return false;
    }
    m_duplication->ReleaseFrame();
    deliver(x, y, width, height, dest, rowsKnown);
    succeed();
    return true;
}

/// Null: it can't be copied.
DXGICaptureScreen::ComPtr<ID3D11Texture2D> DXGICaptureScreen::openFrame(
    const ComPtr<IDXGIResource>& resource) {
    ComPtr<ID3D11Texture2D> frame;
    if (!done("ID3D11Texture2D", resource ? resource.As(&frame) : E_POINTER)) {
        return nullptr;
    }
    D3D11_TEXTURE2D_DESC description = {};
    frame->GetDesc(&description);
    return done("the frame's format", isBgra(description.Format) ? S_OK : DXGI_ERROR_UNSUPPORTED)
               ? frame
               : nullptr;
}

/// Brings the frame into the memory that the CPU reads. A failure leaves it acquired: the next
/// acquire then fails, and the one after it begins with a new duplication.
bool DXGICaptureScreen::relay(ID3D11Texture2D& frame) {
    D3D11_TEXTURE2D_DESC description = {};
    frame.GetDesc(&description);
    if (!fits(description)) {
        static_cast<void>(done("the frame's size", DXGI_ERROR_ACCESS_LOST));
        return fail(true);
    }
    if (!m_d3d12Texture && !createSharedTexture(description)) {
        return fail(false);
    }
    if (!copyToSharedTexture(frame)) {
        return fail(false);
    }
    if (!m_readback && !createReadback()) {
        return fail(false);
    }
    // A command list that was not reset takes no further copies.
    return copyToReadback() || fail(true);
}

/// Page "ID3D11DeviceContext::CopyResource": it does nothing where sizes differ, so that the image
/// would stay as it is.
bool DXGICaptureScreen::fits(const D3D11_TEXTURE2D_DESC& frame) const {
    return !m_mode || (frame.Width == m_mode->width && frame.Height == m_mode->height &&
                       m_rotation == m_mode->rotation);
}

/// From the first frame on its own size counts, should the output have changed its mode before it.
void DXGICaptureScreen::keepMode(const D3D11_TEXTURE2D_DESC& frame) {
    m_mode = Mode{frame.Width, frame.Height, m_rotation};
    const bool sideways = capture::swapsSides(m_rotation);
    m_outputWidth = sideways ? frame.Height : frame.Width;
    m_outputHeight = sideways ? frame.Width : frame.Height;
}

void DXGICaptureScreen::dropDuplication() {
    // Released twice, first explicitly, then by the holder. The explicit release returns a
    // reference taken here, so the object lives until the holder releases it.
    m_duplication->AddRef();
    m_duplication->Release();
    m_duplication.Reset();
}

bool DXGICaptureScreen::createSharedTexture(const D3D11_TEXTURE2D_DESC& frame) {
    D3D11_TEXTURE2D_DESC description = {};
    description.Width = frame.Width;
    description.Height = frame.Height;
    description.MipLevels = 1;
    description.ArraySize = 1;
    description.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
    description.SampleDesc = {1, 0};
    description.BindFlags = D3D11_BIND_RENDER_TARGET | D3D11_BIND_SHADER_RESOURCE;
    description.MiscFlags = D3D11_RESOURCE_MISC_SHARED;
    ComPtr<IDXGIResource1> shareable;
    if (!done("CreateTexture2D",
              m_d3d11Device->CreateTexture2D(&description, nullptr,
                                             m_d3d11Texture.ReleaseAndGetAddressOf())) ||
        !done("IDXGIResource1", m_d3d11Texture.As(&shareable)) ||
        !done("GetSharedHandle", shareable->GetSharedHandle(&m_sharedHandle)) ||
        !done("OpenSharedHandle",
              m_d3d12Device->OpenSharedHandle(
                  m_sharedHandle, IID_PPV_ARGS(m_d3d12Texture.ReleaseAndGetAddressOf())))) {
        return false;
    }
    keepMode(frame);
    return true;
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
    if (!done("CreateCommittedResource",
              m_d3d12Device->CreateCommittedResource(
                  &heap, D3D12_HEAP_FLAG_NONE, &description, D3D12_RESOURCE_STATE_COPY_DEST,
                  nullptr, IID_PPV_ARGS(m_readback.ReleaseAndGetAddressOf())))) {
        return false;
    }
    void* mapped = nullptr;
    if (!done("Map", m_readback->Map(0, nullptr, &mapped))) {
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
    if (!done("Close", m_commandList->Close())) {
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
    return done("Reset", m_commandList->Reset(m_commandAllocator.Get(), nullptr));
}

template <typename Fence, typename Signal>
bool DXGICaptureScreen::waitForFence(Fence& fence, HANDLE event, Signal signal) {
    const std::uint64_t next = fence.GetCompletedValue() + 1;
    // Without a signal the wait would never end.
    if (!done("Signal", signal(next))) {
        return false;
    }
    if (fence.GetCompletedValue() < next) {
        if (!done("SetEventOnCompletion", fence.SetEventOnCompletion(next, event))) {
            return false;
        }
        while (m_operations.WaitForSingleObject(event, kDeviceCheckMs) == WAIT_TIMEOUT &&
               !deviceRemoved()) {
        }
    }
    // Page "ID3D12Fence::GetCompletedValue": once the device is removed every value is reached,
    // whatever has become of the copy.
    const bool isCopied = fence.GetCompletedValue() >= next && !deviceRemoved();
    return done("waiting for the GPU", isCopied ? S_OK : E_FAIL);
}

capture::Cut DXGICaptureScreen::cutOf(int x, int y, int width, int height) const {
    return capture::cutRectangle(x, y, width, height, static_cast<int>(m_outputWidth),
                                 static_cast<int>(m_outputHeight));
}

/// False: `dest` does not hold the image.
bool DXGICaptureScreen::movePointer(int x, int y, int width, int height, unsigned char* dest) {
    const capture::Cut cut = cutOf(x, y, width, height);
    if (!m_lastRead || !(*m_lastRead == Read{cut, width, dest})) {
        return false;
    }
    m_dirtyRows.known = cut.width == width;
    m_dirtyRows.spans.clear();
    m_pointer.redraw({dest, static_cast<std::size_t>(cut.width) * 4, cut.width, cut.height}, cut,
                     m_dirtyRows);
    return true;
}

/// Copies the rectangle and reports its rows.
void DXGICaptureScreen::deliver(int x, int y, int width, int height, unsigned char* dest,
                                bool rowsKnown) {
    const capture::Cut cut = cutOf(x, y, width, height);
    const capture::ImageView image = {m_mapped, m_footprint.Footprint.RowPitch,
                                      static_cast<int>(m_mode->width),
                                      static_cast<int>(m_mode->height)};
    capture::copyUpright(image, m_rotation, cut, dest);

    // Rows that were cut short are not at the frame's own row positions.
    const Read read = {cut, width, dest};
    m_dirtyRows.known = rowsKnown && cut.width == width && m_lastRead && *m_lastRead == read;
    m_metadata.findRows(image.width, image.height, m_rotation, cut, m_dirtyRows.spans);
    if (m_drawsPointer) {
        m_pointer.draw({dest, static_cast<std::size_t>(cut.width) * 4, cut.width, cut.height}, cut,
                       m_dirtyRows);
    }
    m_lastRead = read;
}

bool DXGICaptureScreen::done(const char* call, HRESULT result) {
    if (FAILED(result)) {
        m_failedCall = call;
        m_failedResult = result;
    }
    return SUCCEEDED(result);
}

bool DXGICaptureScreen::fail(bool needsInit) {
    m_lastRead.reset();  // The frame's rows are lost.
    const bool isRemoved = deviceRemoved();
    const bool isFirst = m_failure.reason.empty();
    m_failure.needsInit = needsInit || isRemoved;
    m_failure.passes = false;
    m_failure.reason = capture::dxgi::failureReason(
        m_failedCall, isRemoved ? DXGI_ERROR_DEVICE_REMOVED : m_failedResult);
    if (isFirst) {
        HV_WARN("output \"{}\" cannot be captured: {}", m_outputName, m_failure.reason);
    }
    return false;
}

/// Page "ID3D11Device::GetDeviceRemovedReason": tells it after any failure.
bool DXGICaptureScreen::deviceRemoved() const {
    return (m_d3d11Device && FAILED(m_d3d11Device->GetDeviceRemovedReason())) ||
           (m_d3d12Device && FAILED(m_d3d12Device->GetDeviceRemovedReason()));
}

void DXGICaptureScreen::succeed() {
    if (!m_failure.reason.empty()) {
        HV_INFO("output \"{}\" is captured again", m_outputName);
        m_failure = {};
    }
}

void DXGICaptureScreen::ReleaseAll() {
    m_initialized = false;
    m_mode.reset();
    m_lastRead.reset();
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
