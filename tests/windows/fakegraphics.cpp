// Compiled with the C declarations of the interfaces, whose tables of methods can be filled slot by
// slot: a method without an entry ends the test.
#define CINTERFACE
#define INITGUID  // The import libraries lack some interface identifiers.
#include "windows/fakegraphics.h"

#include <d3d11_4.h>
#include <d3d12.h>
#include <dxgi1_5.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

constexpr UINT kRowAlignment = 256;

UINT rowPitch(int width) {
    const UINT bytes = static_cast<UINT>(width) * 4;
    return (bytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
}

template <typename Interface>
FakeObject& object(Interface* self) {
    auto& found = *reinterpret_cast<FakeObject*>(self);
    if (found.references <= 0) {
        found.machine->mistakes.push_back("call to " + found.name + " after its last release");
    }
    return found;
}

template <typename Interface>
FakeGraphics& machine(Interface* self) {
    return *object(self).machine;
}

std::string nameOf(void* other) {
    return other == nullptr ? "null" : static_cast<FakeObject*>(other)->name;
}

template <typename Interface>
ULONG STDMETHODCALLTYPE addReference(Interface* self) {
    return static_cast<ULONG>(++object(self).references);
}

template <typename Interface>
ULONG STDMETHODCALLTYPE release(Interface* self) {
    FakeObject& gone = object(self);
    if (gone.name == "duplication") {
        gone.machine->call("duplication.Release");
    }
    if (--gone.references == 0) {
        gone.machine->calls.push_back("~" + gone.name);
    }
    return static_cast<ULONG>(gone.references);
}

HRESULT query(FakeObject& self, REFIID iid, void** result);

template <typename Interface>
HRESULT STDMETHODCALLTYPE queryInterface(Interface* self, REFIID iid, void** result) {
    return query(object(self), iid, result);
}

void unexpectedCall() {
    std::fputs("a COM method was called that nothing here should call\n", stderr);
    std::abort();
}

/// A table of methods in which only the three common ones are filled.
template <typename Methods>
Methods emptyTable() {
    Methods methods;
    auto* const stop = &unexpectedCall;
    for (std::size_t slot = 0; slot < sizeof(Methods) / sizeof(stop); ++slot) {
        std::memcpy(reinterpret_cast<char*>(&methods) + slot * sizeof(stop), &stop, sizeof(stop));
    }
    methods.QueryInterface = &queryInterface;
    methods.AddRef = &addReference;
    methods.Release = &release;
    return methods;
}

/// One table per interface, filled once by `fill`.
template <typename Methods, typename Fill>
const Methods* table(Fill fill) {
    static const Methods methods = [&fill] {
        Methods made = emptyTable<Methods>();
        fill(made);
        return made;
    }();
    return &methods;
}

HRESULT give(FakeGraphics& machine, HRESULT result, void** target, const void* methods,
             const std::string& name) {
    *target = SUCCEEDED(result) ? machine.make(methods, name) : nullptr;
    return result;
}

// --- Textures -----------------------------------------------------------------------------------

const void* texture11Methods() {
    return table<ID3D11Texture2DVtbl>([](ID3D11Texture2DVtbl& methods) {
        methods.GetDesc = [](ID3D11Texture2D* self, D3D11_TEXTURE2D_DESC* description) {
            *description = {};
            description->Width = static_cast<UINT>(machine(self).frameWidth);
            description->Height = static_cast<UINT>(machine(self).frameHeight);
        };
    });
}

const void* resourceMethods() {
    return table<IDXGIResource1Vtbl>([](IDXGIResource1Vtbl& methods) {
        methods.GetSharedHandle = [](IDXGIResource1* self, HANDLE* handle) {
            *handle = reinterpret_cast<HANDLE>(std::uintptr_t{0x5a5a});
            return machine(self).call("shareable.GetSharedHandle");
        };
    });
}

const void* resource12Methods() {
    return table<ID3D12ResourceVtbl>([](ID3D12ResourceVtbl& methods) {
        methods.GetDesc = [](ID3D12Resource* self, D3D12_RESOURCE_DESC* description) {
            *description = {};
            description->Dimension = D3D12_RESOURCE_DIMENSION_TEXTURE2D;
            description->Width = static_cast<UINT64>(machine(self).textureWidth);
            description->Height = static_cast<UINT>(machine(self).textureHeight);
            machine(self).call(object(self).name + ".GetDesc");
            return description;
        };
        methods.Map = [](ID3D12Resource* self, UINT subresource, const D3D12_RANGE* range,
                         void** data) {
            *data = machine(self).readback.data();
            return machine(self).call("readback.Map", std::to_string(subresource) + ", " +
                                                          (range == nullptr ? "all" : "range"));
        };
        methods.Unmap = [](ID3D12Resource* self, UINT /*subresource*/, const D3D12_RANGE*) {
            machine(self).call("readback.Unmap");
        };
    });
}

// --- Duplication --------------------------------------------------------------------------------

const void* duplicationMethods() {
    return table<IDXGIOutputDuplicationVtbl>([](IDXGIOutputDuplicationVtbl& methods) {
        methods.AcquireNextFrame = [](IDXGIOutputDuplication* self, UINT timeout,
                                      DXGI_OUTDUPL_FRAME_INFO*, IDXGIResource** resource) {
            FakeGraphics& all = machine(self);
            const HRESULT result =
                all.call("duplication.AcquireNextFrame", std::to_string(timeout));
            return give(all, result, reinterpret_cast<void**>(resource), resourceMethods(),
                        "resource");
        };
        methods.ReleaseFrame = [](IDXGIOutputDuplication* self) {
            return machine(self).call("duplication.ReleaseFrame");
        };
    });
}

const void* outputMethods() {
    return table<IDXGIOutput1Vtbl>([](IDXGIOutput1Vtbl& methods) {
        methods.GetDesc = [](IDXGIOutput1* self, DXGI_OUTPUT_DESC* description) {
            const FakeObject& output = object(self);
            const auto& is = output.machine->adapters[output.adapter].outputs[output.output];
            is.name.copy(description->DeviceName, std::size(description->DeviceName) - 1);
            description->DesktopCoordinates = is.desktop;
            return output.machine->call(output.name + ".GetDesc");
        };
        methods.DuplicateOutput = [](IDXGIOutput1* self, IUnknown* device,
                                     IDXGIOutputDuplication** duplication) {
            FakeGraphics& all = machine(self);
            const HRESULT result =
                all.call("output.DuplicateOutput", object(self).name + ", " + nameOf(device));
            return give(all, result, reinterpret_cast<void**>(duplication), duplicationMethods(),
                        "duplication");
        };
    });
}

const void* adapterMethods() {
    return table<IDXGIAdapter1Vtbl>([](IDXGIAdapter1Vtbl& methods) {
        methods.GetDesc1 = [](IDXGIAdapter1* self, DXGI_ADAPTER_DESC1* description) {
            const FakeObject& adapter = object(self);
            *description = {};
            description->Flags = adapter.machine->adapters[adapter.adapter].flags;
            return adapter.machine->call(adapter.name + ".GetDesc1");
        };
        methods.GetDesc = [](IDXGIAdapter1* self, DXGI_ADAPTER_DESC* description) {
            const FakeObject& adapter = object(self);
            const auto& is = adapter.machine->adapters[adapter.adapter];
            is.description.copy(description->Description, std::size(description->Description) - 1);
            description->DeviceId = is.deviceId;
            description->AdapterLuid = is.luid;
            return adapter.machine->call(adapter.name + ".GetDesc");
        };
        methods.EnumOutputs = [](IDXGIAdapter1* self, UINT index, IDXGIOutput** output) {
            const FakeObject& adapter = object(self);
            FakeGraphics& all = *adapter.machine;
            HRESULT result = all.call(adapter.name + ".EnumOutputs", std::to_string(index));
            if (SUCCEEDED(result) && index >= all.adapters[adapter.adapter].outputs.size()) {
                result = DXGI_ERROR_NOT_FOUND;
            }
            result = give(all, result, reinterpret_cast<void**>(output), outputMethods(),
                          "output" + std::to_string(adapter.adapter) + std::to_string(index));
            if (SUCCEEDED(result)) {
                object(*output).adapter = adapter.adapter;
                object(*output).output = index;
            }
            return result;
        };
    });
}

HRESULT giveAdapter(FakeGraphics& all, UINT index, void** adapter) {
    HRESULT result = all.call("factory.EnumAdapters1", std::to_string(index));
    if (SUCCEEDED(result) && index >= all.adapters.size()) {
        result = DXGI_ERROR_NOT_FOUND;
    }
    result = give(all, result, adapter, adapterMethods(), "adapter" + std::to_string(index));
    if (SUCCEEDED(result)) {
        object(static_cast<IDXGIAdapter1*>(*adapter)).adapter = index;
    }
    return result;
}

const void* factoryMethods() {
    return table<IDXGIFactory5Vtbl>([](IDXGIFactory5Vtbl& methods) {
        methods.EnumAdapters1 = [](IDXGIFactory5* self, UINT index, IDXGIAdapter1** adapter) {
            return giveAdapter(machine(self), index, reinterpret_cast<void**>(adapter));
        };
        methods.EnumAdapters = [](IDXGIFactory5* self, UINT index, IDXGIAdapter** adapter) {
            return giveAdapter(machine(self), index, reinterpret_cast<void**>(adapter));
        };
    });
}

// --- Direct3D 11 --------------------------------------------------------------------------------

const void* fence11Methods() {
    return table<ID3D11FenceVtbl>([](ID3D11FenceVtbl& methods) {
        methods.GetCompletedValue = [](ID3D11Fence* self) { return machine(self).fence11; };
        methods.SetEventOnCompletion = [](ID3D11Fence* self, UINT64 value, HANDLE event) {
            return machine(self).call("fence11.SetEventOnCompletion",
                                      std::to_string(value) + ", event" +
                                          std::to_string(reinterpret_cast<std::uintptr_t>(event)));
        };
    });
}

const void* context11Methods() {
    return table<ID3D11DeviceContext4Vtbl>([](ID3D11DeviceContext4Vtbl& methods) {
        methods.CopyResource = [](ID3D11DeviceContext4* self, ID3D11Resource* destination,
                                  ID3D11Resource* source) {
            FakeGraphics& all = machine(self);
            all.call("context11.CopyResource", nameOf(destination) + ", " + nameOf(source));
            all.onGpu([&all] { all.copyFrame ? all.copyFrame() : all.takePicture(); });
        };
        methods.Flush = [](ID3D11DeviceContext4* self) { machine(self).call("context11.Flush"); };
        methods.Signal = [](ID3D11DeviceContext4* self, ID3D11Fence* fence, UINT64 value) {
            FakeGraphics& all = machine(self);
            const HRESULT result =
                all.call("context11.Signal", nameOf(fence) + ", " + std::to_string(value));
            if (SUCCEEDED(result)) {
                all.signal(all.fence11, value);
            }
            return result;
        };
    });
}

const void* device11Methods() {
    return table<ID3D11Device5Vtbl>([](ID3D11Device5Vtbl& methods) {
        methods.CreateTexture2D = [](ID3D11Device5* self, const D3D11_TEXTURE2D_DESC* is,
                                     const D3D11_SUBRESOURCE_DATA*, ID3D11Texture2D** texture) {
            FakeGraphics& all = machine(self);
            char text[160];
            std::snprintf(text, sizeof(text),
                          "%ux%u format %d mips %u array %u samples %u/%u bind 0x%x misc 0x%x",
                          is->Width, is->Height, is->Format, is->MipLevels, is->ArraySize,
                          is->SampleDesc.Count, is->SampleDesc.Quality, is->BindFlags,
                          is->MiscFlags);
            all.textureWidth = static_cast<int>(is->Width);
            all.textureHeight = static_cast<int>(is->Height);
            all.texture.assign(std::size_t{is->Width} * is->Height, 0);
            return give(all, all.call("device11.CreateTexture2D", text),
                        reinterpret_cast<void**>(texture), texture11Methods(), "texture11");
        };
        methods.CreateFence = [](ID3D11Device5* self, UINT64 initial, D3D11_FENCE_FLAG flags,
                                 REFIID, void** fence) {
            FakeGraphics& all = machine(self);
            all.fence11 = all.completed;
            return give(all,
                        all.call("device11.CreateFence",
                                 std::to_string(initial) + ", flags " + std::to_string(flags)),
                        fence, fence11Methods(), "fence11");
        };
    });
}

// --- Direct3D 12 --------------------------------------------------------------------------------

const void* fence12Methods() {
    return table<ID3D12FenceVtbl>([](ID3D12FenceVtbl& methods) {
        methods.GetCompletedValue = [](ID3D12Fence* self) { return machine(self).fence12; };
        methods.SetEventOnCompletion = [](ID3D12Fence* self, UINT64 value, HANDLE event) {
            return machine(self).call("fence12.SetEventOnCompletion",
                                      std::to_string(value) + ", event" +
                                          std::to_string(reinterpret_cast<std::uintptr_t>(event)));
        };
    });
}

template <typename Interface>
HRESULT STDMETHODCALLTYPE setName(Interface* self, const wchar_t* name) {
    return machine(self).call(object(self).name + ".SetName",
                              std::string(name, name + std::wcslen(name)));
}

const void* queueMethods() {
    return table<ID3D12CommandQueueVtbl>([](ID3D12CommandQueueVtbl& methods) {
        methods.SetName = &setName;
        methods.ExecuteCommandLists = [](ID3D12CommandQueue* self, UINT count,
                                         ID3D12CommandList* const* lists) {
            FakeGraphics& all = machine(self);
            all.call("queue.ExecuteCommandLists", std::to_string(count) + ", " + nameOf(lists[0]));
            all.onGpu([&all] {
                const std::size_t rowBytes = static_cast<std::size_t>(all.textureWidth) * 4;
                for (int y = 0; y < all.textureHeight; ++y) {
                    std::memcpy(all.readback.data() +
                                    static_cast<std::size_t>(y) * rowPitch(all.textureWidth),
                                all.texture.data() + y * all.textureWidth, rowBytes);
                }
            });
        };
        methods.Signal = [](ID3D12CommandQueue* self, ID3D12Fence* fence, UINT64 value) {
            FakeGraphics& all = machine(self);
            const HRESULT result =
                all.call("queue.Signal", nameOf(fence) + ", " + std::to_string(value));
            if (SUCCEEDED(result)) {
                all.signal(all.fence12, value);
            }
            return result;
        };
    });
}

const void* allocatorMethods() {
    return table<ID3D12CommandAllocatorVtbl>([](ID3D12CommandAllocatorVtbl& methods) {
        methods.Reset = [](ID3D12CommandAllocator* self) {
            return machine(self).call("allocator.Reset");
        };
    });
}

const void* listMethods() {
    return table<ID3D12GraphicsCommandListVtbl>([](ID3D12GraphicsCommandListVtbl& methods) {
        methods.SetName = &setName;
        methods.CopyTextureRegion =
            [](ID3D12GraphicsCommandList* self, const D3D12_TEXTURE_COPY_LOCATION* to, UINT x,
               UINT y, UINT z, const D3D12_TEXTURE_COPY_LOCATION* from, const D3D12_BOX* box) {
                char text[160];
                std::snprintf(text, sizeof(text), "%s pitch %u at %u %u %u, %s %u%s",
                              nameOf(to->pResource).c_str(), to->PlacedFootprint.Footprint.RowPitch,
                              x, y, z, nameOf(from->pResource).c_str(), from->SubresourceIndex,
                              box == nullptr ? "" : " box");
                machine(self).call("list.CopyTextureRegion", text);
            };
        methods.Close = [](ID3D12GraphicsCommandList* self) {
            return machine(self).call("list.Close");
        };
        methods.Reset = [](ID3D12GraphicsCommandList* self, ID3D12CommandAllocator* allocator,
                           ID3D12PipelineState* state) {
            return machine(self).call("list.Reset", nameOf(allocator) + ", " + nameOf(state));
        };
    });
}

const void* device12Methods() {
    return table<ID3D12DeviceVtbl>([](ID3D12DeviceVtbl& methods) {
        methods.CreateCommandQueue = [](ID3D12Device* self, const D3D12_COMMAND_QUEUE_DESC* is,
                                        REFIID, void** queue) {
            FakeGraphics& all = machine(self);
            char text[80];
            std::snprintf(text, sizeof(text), "type %d priority %d flags %d node %u", is->Type,
                          static_cast<int>(is->Priority), is->Flags, is->NodeMask);
            return give(all, all.call("device12.CreateCommandQueue", text), queue, queueMethods(),
                        "queue");
        };
        methods.CreateCommandAllocator = [](ID3D12Device* self, D3D12_COMMAND_LIST_TYPE type,
                                            REFIID, void** allocator) {
            FakeGraphics& all = machine(self);
            return give(all,
                        all.call("device12.CreateCommandAllocator", "type " + std::to_string(type)),
                        allocator, allocatorMethods(), "allocator");
        };
        methods.CreateCommandList = [](ID3D12Device* self, UINT node, D3D12_COMMAND_LIST_TYPE type,
                                       ID3D12CommandAllocator* allocator,
                                       ID3D12PipelineState* state, REFIID, void** list) {
            FakeGraphics& all = machine(self);
            const auto arguments = "node " + std::to_string(node) + " type " +
                                   std::to_string(type) + ", " + nameOf(allocator) + ", " +
                                   nameOf(state);
            return give(all, all.call("device12.CreateCommandList", arguments), list, listMethods(),
                        "list");
        };
        methods.CreateFence = [](ID3D12Device* self, UINT64 initial, D3D12_FENCE_FLAGS flags,
                                 REFIID, void** fence) {
            FakeGraphics& all = machine(self);
            all.fence12 = all.completed;
            return give(all,
                        all.call("device12.CreateFence",
                                 std::to_string(initial) + ", flags " + std::to_string(flags)),
                        fence, fence12Methods(), "fence12");
        };
        methods.OpenSharedHandle = [](ID3D12Device* self, HANDLE handle, REFIID, void** resource) {
            FakeGraphics& all = machine(self);
            char text[40];
            std::snprintf(
                text, sizeof(text), "0x%llx",
                static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle)));
            return give(all, all.call("device12.OpenSharedHandle", text), resource,
                        resource12Methods(), "texture12");
        };
        methods.GetCopyableFootprints = [](ID3D12Device* self, const D3D12_RESOURCE_DESC* is,
                                           UINT first, UINT count, UINT64 offset,
                                           D3D12_PLACED_SUBRESOURCE_FOOTPRINT* footprint,
                                           UINT* rows, UINT64* rowSize, UINT64* total) {
            char text[80];
            std::snprintf(text, sizeof(text), "%llux%u from %u count %u offset %llu", is->Width,
                          is->Height, first, count, offset);
            machine(self).call("device12.GetCopyableFootprints", text);
            const auto width = static_cast<int>(is->Width);
            *footprint = {};
            footprint->Footprint.Width = static_cast<UINT>(width);
            footprint->Footprint.Height = is->Height;
            footprint->Footprint.Depth = 1;
            footprint->Footprint.RowPitch = rowPitch(width);
            *rows = is->Height;
            *rowSize = is->Width * 4;
            *total = UINT64{rowPitch(width)} * (is->Height - 1) + *rowSize;
        };
        methods.CreateCommittedResource =
            [](ID3D12Device* self, const D3D12_HEAP_PROPERTIES* heap, D3D12_HEAP_FLAGS flags,
               const D3D12_RESOURCE_DESC* is, D3D12_RESOURCE_STATES state,
               const D3D12_CLEAR_VALUE* clear, REFIID, void** resource) {
                FakeGraphics& all = machine(self);
                char text[160];
                std::snprintf(text, sizeof(text),
                              "heap %d flags %d, dimension %d %llux%u depth %u mips %u format %d "
                              "samples %u layout %d flags %d, state 0x%x%s",
                              heap->Type, flags, is->Dimension, is->Width, is->Height,
                              is->DepthOrArraySize, is->MipLevels, is->Format, is->SampleDesc.Count,
                              is->Layout, is->Flags, static_cast<unsigned>(state),
                              clear == nullptr ? "" : " clear");
                all.readback.assign(is->Width, 0);
                return give(all, all.call("device12.CreateCommittedResource", text), resource,
                            resource12Methods(), "readback");
            };
    });
}

