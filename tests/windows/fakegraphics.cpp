// Compiled with the C declarations of the interfaces, whose tables of methods can be filled slot by
// slot: a method without an entry ends the test.
#define CINTERFACE
#define INITGUID  // The import libraries lack some interface identifiers.
#include "windows/fakegraphics.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

constexpr UINT kRowAlignment = 256;
const auto kSharedHandle = reinterpret_cast<HANDLE>(std::uintptr_t{0x5a5a});

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

bool is(void* other, const char* name) {
    return other != nullptr && static_cast<FakeObject*>(other)->name == name;
}

/// `asDocumented` false: the real system would refuse these arguments, or do something else.
HRESULT called(void* self, const char* method, bool asDocumented = true) {
    return machine(self).call(object(self).name + "." + method, asDocumented);
}

template <typename Interface>
HRESULT give(FakeGraphics& machine, HRESULT result, Interface** target, const void* methods,
             const std::string& name) {
    void* const made = SUCCEEDED(result) ? machine.make(methods, name) : nullptr;
    *target = static_cast<Interface*>(made);
    return result;
}

/// A method that makes an object.
template <typename Interface>
HRESULT makes(void* self, Interface** target, const void* methods, const std::string& name,
              const char* method, bool asDocumented = true) {
    return give(machine(self), called(self, method, asDocumented), target, methods, name);
}

/// A method that gives the object at an index of a list.
template <typename Interface>
HRESULT enumerates(void* self, const char* method, std::size_t index, std::size_t count,
                   Interface** target, const void* methods, const std::string& name) {
    HRESULT result = called(self, method);
    if (SUCCEEDED(result) && index >= count) {
        result = DXGI_ERROR_NOT_FOUND;
    }
    return give(machine(self), result, target, methods, name);
}

const auto setName = [](auto* self, auto* name) {
    const bool isQueue = object(self).name == "queue";
    return called(self, "SetName",
                  std::wstring(name) == (isQueue ? L"TextureCommandQueue" : L"TextureCommandList"));
};

const auto signal = [](auto* self, auto* fence, auto value) {
    const HRESULT result = called(
        self, "Signal", value == static_cast<FakeObject*>(static_cast<void*>(fence))->reached + 1);
    if (SUCCEEDED(result)) {
        machine(self).signal(object(fence), value);
    }
    return result;
};

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
        *handle = kSharedHandle;
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
        return called(self, "Map", subresource == 0 && range == nullptr);
    };
    methods.Unmap = [](auto* self, auto, auto*) { called(self, "Unmap"); };
});

const auto duplication = table<IDXGIOutputDuplicationVtbl>([](auto& methods) {
    methods.AcquireNextFrame = [](auto* self, auto timeout, auto*, auto** resource) {
        return makes(self, resource, &resource11, "resource", "AcquireNextFrame", timeout == 0);
    };
    methods.ReleaseFrame = [](auto* self) { return called(self, "ReleaseFrame"); };
});

const auto output1 = table<IDXGIOutput1Vtbl>([](auto& methods) {
    methods.GetDesc = [](auto* self, auto* description) {
        const auto& own = machine(self).adapters[object(self).adapter].outputs[object(self).output];
        own.name.copy(description->DeviceName, std::size(description->DeviceName) - 1);
        description->DesktopCoordinates = own.desktop;
        return called(self, "GetDesc");
    };
    methods.DuplicateOutput = [](auto* self, auto* device, auto** result) {
        return makes(self, result, &duplication, "duplication", "DuplicateOutput",
                     is(device, "device11"));
    };
});

