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

/// Page "ID3D11Device::GetDeviceRemovedReason": an object of a removed device is of no use any
/// more.
bool isRemoved(const FakeObject& object) {
    return object.device != 0 && object.device != object.machine->currentDevice;
}

/// `asDocumented` false: the real system would refuse these arguments, or do something else.
HRESULT called(void* self, const char* method, bool asDocumented = true) {
    const HRESULT result = machine(self).call(object(self).name + "." + method, asDocumented);
    const bool isRefused = isRemoved(object(self)) && method != std::string("QueryInterface");
    return SUCCEEDED(result) && isRefused ? DXGI_ERROR_DEVICE_REMOVED : result;
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
        description->Width = object(self).width;
        description->Height = object(self).height;
        description->Format = DXGI_FORMAT_B8G8R8A8_UNORM;
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

/// Pages "IDXGIOutputDuplication::GetFrameDirtyRects" and "::GetFrameMoveRects": the rectangles of
/// the acquired frame, in a buffer whose size is in bytes.
template <typename Rect>
HRESULT giveRects(void* self, const char* method, UINT bytes, Rect* buffer, UINT* needed,
                  const std::vector<Rect>& rects) {
    const HRESULT result = called(self, method, buffer != nullptr && needed != nullptr);
    if (FAILED(result)) {
        return result;
    }
    if (!object(self).held) {
        return DXGI_ERROR_INVALID_CALL;
    }
    *needed = static_cast<UINT>(rects.size() * sizeof(Rect));
    if (bytes < *needed) {
        return DXGI_ERROR_MORE_DATA;
    }
    std::copy(rects.begin(), rects.end(), buffer);
    return S_OK;
}

const auto duplication = table<IDXGIOutputDuplicationVtbl>([](auto& methods) {
    methods.GetDesc = [](auto* self, auto* description) {
        *description = {};
        const auto* const shown = machine(self).outputOf(object(self));
        description->Rotation = shown != nullptr ? shown->rotation : DXGI_MODE_ROTATION_UNSPECIFIED;
    };
    methods.AcquireNextFrame = [](auto* self, auto timeout, auto* info, auto** resource) {
        HRESULT result = called(self, "AcquireNextFrame", timeout == 0);
        if (SUCCEEDED(result)) {
            result = machine(self).acquire(object(self), *info);
        }
        return give(machine(self), result, resource, &resource11, "resource");
    };
    methods.GetFrameDirtyRects = [](auto* self, auto bytes, auto* buffer, auto* needed) {
        return giveRects(self, "GetFrameDirtyRects", bytes, buffer, needed,
                         machine(self).dirtyRects);
    };
    methods.GetFrameMoveRects = [](auto* self, auto bytes, auto* buffer, auto* needed) {
        return giveRects(self, "GetFrameMoveRects", bytes, buffer, needed, machine(self).moveRects);
    };
    // Page "IDXGIOutputDuplication::GetFramePointerShape".
    methods.GetFramePointerShape = [](auto* self, auto bytes, auto* buffer, auto* needed,
                                      auto* info) {
        const HRESULT result =
            giveRects(self, "GetFramePointerShape", bytes, static_cast<std::uint8_t*>(buffer),
                      needed, machine(self).pointerBytes);
        *info = machine(self).pointerInfo;
        return result;
    };
    methods.ReleaseFrame = [](auto* self) {
        const HRESULT result = called(self, "ReleaseFrame");
        // Page "IDXGIOutputDuplication::ReleaseFrame": nothing is acquired.
        if (SUCCEEDED(result) && !object(self).held) {
            return HRESULT(DXGI_ERROR_INVALID_CALL);
        }
        object(self).held = false;
        return result;
    };
});

const auto output1 = table<IDXGIOutput1Vtbl>([](auto& methods) {
    methods.GetDesc = [](auto* self, auto* description) {
        const auto& own = machine(self).adapterOf(object(self)).outputs[object(self).output];
        own.name.copy(description->DeviceName, std::size(description->DeviceName) - 1);
        description->DesktopCoordinates = own.desktop;
        return called(self, "GetDesc");
    };
    methods.DuplicateOutput = [](auto* self, auto* device, auto** made) {
        HRESULT result = called(self, "DuplicateOutput", is(device, "device11"));
        if (SUCCEEDED(result)) {
            result = machine(self).duplicate(object(self), object(device));
        }
        give(machine(self), result, made, &duplication, "duplication");
        if (*made != nullptr) {
            FakeObject& one = object(*made);
            one.arrangement = object(self).arrangement;
            one.adapter = object(self).adapter;
            one.output = object(self).output;
        }
        return result;
    };
});

const auto adapter1 = table<IDXGIAdapter1Vtbl>([](auto& methods) {
    methods.GetDesc1 = [](auto* self, auto* description) {
        *description = {};
        description->Flags = machine(self).adapterOf(object(self)).flags;
        return called(self, "GetDesc1");
    };
    methods.GetDesc = [](auto* self, auto* description) {
        const auto& own = machine(self).adapterOf(object(self));
        own.description.copy(description->Description, std::size(description->Description) - 1);
        description->DeviceId = own.deviceId;
        description->AdapterLuid = own.luid;
        return called(self, "GetDesc");
    };
    methods.EnumOutputs = [](auto* self, auto index, auto** output) {
        const std::size_t adapter = object(self).adapter;
        const HRESULT result = enumerates(
            self, "EnumOutputs", index, machine(self).adapterOf(object(self)).outputs.size(),
            output, &output1, fmt::format("output{}{}", adapter, index));
        if (*output != nullptr) {
            object(*output).arrangement = object(self).arrangement;
            object(*output).adapter = adapter;
            object(*output).output = index;
        }
        return result;
    };
});

const auto enumAdapters = [](auto* self, auto index, auto** adapter) {
    const HRESULT result =
        enumerates(self, "EnumAdapters1", index, machine(self).adaptersOf(object(self)).size(),
                   adapter, &adapter1, fmt::format("adapter{}", index));
    if (*adapter != nullptr) {
        object(*adapter).arrangement = object(self).arrangement;
        object(*adapter).adapter = index;
    }
    return result;
};

const auto factory5 = table<IDXGIFactory5Vtbl>([](auto& methods) {
    methods.EnumAdapters1 = enumAdapters;
    methods.EnumAdapters = enumAdapters;
    // Page "IDXGIFactory1::IsCurrent": later changes need a new factory.
    methods.IsCurrent = [](auto* self) -> WINBOOL {
        return object(self).arrangement == machine(self).currentArrangement;
    };
});

template <typename Methods>
const auto fence = table<Methods>([](auto& methods) {
    // Page "ID3D12Fence::GetCompletedValue": UINT64_MAX once the device is removed.
    methods.GetCompletedValue = [](auto* self) {
        return isRemoved(object(self)) ? ~std::uint64_t{0} : object(self).reached;
    };
    methods.SetEventOnCompletion = [](auto* self, auto value, auto event) {
        return called(self, "SetEventOnCompletion",
                      value > object(self).reached && event != nullptr);
    };
});

template <typename Methods>
const auto createFence = [](auto* self, auto initial, auto flags, REFIID, void** result) {
    const auto name = "fence" + object(self).name.substr(6);
    // Page "D3D11_FENCE_FLAG": no flags is 0, whatever the header at hand says.
    const HRESULT made =
        makes(self, result, &fence<Methods>, name, "CreateFence", initial == 0 && +flags == 0);
    if (*result != nullptr) {
        object(*result).reached = machine(self).completed;
    }
    return made;
};

const auto context11 = table<ID3D11DeviceContext4Vtbl>([](auto& methods) {
    methods.CopyResource = [](auto* self, auto* destination, auto* source) {
        FakeGraphics& all = machine(self);
        if (all.copyReal) {
            called(self, "CopyResource", source == all.realFrame());
            all.onGpu(all.copyReal);
            return;
        }
        called(self, "CopyResource", is(destination, "texture11") && is(source, "frame"));
        // Page "ID3D11DeviceContext::CopyResource": both must have the same size. It returns
        // nothing: what breaks the rule is dropped.
        if (object(destination).width == object(source).width &&
            object(destination).height == object(source).height && !isRemoved(object(self))) {
            all.onGpu([&all] { all.texture = all.desktop; });
        }
    };
    methods.Flush = [](auto* self) { called(self, "Flush"); };
    methods.Signal = signal;
});

const auto deviceRemovedReason = [](auto* self) {
    return isRemoved(object(self)) ? HRESULT(DXGI_ERROR_DEVICE_RESET) : S_OK;
};

const auto device11 = table<ID3D11Device5Vtbl>([](auto& methods) {
    methods.CreateTexture2D = [](auto* self, auto* wanted, auto*, auto** texture) {
        FakeGraphics& all = machine(self);
        all.textureWidth = wanted->Width;
        all.textureHeight = wanted->Height;
        all.texture.assign(std::size_t{wanted->Width} * wanted->Height, 0);
        const HRESULT result =
            called(self, "CreateTexture2D",
                   wanted->Format == DXGI_FORMAT_B8G8R8A8_UNORM && wanted->MipLevels == 1 &&
                       wanted->ArraySize == 1 && wanted->SampleDesc.Count == 1 &&
                       wanted->SampleDesc.Quality == 0 && wanted->BindFlags == 0x28 &&
                       wanted->MiscFlags == 0x2);
        if (all.copyReal) {
            all.createRealTexture(wanted->Width, wanted->Height);
        }
        give(all, result, texture, &texture11, "texture11");
        if (*texture != nullptr) {
            object(*texture).width = wanted->Width;
            object(*texture).height = wanted->Height;
        }
        return result;
    };
    methods.GetDeviceRemovedReason = deviceRemovedReason;
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
    methods.GetDeviceRemovedReason = deviceRemovedReason;
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
    FakeGraphics& all = *self.machine;
    if (SUCCEEDED(answer) && one->methods == &texture11 && all.realFrame) {
        auto* const real = static_cast<IUnknown*>(all.realFrame());
        return real->lpVtbl->QueryInterface(real, iid, result);
    }
    if (one->methods != nullptr) {
        give(all, answer, result, one->methods, one->object);
        if (*result != nullptr && one->methods == &texture11) {
            object(*result).width = all.desktopWidth;
            object(*result).height = all.desktopHeight;
        }
        return answer;
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

void FakeGraphics::present(std::vector<RECT> dirty, std::vector<DXGI_OUTDUPL_MOVE_RECT> moves) {
    ++frameNumber;
    ++m_presents;
    m_dirty.insert(m_dirty.end(), dirty.begin(), dirty.end());
    m_moves.insert(m_moves.end(), moves.begin(), moves.end());
}

void FakeGraphics::movePointer(const POINT& at, bool visible) {
    m_pointerMoved = true;
    m_pointer = {at, visible ? TRUE : FALSE};
}

void FakeGraphics::setPointer(const DXGI_OUTDUPL_POINTER_SHAPE_INFO& info,
                              std::vector<std::uint8_t> bytes) {
    m_pointerMoved = m_pointerReshaped = true;
    pointerInfo = info;
    pointerBytes = std::move(bytes);
}

/// Page "Desktop Duplication API": the application must duplicate the output again.
void FakeGraphics::switchDesktop() {
    for (FakeObject& one : m_objects) {
        one.lost = one.lost || one.name == "duplication";
    }
}

void FakeGraphics::setMode(std::size_t output, const RECT& area, DXGI_MODE_ROTATION rotation) {
    adapters.back().outputs[output].desktop = area;
    adapters.back().outputs[output].rotation = rotation;
    rearrange(adapters);
}

void FakeGraphics::rearrange(std::vector<Adapter> present) {
    adapters = std::move(present);
    currentArrangement = -1;
    switchDesktop();
}

void FakeGraphics::removeDevice() {
    ++currentDevice;
    switchDesktop();
}

const std::vector<FakeGraphics::Adapter>& FakeGraphics::adaptersOf(const FakeObject& one) const {
    return m_arrangements[static_cast<std::size_t>(one.arrangement)];
}

const FakeGraphics::Adapter& FakeGraphics::adapterOf(const FakeObject& one) const {
    return adaptersOf(one)[one.adapter];
}

/// As it is now. Null: it has been unplugged.
const FakeGraphics::Output* FakeGraphics::outputOf(const FakeObject& one) const {
    const std::wstring& name = adapterOf(one).outputs[one.output].name;
    for (const Adapter& adapter : adapters) {
        for (const Output& output : adapter.outputs) {
            if (output.name == name && adapter.flags == 0) {
                return &output;
            }
        }
    }
    return nullptr;
}

/// Page "IDXGIOutput1::DuplicateOutput".
HRESULT FakeGraphics::duplicate(const FakeObject& output, const FakeObject& device) {
    if (isRemoved(device)) {
        return DXGI_ERROR_DEVICE_REMOVED;
    }
    const bool isDuplicated =
        std::any_of(m_objects.begin(), m_objects.end(), [&output](const FakeObject& one) {
            return one.name == "duplication" && one.references > 0 &&
                   one.adapter == output.adapter && one.output == output.output;
        });
    if (isDuplicated || device.adapter != output.adapter) {
        return E_INVALIDARG;
    }
    if (outputOf(output) == nullptr) {
        return DXGI_ERROR_NOT_FOUND;
    }
    // The first frame is the whole image, and its rectangles say nothing about that.
    m_presents = 1;
    m_dirty = {{0, 0, 1, 1}};
    m_moves.clear();
    return locked ? E_ACCESSDENIED : S_OK;
}

/// Pages "IDXGIOutputDuplication::AcquireNextFrame" and "DXGI_OUTDUPL_FRAME_INFO".
HRESULT FakeGraphics::acquire(FakeObject& one, DXGI_OUTDUPL_FRAME_INFO& info) {
    if (one.held) {
        return DXGI_ERROR_INVALID_CALL;
    }
    if (one.lost || outputOf(one) == nullptr) {
        return DXGI_ERROR_ACCESS_LOST;
    }
    if (m_presents == 0 && !m_pointerMoved) {
        return DXGI_ERROR_WAIT_TIMEOUT;
    }
    info = {};
    if (!std::exchange(one.used, true) && !timesFirstFrame) {
        m_presents = 0;  // The image comes all the same.
    }
    if (m_presents > 0) {
        dirtyRects = std::exchange(m_dirty, {});
        moveRects = std::exchange(m_moves, {});
        info.LastPresentTime.QuadPart = 1000 + frameNumber;
        info.AccumulatedFrames = std::exchange(m_presents, 0);
        info.TotalMetadataBufferSize = static_cast<UINT>(
            dirtyRects.size() * sizeof(RECT) + moveRects.size() * sizeof(DXGI_OUTDUPL_MOVE_RECT));
    }
    if (std::exchange(m_pointerMoved, false)) {
        info.LastMouseUpdateTime.QuadPart = 1;
        info.PointerPosition = m_pointer;
        info.PointerShapeBufferSize =
            std::exchange(m_pointerReshaped, false) ? static_cast<UINT>(pointerBytes.size()) : 0;
    }
    one.held = true;
    drawDesktop(*outputOf(one));
    return S_OK;
}

/// Page "Desktop Duplication API": the texture always shows the image unrotated. Nothing promises
/// its alpha.
void FakeGraphics::drawDesktop(const Output& output) {
    const RECT& area = output.desktop;
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    const auto rotation = output.rotation;
    const bool sideways =
        rotation == DXGI_MODE_ROTATION_ROTATE90 || rotation == DXGI_MODE_ROTATION_ROTATE270;
    desktopWidth = static_cast<UINT>(sideways ? height : width);
    desktopHeight = static_cast<UINT>(sideways ? width : height);
    desktop.clear();
    for (int i = 0; i < width * height; ++i) {
        const int x = i % static_cast<int>(desktopWidth);
        const int y = i / static_cast<int>(desktopWidth);
        int atX = x;
        int atY = y;
        if (rotation == DXGI_MODE_ROTATION_ROTATE90) {
            atX = width - 1 - y;
            atY = x;
        } else if (rotation == DXGI_MODE_ROTATION_ROTATE180) {
            atX = width - 1 - x;
            atY = height - 1 - y;
        } else if (rotation == DXGI_MODE_ROTATION_ROTATE270) {
            atX = y;
            atY = height - 1 - x;
        }
        desktop.push_back((pixel(atX, atY) & 0xFFFFFFU) | static_cast<UINT>(i % 251) << 24);
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
    const bool isOfDevice =
        name.rfind("factory") != 0 && name.rfind("adapter") != 0 && name.rfind("output") != 0;
    made.device = isOfDevice ? currentDevice : 0;
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
    give(*this, call("CreateDXGIFactory2", flags == 0), factory, &factory5, "factory");
    if (*factory == nullptr) {
        return failing["CreateDXGIFactory2"];
    }
    m_arrangements.push_back(adapters);
    currentArrangement = static_cast<int>(m_arrangements.size()) - 1;
    object(*factory).arrangement = currentArrangement;
    return S_OK;
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
    if (*device != nullptr) {
        object(*device).adapter = object(adapter).adapter;
    }
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
    if (real->lpVtbl != &methods) {
        methods = *real->lpVtbl;
    }
    resource = static_cast<ID3D12Resource*>(texture);
    methods.OpenSharedHandle = [](auto*, auto, REFIID iid, void** opened) {
        return resource->lpVtbl->QueryInterface(resource, iid, opened);
    };
    real->lpVtbl = &methods;
}