// --- One object as another interface ------------------------------------------------------------

HRESULT query(FakeObject& self, REFIID iid, void** result) {
    FakeGraphics& all = *self.machine;
    const auto asItself = [&](const char* name) {
        const HRESULT answer = all.call(self.name + ".QueryInterface", name);
        *result = SUCCEEDED(answer) ? &self : nullptr;
        self.references += SUCCEEDED(answer) ? 1 : 0;
        return answer;
    };
    if (IsEqualIID(iid, IID_ID3D11Device5)) {
        return asItself("ID3D11Device5");
    }
    if (IsEqualIID(iid, IID_ID3D11DeviceContext4)) {
        return asItself("ID3D11DeviceContext4");
    }
    if (IsEqualIID(iid, IID_IDXGIOutput1)) {
        return asItself("IDXGIOutput1");
    }
    if (IsEqualIID(iid, IID_ID3D11Texture2D)) {
        return give(all, all.call(self.name + ".QueryInterface", "ID3D11Texture2D"), result,
                    texture11Methods(), "frame");
    }
    if (IsEqualIID(iid, IID_IDXGIResource1)) {
        return give(all, all.call(self.name + ".QueryInterface", "IDXGIResource1"), result,
                    resourceMethods(), "shareable");
    }
    all.mistakes.push_back(self.name + " was asked for an unknown interface");
    *result = nullptr;
    return E_NOINTERFACE;
}

}  // namespace