const auto adapter1 = table<IDXGIAdapter1Vtbl>([](auto& methods) {
    methods.GetDesc1 = [](auto* self, auto* description) {
        *description = {};
        description->Flags = machine(self).adapters[object(self).adapter].flags;
        return called(self, "GetDesc1");
    };
    methods.GetDesc = [](auto* self, auto* description) {
        const auto& own = machine(self).adapters[object(self).adapter];
        own.description.copy(description->Description, std::size(description->Description) - 1);
        description->DeviceId = own.deviceId;
        description->AdapterLuid = own.luid;
        return called(self, "GetDesc");
    };
    methods.EnumOutputs = [](auto* self, auto index, auto** output) {
        const std::size_t adapter = object(self).adapter;
        const HRESULT result =
            enumerates(self, "EnumOutputs", index, machine(self).adapters[adapter].outputs.size(),
                       output, &output1, fmt::format("output{}{}", adapter, index));
        if (*output != nullptr) {
            object(*output).adapter = adapter;
            object(*output).output = index;
        }
        return result;
    };
});

const auto enumAdapters = [](auto* self, auto index, auto** adapter) {
    const HRESULT result = enumerates(self, "EnumAdapters1", index, machine(self).adapters.size(),
                                      adapter, &adapter1, fmt::format("adapter{}", index));
    if (*adapter != nullptr) {
        object(*adapter).adapter = index;
    }
    return result;
};

const auto factory5 = table<IDXGIFactory5Vtbl>([](auto& methods) {
    methods.EnumAdapters1 = enumAdapters;
    methods.EnumAdapters = enumAdapters;
});

template <typename Methods>
const auto fence = table<Methods>([](auto& methods) {
    methods.GetCompletedValue = [](auto* self) { return object(self).reached; };
    methods.SetEventOnCompletion = [](auto* self, auto value, auto event) {
        return called(self, "SetEventOnCompletion",
                      value > object(self).reached && event != nullptr);
    };
});

template <typename Methods>
const auto createFence = [](auto* self, auto initial, auto flags, REFIID, void** result) {
    const auto name = "fence" + object(self).name.substr(6);
    // Direct3D 11 numbers "no flags" 1.
    const bool noFlags = +flags == (name == "fence11" ? 1 : 0);
    const HRESULT made =
        makes(self, result, &fence<Methods>, name, "CreateFence", initial == 0 && noFlags);
    if (*result != nullptr) {
        object(*result).reached = machine(self).completed;
    }
    return made;
};

const auto context11 = table<ID3D11DeviceContext4Vtbl>([](auto& methods) {
    methods.CopyResource = [](auto* self, auto* destination, auto* source) {
        called(self, "CopyResource", is(destination, "texture11") && is(source, "frame"));
        machine(self).onGpu([&all = machine(self)] { all.copyFrame(); });
    };
    methods.Flush = [](auto* self) { called(self, "Flush"); };
    methods.Signal = signal;
});

const auto device11 = table<ID3D11Device5Vtbl>([](auto& methods) {
    methods.CreateTexture2D = [](auto* self, auto* wanted, auto*, auto** texture) {
        machine(self).setTexture(wanted->Width, wanted->Height);
        return makes(self, texture, &texture11, "texture11", "CreateTexture2D",
                     wanted->Format == DXGI_FORMAT_B8G8R8A8_UNORM && wanted->MipLevels == 1 &&
                         wanted->ArraySize == 1 && wanted->SampleDesc.Count == 1 &&
                         wanted->SampleDesc.Quality == 0 && wanted->BindFlags == 0x28 &&
                         wanted->MiscFlags == 0x2);
    };
    methods.CreateFence = createFence<ID3D11FenceVtbl>;
});

const auto queue12 = table<ID3D12CommandQueueVtbl>([](auto& methods) {
    methods.SetName = setName;
    methods.ExecuteCommandLists = [](auto* self, auto count, auto* lists) {
        called(self, "ExecuteCommandLists", count == 1 && is(lists[0], "list"));
        machine(self).onGpu([&all = machine(self)] {
            for (std::size_t y = 0; y < all.textureHeight; ++y) {
                std::memcpy(all.readback.data() + y * rowPitch(all.textureWidth),
                            all.texture.data() + y * all.textureWidth, all.textureWidth * 4);
            }
        });
    };
    methods.Signal = signal;
});

const auto allocator12 = table<ID3D12CommandAllocatorVtbl>(
    [](auto& methods) { methods.Reset = [](auto* self) { return called(self, "Reset"); }; });

