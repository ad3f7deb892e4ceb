// Compiled with the C declarations of the interfaces, whose tables of methods can be filled slot by
// slot: a method without an entry ends the test.
#define CINTERFACE
#define INITGUID  // The import libraries lack some interface identifiers.
#include "windows/fakegraphics.h"

#include <d3d11_4.h>
#include <d3d12.h>
#include <dxgi1_5.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

constexpr UINT kRowAlignment = 256;

UINT rowPitch(UINT width) {
    return (width * 4 + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
}

FakeObject& object(void* self) {
    auto& found = *static_cast<FakeObject*>(self);
    if (found.references <= 0) {
        found.machine->mistakes.push_back("call to " + found.name + " after its last release");
    }
    return found;
}

FakeGraphics& machine(void* self) {
    return *object(self).machine;
}

std::string nameOf(void* other) {
    return other == nullptr ? "null" : static_cast<FakeObject*>(other)->name;
}

template <typename... Arguments>
HRESULT called(void* self, const char* method, fmt::format_string<Arguments...> format,
               Arguments&&... arguments) {
    return machine(self).call(object(self).name + "." + method,
                              fmt::format(format, std::forward<Arguments>(arguments)...));
}

HRESULT called(void* self, const char* method) {
    return called(self, method, "");
}

template <typename Interface>
HRESULT give(FakeGraphics& machine, HRESULT result, Interface** target, const void* methods,
             const std::string& name) {
    void* const made = SUCCEEDED(result) ? machine.make(methods, name) : nullptr;
    *target = static_cast<Interface*>(made);
    return result;
}

// --- The methods --------------------------------------------------------------------------------
// Each interface's table is filled with functions of which the table itself says the types.

HRESULT query(FakeObject& self, REFIID iid, void** result);

void unexpectedCall() {
    std::fputs("a COM method was called that nothing here should call\n", stderr);
    std::abort();
}

template <typename Methods, typename Fill>
Methods table(Fill fill) {
    Methods methods;
    auto* const stop = &unexpectedCall;
    for (std::size_t slot = 0; slot < sizeof(Methods) / sizeof(stop); ++slot) {
        std::memcpy(reinterpret_cast<char*>(&methods) + slot * sizeof(stop), &stop, sizeof(stop));
    }
    methods.QueryInterface = [](auto* self, REFIID iid, void** result) {
        return query(object(self), iid, result);
    };
    methods.AddRef = [](auto* self) { return static_cast<ULONG>(++object(self).references); };
    methods.Release = [](auto* self) {
        FakeObject& gone = object(self);
        if (gone.name == "duplication") {
            called(self, "Release");
        }
        if (--gone.references == 0) {
            gone.machine->calls.push_back("~" + gone.name);
        }
        return static_cast<ULONG>(gone.references);
    };
    fill(methods);
    return methods;
}

const auto texture11 = table<ID3D11Texture2DVtbl>([](auto& methods) {
    methods.GetDesc = [](auto* self, auto* description) {
        *description = {};
        description->Width = static_cast<UINT>(machine(self).frameWidth);
        description->Height = static_cast<UINT>(machine(self).frameHeight);
    };
});

const auto resource11 = table<IDXGIResource1Vtbl>([](auto& methods) {
    methods.GetSharedHandle = [](auto* self, auto* handle) {
        *handle = reinterpret_cast<HANDLE>(std::uintptr_t{0x5a5a});
        return called(self, "GetSharedHandle");
    };
});

const auto resource12 = table<ID3D12ResourceVtbl>([](auto& methods) {
    methods.GetDesc = [](auto* self, auto* description) {
        *description = {};
        description->Dimension = D3D12_RESOURCE_DIMENSION_TEXTURE2D;
        description->Width = machine(self).textureWidth;
        description->Height = machine(self).textureHeight;
        called(self, "GetDesc");
        return description;
    };
    methods.Map = [](auto* self, auto subresource, auto* range, void** data) {
        *data = machine(self).readback.data();
        return called(self, "Map", "{}, {}", subresource, range == nullptr ? "all" : "range");
    };
    methods.Unmap = [](auto* self, auto, auto*) { called(self, "Unmap"); };
});

const auto duplication = table<IDXGIOutputDuplicationVtbl>([](auto& methods) {
    methods.AcquireNextFrame = [](auto* self, auto timeout, auto*, auto** resource) {
        return give(machine(self), called(self, "AcquireNextFrame", "{}", timeout), resource,
                    &resource11, "resource");
    };
    methods.ReleaseFrame = [](auto* self) { return called(self, "ReleaseFrame"); };
});

const auto output1 = table<IDXGIOutput1Vtbl>([](auto& methods) {
    methods.GetDesc = [](auto* self, auto* description) {
        const FakeObject& output = object(self);
        const auto& is = output.machine->adapters[output.adapter].outputs[output.output];
        is.name.copy(description->DeviceName, std::size(description->DeviceName) - 1);
        description->DesktopCoordinates = is.desktop;
        return called(self, "GetDesc");
    };
    methods.DuplicateOutput = [](auto* self, auto* device, auto** result) {
        return give(machine(self), called(self, "DuplicateOutput", "{}", nameOf(device)), result,
                    &duplication, "duplication");
    };
});

const auto adapter1 = table<IDXGIAdapter1Vtbl>([](auto& methods) {
    methods.GetDesc1 = [](auto* self, auto* description) {
        *description = {};
        description->Flags = machine(self).adapters[object(self).adapter].flags;
        return called(self, "GetDesc1");
    };
    methods.GetDesc = [](auto* self, auto* description) {
        const auto& is = machine(self).adapters[object(self).adapter];
        is.description.copy(description->Description, std::size(description->Description) - 1);
        description->DeviceId = is.deviceId;
        description->AdapterLuid = is.luid;
        return called(self, "GetDesc");
    };
    methods.EnumOutputs = [](auto* self, auto index, auto** output) {
        const FakeObject& adapter = object(self);
        FakeGraphics& all = *adapter.machine;
        HRESULT result = called(self, "EnumOutputs", "{}", index);
        if (SUCCEEDED(result) && index >= all.adapters[adapter.adapter].outputs.size()) {
            result = DXGI_ERROR_NOT_FOUND;
        }
        result =
            give(all, result, output, &output1, fmt::format("output{}{}", adapter.adapter, index));
        if (SUCCEEDED(result)) {
            object(*output).adapter = adapter.adapter;
            object(*output).output = index;
        }
        return result;
    };
});

template <typename Interface>
HRESULT giveAdapter(void* factory, UINT index, Interface** adapter) {
    FakeGraphics& all = machine(factory);
    HRESULT result = called(factory, "EnumAdapters1", "{}", index);
    if (SUCCEEDED(result) && index >= all.adapters.size()) {
        result = DXGI_ERROR_NOT_FOUND;
    }
    result = give(all, result, adapter, &adapter1, fmt::format("adapter{}", index));
    if (SUCCEEDED(result)) {
        object(*adapter).adapter = index;
    }
    return result;
}

const auto factory5 = table<IDXGIFactory5Vtbl>([](auto& methods) {
    methods.EnumAdapters1 = [](auto* self, auto index, auto** adapter) {
        return giveAdapter(self, index, adapter);
    };
    methods.EnumAdapters = [](auto* self, auto index, auto** adapter) {
        return giveAdapter(self, index, adapter);
    };
});

template <typename Methods>
const auto fence = table<Methods>([](auto& methods) {
    methods.GetCompletedValue = [](auto* self) { return object(self).reached; };
    methods.SetEventOnCompletion = [](auto* self, auto value, auto event) {
        return called(self, "SetEventOnCompletion", "{}, event{}", value,
                      reinterpret_cast<std::uintptr_t>(event));
    };
});

template <typename Methods, typename Fence>
HRESULT giveFence(void* device, std::uint64_t initial, int flags, Fence** result) {
    const HRESULT made =
        give(machine(device), called(device, "CreateFence", "{}, flags {}", initial, flags), result,
             &fence<Methods>, "fence" + object(device).name.substr(6));
    if (SUCCEEDED(made)) {
        object(*result).reached = machine(device).completed;
    }
    return made;
}

HRESULT signal(void* self, void* fence, std::uint64_t value) {
    const HRESULT result = called(self, "Signal", "{}, {}", nameOf(fence), value);
    if (SUCCEEDED(result)) {
        machine(self).signal(object(fence), value);
    }
    return result;
}

const auto context11 = table<ID3D11DeviceContext4Vtbl>([](auto& methods) {
    methods.CopyResource = [](auto* self, auto* destination, auto* source) {
        called(self, "CopyResource", "{}, {}", nameOf(destination), nameOf(source));
        FakeGraphics& all = machine(self);
        all.onGpu([&all] { all.copyFrame ? all.copyFrame() : all.takePicture(); });
    };
    methods.Flush = [](auto* self) { called(self, "Flush"); };
    methods.Signal = [](auto* self, auto* which, auto value) { return signal(self, which, value); };
});

const auto device11 = table<ID3D11Device5Vtbl>([](auto& methods) {
    methods.CreateTexture2D = [](auto* self, auto* is, auto*, auto** texture) {
        machine(self).setTexture(is->Width, is->Height);
        const HRESULT result = called(
            self, "CreateTexture2D",
            "{}x{} format {} mips {} array {} samples {}/{} bind {:#x} misc {:#x}", is->Width,
            is->Height, static_cast<int>(is->Format), is->MipLevels, is->ArraySize,
            is->SampleDesc.Count, is->SampleDesc.Quality, is->BindFlags, is->MiscFlags);
        return give(machine(self), result, texture, &texture11, "texture11");
    };
    methods.CreateFence = [](auto* self, auto initial, auto flags, REFIID, void** result) {
        return giveFence<ID3D11FenceVtbl>(self, initial, flags, result);
    };
});

const auto queue12 = table<ID3D12CommandQueueVtbl>([](auto& methods) {
    methods.SetName = [](auto* self, auto* name) {
        return called(self, "SetName", "{}", std::string(name, name + std::wcslen(name)));
    };
    methods.ExecuteCommandLists = [](auto* self, auto count, auto* lists) {
        called(self, "ExecuteCommandLists", "{}, {}", count, nameOf(lists[0]));
        machine(self).onGpu([&all = machine(self)] {
            for (std::size_t y = 0; y < all.textureHeight; ++y) {
                std::memcpy(all.readback.data() + y * rowPitch(all.textureWidth),
                            all.texture.data() + y * all.textureWidth, all.textureWidth * 4);
            }
        });
    };
    methods.Signal = [](auto* self, auto* which, auto value) { return signal(self, which, value); };
});

const auto allocator12 = table<ID3D12CommandAllocatorVtbl>(
    [](auto& methods) { methods.Reset = [](auto* self) { return called(self, "Reset"); }; });

const auto list12 = table<ID3D12GraphicsCommandListVtbl>([](auto& methods) {
    methods.SetName = [](auto* self, auto* name) {
        return called(self, "SetName", "{}", std::string(name, name + std::wcslen(name)));
    };
    methods.CopyTextureRegion = [](auto* self, auto* to, auto x, auto y, auto z, auto* from,
                                   auto* box) {
        called(self, "CopyTextureRegion", "{} pitch {} at {} {} {}, {} {}{}", nameOf(to->pResource),
               to->PlacedFootprint.Footprint.RowPitch, x, y, z, nameOf(from->pResource),
               from->SubresourceIndex, box == nullptr ? "" : " box");
    };
    methods.Close = [](auto* self) { return called(self, "Close"); };
    methods.Reset = [](auto* self, auto* allocator, auto* state) {
        return called(self, "Reset", "{}, {}", nameOf(allocator), nameOf(state));
    };
});

const auto device12 = table<ID3D12DeviceVtbl>([](auto& methods) {
    methods.CreateCommandQueue = [](auto* self, auto* is, REFIID, void** queue) {
        return give(machine(self),
                    called(self, "CreateCommandQueue", "type {} priority {} flags {} node {}",
                           static_cast<int>(is->Type), is->Priority, static_cast<int>(is->Flags),
                           is->NodeMask),
                    queue, &queue12, "queue");
    };
    methods.CreateCommandAllocator = [](auto* self, auto type, REFIID, void** allocator) {
        return give(machine(self),
                    called(self, "CreateCommandAllocator", "type {}", static_cast<int>(type)),
                    allocator, &allocator12, "allocator");
    };
    methods.CreateCommandList = [](auto* self, auto node, auto type, auto* allocator, auto* state,
                                   REFIID, void** list) {
        return give(machine(self),
                    called(self, "CreateCommandList", "node {} type {}, {}, {}", node,
                           static_cast<int>(type), nameOf(allocator), nameOf(state)),
                    list, &list12, "list");
    };
    methods.CreateFence = [](auto* self, auto initial, auto flags, REFIID, void** result) {
        return giveFence<ID3D12FenceVtbl>(self, initial, flags, result);
    };
    methods.OpenSharedHandle = [](auto* self, auto handle, REFIID, void** resource) {
        return give(machine(self), called(self, "OpenSharedHandle", "{}", handle), resource,
                    &resource12, "texture12");
    };
    methods.GetCopyableFootprints = [](auto* self, auto* is, auto first, auto count, auto offset,
                                       auto* footprint, auto* rows, auto* rowSize, auto* total) {
        called(self, "GetCopyableFootprints", "{}x{} from {} count {} offset {}", is->Width,
               is->Height, first, count, offset);
        const auto width = static_cast<UINT>(is->Width);
        *footprint = {};
        footprint->Footprint.Width = width;
        footprint->Footprint.Height = is->Height;
        footprint->Footprint.Depth = 1;
        footprint->Footprint.RowPitch = rowPitch(width);
        *rows = is->Height;
        *rowSize = is->Width * 4;
        *total = UINT64{rowPitch(width)} * (is->Height - 1) + *rowSize;
    };
    methods.CreateCommittedResource = [](auto* self, auto* heap, auto flags, auto* is, auto state,
                                         auto* clear, REFIID, void** resource) {
        machine(self).readback.assign(is->Width, 0);
        const HRESULT result = called(
            self, "CreateCommittedResource",
            "heap {} flags {}, dimension {} {}x{} depth {} mips {} format {} samples {} "
            "layout {} flags {}, state {:#x}{}",
            static_cast<int>(heap->Type), static_cast<int>(flags), static_cast<int>(is->Dimension),
            is->Width, is->Height, is->DepthOrArraySize, is->MipLevels,
            static_cast<int>(is->Format), is->SampleDesc.Count, static_cast<int>(is->Layout),
            static_cast<int>(is->Flags), static_cast<int>(state), clear == nullptr ? "" : " clear");
        return give(machine(self), result, resource, &resource12, "readback");
    };
});

/// One object as another interface: itself, or a new one.
HRESULT query(FakeObject& self, REFIID iid, void** result) {
    static const struct {
        const IID& iid;
        const char* name;
        const void* methods = nullptr;  ///< Of a new object.
        const char* object = "";
    } known[] = {{IID_ID3D11Device5, "ID3D11Device5"},
                 {IID_ID3D11DeviceContext4, "ID3D11DeviceContext4"},
                 {IID_IDXGIOutput1, "IDXGIOutput1"},
                 {IID_ID3D11Texture2D, "ID3D11Texture2D", &texture11, "frame"},
                 {IID_IDXGIResource1, "IDXGIResource1", &resource11, "shareable"}};
    *result = nullptr;
    for (const auto& one : known) {
        if (!IsEqualIID(iid, one.iid)) {
            continue;
        }
        const HRESULT answer = called(&self, "QueryInterface", "{}", one.name);
        if (SUCCEEDED(answer) && one.methods == nullptr) {
            ++self.references;
            *result = &self;
            return answer;
        }
        return give(*self.machine, answer, result, one.methods, one.object);
    }
    self.machine->mistakes.push_back(self.name + " was asked for an unknown interface");
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

void FakeGraphics::setTexture(UINT width, UINT height) {
    textureWidth = width;
    textureHeight = height;
    texture.assign(std::size_t{width} * height, 0);
}

void FakeGraphics::takePicture() {
    for (int y = 0; y < std::min(static_cast<int>(textureHeight), frameHeight); ++y) {
        for (int x = 0; x < std::min(static_cast<int>(textureWidth), frameWidth); ++x) {
            texture[static_cast<UINT>(y) * textureWidth + static_cast<UINT>(x)] = pixel(x, y);
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

void FakeGraphics::signal(FakeObject& fence, std::uint64_t value) {
    onGpu([&fence, value] { fence.reached = value; });
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
    return give(*this, call("CreateDXGIFactory2", std::to_string(flags)), factory, &factory5,
                "factory");
}

HRESULT FakeGraphics::createDevice11(void* adapter, int driverType, UINT flags, UINT levels,
                                     void** device, void** context) {
    const HRESULT result =
        call("D3D11CreateDevice", fmt::format("{}, type {}, flags {}, levels {}", nameOf(adapter),
                                              driverType, flags, levels));
    give(*this, result, device, &device11, "device11");
    return give(*this, result, context, &context11, "context11");
}

HRESULT FakeGraphics::createDevice12(void* adapter, int minimumLevel, void** device) {
    const auto arguments = fmt::format("{}, level {:#x}", nameOf(adapter), minimumLevel);
    return give(*this, call("D3D12CreateDevice", arguments), device, &device12, "device12");
}

HANDLE FakeGraphics::createEvent(bool manualReset, bool initialState) {
    const auto arguments =
        fmt::format("{}, {}", manualReset ? "manual" : "auto", initialState ? "set" : "not set");
    return SUCCEEDED(call("CreateEventW", arguments)) ? reinterpret_cast<HANDLE>(++m_events)
                                                      : nullptr;
}

void FakeGraphics::wait(HANDLE event, DWORD milliseconds) {
    call("WaitForSingleObject", fmt::format("event{}{}", reinterpret_cast<std::uintptr_t>(event),
                                            milliseconds == INFINITE ? "" : ", limited"));
    finishWork();
}

void FakeGraphics::closeEvent(HANDLE event) {
    call("CloseHandle", fmt::format("event{}", reinterpret_cast<std::uintptr_t>(event)));
}

void FakeGraphics::sleep(DWORD milliseconds) {
    call("Sleep", std::to_string(milliseconds));
}

void replaceOpenSharedHandle(void* device, void* texture) {
    static ID3D12DeviceVtbl methods;
    static ID3D12Resource* resource = nullptr;
    auto* const real = static_cast<ID3D12Device*>(device);
    methods = *real->lpVtbl;
    resource = static_cast<ID3D12Resource*>(texture);
    methods.OpenSharedHandle = [](auto*, auto, REFIID iid, void** opened) {
        return resource->lpVtbl->QueryInterface(resource, iid, opened);
    };
    real->lpVtbl = &methods;
}