std::uint32_t FakeGraphics::pixel(int x, int y) const {
    return 0xFF000000U | static_cast<std::uint32_t>(frameNumber % 256) << 16 |
           static_cast<std::uint32_t>(y % 256) << 8 | static_cast<std::uint32_t>(x % 256);
}

std::vector<std::string> FakeGraphics::held() const {
    std::vector<std::string> names;
    for (const FakeObject& one : m_objects) {
        if (one.references != 0) {
            names.push_back(one.name);
        }
    }
    return names;
}

void FakeGraphics::takePicture() {
    for (int y = 0; y < std::min(textureHeight, frameHeight); ++y) {
        for (int x = 0; x < std::min(textureWidth, frameWidth); ++x) {
            texture[static_cast<std::size_t>(y * textureWidth + x)] = pixel(x, y);
        }
    }
}

HRESULT FakeGraphics::call(const std::string& name, const std::string& arguments) {
    calls.push_back(name + "(" + arguments + ")");
    const auto planned = failing.find(name);
    return planned == failing.end() ? S_OK : planned->second;
}

void* FakeGraphics::make(const void* methods, const std::string& name) {
    FakeObject& made = m_objects.emplace_back();
    made.methods = methods;
    made.machine = this;
    made.name = name;
    return &made;
}

void FakeGraphics::signal(std::uint64_t& fence, std::uint64_t value) {
    onGpu([&fence, value] { fence = value; });
    if (!slow) {
        finishWork();
    }
}