const auto list12 = table<ID3D12GraphicsCommandListVtbl>([](auto& methods) {
    methods.SetName = setName;
    methods.CopyTextureRegion = [](auto* self, auto* to, auto x, auto y, auto z, auto* from,
                                   auto* box) {
        called(self, "CopyTextureRegion",
               is(to->pResource, "readback") && is(from->pResource, "texture12") &&
                   to->PlacedFootprint.Footprint.RowPitch == rowPitch(machine(self).textureWidth) &&
                   from->SubresourceIndex == 0 && x + y + z == 0 && box == nullptr);
    };
    methods.Close = [](auto* self) { return called(self, "Close"); };
    methods.Reset = [](auto* self, auto* allocator, auto* state) {
        return called(self, "Reset", is(allocator, "allocator") && state == nullptr);
    };
});

const auto device12 = table<ID3D12DeviceVtbl>([](auto& methods) {
    methods.CreateCommandQueue = [](auto* self, auto* wanted, REFIID, void** queue) {
        return makes(self, queue, &queue12, "queue", "CreateCommandQueue",
                     wanted->Type == D3D12_COMMAND_LIST_TYPE_DIRECT && wanted->Priority == 0 &&
                         +wanted->Flags == 0 && wanted->NodeMask == 0);
    };
    methods.CreateCommandAllocator = [](auto* self, auto type, REFIID, void** allocator) {
        return makes(self, allocator, &allocator12, "allocator", "CreateCommandAllocator",
                     type == D3D12_COMMAND_LIST_TYPE_DIRECT);
    };
    methods.CreateCommandList = [](auto* self, auto node, auto type, auto* allocator, auto* state,
                                   REFIID, void** list) {
        return makes(self, list, &list12, "list", "CreateCommandList",
                     node == 0 && type == D3D12_COMMAND_LIST_TYPE_DIRECT &&
                         is(allocator, "allocator") && state == nullptr);
    };
    methods.CreateFence = createFence<ID3D12FenceVtbl>;
    methods.OpenSharedHandle = [](auto* self, auto handle, REFIID, void** resource) {
        return makes(self, resource, &resource12, "texture12", "OpenSharedHandle",
                     handle == kSharedHandle);
    };
    methods.GetCopyableFootprints = [](auto* self, auto* texture, auto first, auto count,
                                       auto offset, auto* footprint, auto* rows, auto* rowSize,
                                       auto* total) {
        called(self, "GetCopyableFootprints", first == 0 && count == 1 && offset == 0);
        const auto width = static_cast<UINT>(texture->Width);
        const UINT pitch = rowPitch(width);
        *footprint = {0, {texture->Format, width, texture->Height, 1, pitch}};
        *rows = texture->Height;
        *rowSize = UINT64{width} * 4;
        *total = UINT64{pitch} * (texture->Height - 1) + *rowSize;
    };
    methods.CreateCommittedResource = [](auto* self, auto* heap, auto flags, auto* wanted,
                                         auto state, auto* clear, REFIID, void** resource) {
        machine(self).readback.assign(wanted->Width, 0);
        return makes(self, resource, &resource12, "readback", "CreateCommittedResource",
                     heap->Type == D3D12_HEAP_TYPE_READBACK && +flags == 0 &&
                         wanted->Dimension == D3D12_RESOURCE_DIMENSION_BUFFER &&
                         wanted->Height == 1 && wanted->DepthOrArraySize == 1 &&
                         wanted->MipLevels == 1 && wanted->Format == DXGI_FORMAT_UNKNOWN &&
                         wanted->SampleDesc.Count == 1 &&
                         wanted->Layout == D3D12_TEXTURE_LAYOUT_ROW_MAJOR && +wanted->Flags == 0 &&
                         state == D3D12_RESOURCE_STATE_COPY_DEST && clear == nullptr);
    };
});

/// One object as another interface: itself, or a new one.
HRESULT query(FakeObject& self, REFIID iid, void** result) {
    static const struct {
        const IID& iid;
        const void* methods = nullptr;  ///< Of a new object.
        const char* object = "";
    } known[] = {{IID_ID3D11Device5},
                 {IID_ID3D11DeviceContext4},
                 {IID_IDXGIOutput1},
                 {IID_ID3D11Texture2D, &texture11, "frame"},
                 {IID_IDXGIResource1, &resource11, "shareable"}};
    const auto* const one = std::find_if(std::begin(known), std::end(known), [&](const auto& that) {
        return IsEqualIID(iid, that.iid);
    });
    if (one == std::end(known)) {
        self.machine->mistakes.push_back(self.name + " was asked for an unknown interface");
        *result = nullptr;
        return E_NOINTERFACE;
    }
    const HRESULT answer = called(&self, "QueryInterface");
    if (one->methods != nullptr) {
        return give(*self.machine, answer, result, one->methods, one->object);
    }
    self.references += SUCCEEDED(answer) ? 1 : 0;
    *result = SUCCEEDED(answer) ? &self : nullptr;
    return answer;
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
    names.resize(names.size() + m_events.size(), "event");
    return names;
}

void FakeGraphics::setTexture(UINT width, UINT height) {
    textureWidth = width;
    textureHeight = height;
    texture.assign(std::size_t{width} * height, 0);
}

void FakeGraphics::readFrame() {
    for (int y = 0; y < std::min(static_cast<int>(textureHeight), frameHeight); ++y) {
        for (int x = 0; x < std::min(static_cast<int>(textureWidth), frameWidth); ++x) {
            texture[static_cast<UINT>(y) * textureWidth + static_cast<UINT>(x)] = pixel(x, y);
        }
    }
}

HRESULT FakeGraphics::call(const std::string& name, bool asDocumented) {
    calls.push_back(name);
    if (!asDocumented) {
        mistakes.push_back("wrong arguments of " + name);
    }
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

HRESULT FakeGraphics::CreateDXGIFactory2(UINT flags, REFIID, void** factory) {
    return give(*this, call("CreateDXGIFactory2", flags == 0), factory, &factory5, "factory");
}

HRESULT FakeGraphics::D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type,
                                        HMODULE software, UINT flags,
                                        const D3D_FEATURE_LEVEL* levels, UINT levelCount, UINT,
                                        ID3D11Device** device, D3D_FEATURE_LEVEL* level,
                                        ID3D11DeviceContext** context) {
    const HRESULT result =
        call("D3D11CreateDevice", adapter != nullptr && type == D3D_DRIVER_TYPE_UNKNOWN &&
                                      software == nullptr && flags == 0 && levels == nullptr &&
                                      levelCount == 0);
    *level = D3D_FEATURE_LEVEL_11_0;
    give(*this, result, device, &device11, "device11");
    return give(*this, result, context, &context11, "context11");
}

HRESULT FakeGraphics::D3D12CreateDevice(IUnknown* adapter, D3D_FEATURE_LEVEL minimum, REFIID,
                                        void** device) {
    const bool asDocumented = adapter != nullptr && minimum == D3D_FEATURE_LEVEL_11_0;
    return give(*this, call("D3D12CreateDevice", asDocumented), device, &device12, "device12");
}

HANDLE FakeGraphics::CreateEventW(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState,
                                  LPCWSTR name) {
    const bool asDocumented = manualReset == FALSE && initialState == FALSE && name == nullptr;
    if (FAILED(call("CreateEventW", asDocumented))) {
        return nullptr;
    }
    return reinterpret_cast<HANDLE>(*m_events.insert(++m_lastEvent).first);
}

DWORD FakeGraphics::WaitForSingleObject(HANDLE event, DWORD milliseconds) {
    call("WaitForSingleObject",
         m_events.count(reinterpret_cast<std::uintptr_t>(event)) == 1 && milliseconds == INFINITE);
    finishWork();
    return WAIT_OBJECT_0;
}

BOOL FakeGraphics::CloseHandle(HANDLE event) {
    call("CloseHandle", m_events.erase(reinterpret_cast<std::uintptr_t>(event)) == 1);
    return TRUE;
}

void FakeGraphics::Sleep(DWORD milliseconds) {
    call("Sleep", milliseconds == 1);
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