void FakeGraphics::finishWork() {
    for (const auto& work : std::exchange(m_work, {})) {
        work();
    }
}

HRESULT FakeGraphics::createFactory(UINT flags, void** factory) {
    return give(*this, call("CreateDXGIFactory2", std::to_string(flags)), factory, factoryMethods(),
                "factory");
}

HRESULT FakeGraphics::createDevice11(void* adapter, int driverType, UINT flags, UINT levels,
                                     void** device, void** context) {
    const HRESULT result = call(
        "D3D11CreateDevice", nameOf(adapter) + ", type " + std::to_string(driverType) + ", flags " +
                                 std::to_string(flags) + ", levels " + std::to_string(levels));
    give(*this, result, device, device11Methods(), "device11");
    return give(*this, result, context, context11Methods(), "context11");
}

HRESULT FakeGraphics::createDevice12(void* adapter, int minimumLevel, void** device) {
    char text[80];
    std::snprintf(text, sizeof(text), "%s, level 0x%x", nameOf(adapter).c_str(), minimumLevel);
    return give(*this, call("D3D12CreateDevice", text), device, device12Methods(), "device12");
}

HANDLE FakeGraphics::createEvent(bool manualReset, bool initialState) {
    const std::string name = "event" + std::to_string(m_events + 1);
    if (FAILED(call("CreateEventW", std::string(manualReset ? "manual" : "auto") +
                                        (initialState ? ", set" : ", not set")))) {
        return nullptr;
    }
    return reinterpret_cast<HANDLE>(++m_events);
}

void FakeGraphics::wait(HANDLE event, DWORD milliseconds) {
    call("WaitForSingleObject", "event" + std::to_string(reinterpret_cast<std::uintptr_t>(event)) +
                                    (milliseconds == INFINITE ? "" : ", limited"));
    finishWork();
}

void FakeGraphics::closeEvent(HANDLE event) {
    call("CloseHandle", "event" + std::to_string(reinterpret_cast<std::uintptr_t>(event)));
}

void FakeGraphics::sleep(DWORD milliseconds) {
    call("Sleep", std::to_string(milliseconds));
}

void replaceOpenSharedHandle(void* device12, void* resource12) {
    static ID3D12DeviceVtbl methods;
    static ID3D12Resource* resource = nullptr;
    auto* const device = static_cast<ID3D12Device*>(device12);
    methods = *device->lpVtbl;
    resource = static_cast<ID3D12Resource*>(resource12);
    methods.OpenSharedHandle = [](ID3D12Device*, HANDLE, REFIID iid, void** opened) {
        return resource->lpVtbl->QueryInterface(resource, iid, opened);
    };
    device->lpVtbl = &methods;
}
