// Compiled with the C declarations of the interfaces, whose tables of methods can be filled slot by
// slot: a method without an entry ends the test.
#define CINTERFACE
#define INITGUID  // The import libraries lack some interface identifiers.
#include "windows/fakegraphics.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

const auto kSharedHandle = reinterpret_cast<HANDLE>(std::uintptr_t{0x5a5a});

/// Rows are aligned to 256 bytes.
UINT rowPitch(UINT width) {
    return (width * 4 + 255) / 256 * 256;
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
    return other != nullptr && object(other).name == name;
}

/// Page "ID3D11Device::GetDeviceRemovedReason": an object of a removed device is of no use any
/// more.
bool isRemoved(const FakeObject& object) {
    return object.device != 0 && object.device != object.machine->currentDevice;
}

/// `asDocumented` false: the real system would refuse these arguments, or do something else.
HRESULT called(void* self, const char* method, bool asDocumented = true) {
    const HRESULT result = machine(self).call(object(self).name + "." + method, asDocumented);
    // Recording needs no device, and no page says that it notices.
    const bool isRefused = isRemoved(object(self)) && object(self).name != "list" &&
                           method != std::string("QueryInterface");
    return SUCCEEDED(result) && isRefused ? DXGI_ERROR_DEVICE_REMOVED : result;
}

/// What a method gives that makes an object: null where it fails.
template <typename Interface>
HRESULT give(FakeObject& from, HRESULT result, Interface** target, const void* methods,
             const std::string& name) {
    void* const made = SUCCEEDED(result) ? &from.machine->make(methods, name, from) : nullptr;
    *target = static_cast<Interface*>(made);
    return result;
}

template <typename Interface>
HRESULT give(void* self, const char* method, Interface** target, const void* methods,
             const std::string& name, bool asDocumented = true) {
    return give(object(self), called(self, method, asDocumented), target, methods, name);
}

/// A method that gives the object at an index of a list.
template <typename Interface>
HRESULT enumerate(void* self, const char* method, std::size_t index, std::size_t count,
                  Interface** target, const void* methods, const std::string& name,
                  std::size_t FakeObject::*place) {
    const HRESULT result = called(self, method);
    give(object(self), SUCCEEDED(result) && index >= count ? DXGI_ERROR_NOT_FOUND : result, target,
         methods, name + std::to_string(index));
    if (*target == nullptr) {
        return FAILED(result) ? result : DXGI_ERROR_NOT_FOUND;
    }
    object(*target).*place = index;
    return S_OK;
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

const auto setName = [](auto* self, auto*) { return called(self, "SetName"); };

const auto signal = [](auto* self, auto* fence, auto value) {
    const HRESULT result = called(self, "Signal", value == object(fence).reached + 1);
    if (SUCCEEDED(result)) {
        machine(self).signal(object(fence), value);
    }
    return result;
};

const auto deviceRemovedReason = [](auto* self) {
    return isRemoved(object(self)) ? HRESULT(DXGI_ERROR_DEVICE_RESET) : S_OK;
};

const auto texture11 = table<ID3D11Texture2DVtbl>([](auto& methods) {
    methods.GetDesc = [](auto* self, auto* description) {
        *description = {};
        description->Width = object(self).width;
        description->Height = object(self).height;
        description->Format = machine(self).format;
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
        description->Width = machine(self).textureWidth;
        description->Height = machine(self).textureHeight;
        return description;
    };
    methods.Map = [](auto* self, auto, auto*, void** data) {
        *data = machine(self).readback.data();
        return called(self, "Map");
    };
    methods.Unmap = [](auto* self, auto, auto*) { called(self, "Unmap"); };
});

/// Pages "IDXGIOutputDuplication::GetFrameDirtyRects", "::GetFrameMoveRects" and
/// "::GetFramePointerShape": of the acquired frame, in a buffer whose size is in bytes.
template <typename Item>
HRESULT fill(void* self, const char* method, UINT bytes, void* buffer, UINT* needed,
             const std::vector<Item>& items) {
    const HRESULT result = called(self, method);
    *needed = static_cast<UINT>(items.size() * sizeof(Item));
    if (FAILED(result) || !object(self).held || bytes < *needed) {
        return FAILED(result)       ? result
               : !object(self).held ? DXGI_ERROR_INVALID_CALL
                                    : DXGI_ERROR_MORE_DATA;
    }
    std::copy(items.begin(), items.end(), static_cast<Item*>(buffer));
    return S_OK;
}

const auto duplication = table<IDXGIOutputDuplicationVtbl>([](auto& methods) {
    methods.GetDesc = [](auto* self, auto* description) {
        *description = {};
        const auto* const shown = machine(self).outputOf(object(self));
        description->Rotation = shown != nullptr ? shown->rotation : DXGI_MODE_ROTATION_UNSPECIFIED;
    };
    methods.AcquireNextFrame = [](auto* self, auto timeout, auto* info, auto** resource) {
        const HRESULT result = called(self, "AcquireNextFrame", timeout == 0);
        return give(object(self),
                    SUCCEEDED(result) ? machine(self).acquire(object(self), *info) : result,
                    resource, &resource11, "resource");
    };
    methods.GetFrameDirtyRects = [](auto* self, auto bytes, auto* buffer, auto* needed) {
        return fill(self, "GetFrameDirtyRects", bytes, buffer, needed, machine(self).dirtyRects);
    };
    methods.GetFrameMoveRects = [](auto* self, auto bytes, auto* buffer, auto* needed) {
        return fill(self, "GetFrameMoveRects", bytes, buffer, needed, machine(self).moveRects);
    };
    methods.GetFramePointerShape = [](auto* self, auto bytes, auto* buffer, auto* needed,
                                      auto* info) {
        *info = machine(self).pointerInfo;
        return fill(self, "GetFramePointerShape", bytes, buffer, needed,
                    machine(self).pointerBytes);
    };
    methods.ReleaseFrame = [](auto* self) {
        const HRESULT result = called(self, "ReleaseFrame");
        // Page "IDXGIOutputDuplication::ReleaseFrame": nothing is acquired.
        return std::exchange(object(self).held, false) ? result : HRESULT(DXGI_ERROR_INVALID_CALL);
    };
});

const auto output1 = table<IDXGIOutput1Vtbl>([](auto& methods) {
    methods.GetDesc = [](auto* self, auto* description) {
        const auto& own = machine(self)
                              .adaptersOf(object(self))[object(self).adapter]
                              .outputs[object(self).output];
        own.name.copy(description->DeviceName, std::size(description->DeviceName) - 1);
        description->DesktopCoordinates = own.desktop;
        return called(self, "GetDesc");
    };
    methods.DuplicateOutput = [](auto* self, auto* device, auto** made) {
        const HRESULT result = called(self, "DuplicateOutput");
        return give(
            object(self),
            SUCCEEDED(result) ? machine(self).duplicate(object(self), object(device)) : result,
            made, &duplication, "duplication");
    };
});

const auto adapter1 = table<IDXGIAdapter1Vtbl>([](auto& methods) {
    methods.GetDesc1 = [](auto* self, auto* description) {
        *description = {};
        description->Flags = machine(self).adaptersOf(object(self))[object(self).adapter].flags;
        return called(self, "GetDesc1");
    };
    methods.GetDesc = [](auto* self, auto* description) {
        *description = {};
        return called(self, "GetDesc");
    };
    methods.EnumOutputs = [](auto* self, auto index, auto** output) {
        return enumerate(
            self, "EnumOutputs", index,
            machine(self).adaptersOf(object(self))[object(self).adapter].outputs.size(), output,
            &output1, "output" + std::to_string(object(self).adapter), &FakeObject::output);
    };
});

const auto enumAdapters = [](auto* self, auto index, auto** adapter) {
    return enumerate(self, "EnumAdapters1", index, machine(self).adaptersOf(object(self)).size(),
                     adapter, &adapter1, "adapter", &FakeObject::adapter);
};

const auto factory5 = table<IDXGIFactory5Vtbl>([](auto& methods) {
    methods.EnumAdapters1 = enumAdapters;
    methods.EnumAdapters = enumAdapters;
    // Page "IDXGIFactory1::IsCurrent": later changes need a new factory. It promises to notice
    // adapters only.
    methods.IsCurrent = [](auto* self) -> WINBOOL {
        return object(self).arrangement == machine(self).currentArrangement ||
               !machine(self).noticesOutputs;
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
    // Page "D3D11_FENCE_FLAG": no flags is 0, whatever the header at hand says.
    return give(self, "CreateFence", result, &fence<Methods>, "fence" + object(self).name.substr(6),
                initial == 0 && +flags == 0);
};

const auto context11 = table<ID3D11DeviceContext4Vtbl>([](auto& methods) {
    methods.CopyResource = [](auto* self, auto* destination, auto* source) {
        FakeGraphics& all = machine(self);
        called(self, "CopyResource");
        // Page "ID3D11DeviceContext::CopyResource": both must have the same size and a format of
        // one group. It returns nothing: what breaks the rule is dropped.
        if (all.copyReal) {
            all.onGpu(all.copyReal);
        } else if (object(destination).width == object(source).width &&
                   object(destination).height == object(source).height &&
                   all.format == DXGI_FORMAT_B8G8R8A8_UNORM && !isRemoved(object(self))) {
            all.onGpu([&all] { all.texture = all.desktop; });
        }
    };
    methods.Flush = [](auto* self) { called(self, "Flush"); };
    methods.Signal = signal;
});

const auto device11 = table<ID3D11Device5Vtbl>([](auto& methods) {
    methods.CreateTexture2D = [](auto* self, auto* wanted, auto*, auto** texture) {
        FakeGraphics& all = machine(self);
        all.textureWidth = wanted->Width;
        all.textureHeight = wanted->Height;
        all.texture.assign(std::size_t{wanted->Width} * wanted->Height, 0);
        if (all.copyReal) {
            all.createRealTexture(wanted->Width, wanted->Height);
        }
        // Only such a texture has the handle that is asked for.
        const HRESULT result = give(self, "CreateTexture2D", texture, &texture11, "texture11",
                                    wanted->Format == DXGI_FORMAT_B8G8R8A8_UNORM &&
                                        wanted->MiscFlags == D3D11_RESOURCE_MISC_SHARED);
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
    methods.ExecuteCommandLists = [](auto* self, auto, auto* lists) {
        called(self, "ExecuteCommandLists", is(lists[0], "list"));
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
    methods.CopyTextureRegion = [](auto* self, auto* to, auto, auto, auto, auto* from, auto*) {
        called(self, "CopyTextureRegion",
               is(to->pResource, "readback") && is(from->pResource, "texture12"));
    };
    methods.Close = [](auto* self) { return called(self, "Close"); };
    methods.Reset = [](auto* self, auto*, auto*) { return called(self, "Reset"); };
});

const auto device12 = table<ID3D12DeviceVtbl>([](auto& methods) {
    methods.CreateCommandQueue = [](auto* self, auto*, REFIID, void** queue) {
        return give(self, "CreateCommandQueue", queue, &queue12, "queue");
    };
    methods.CreateCommandAllocator = [](auto* self, auto, REFIID, void** allocator) {
        return give(self, "CreateCommandAllocator", allocator, &allocator12, "allocator");
    };
    methods.CreateCommandList = [](auto* self, auto, auto, auto*, auto*, REFIID, void** list) {
        return give(self, "CreateCommandList", list, &list12, "list");
    };
    methods.CreateFence = createFence<ID3D12FenceVtbl>;
    methods.GetDeviceRemovedReason = deviceRemovedReason;
    methods.OpenSharedHandle = [](auto* self, auto handle, REFIID, void** resource) {
        return give(self, "OpenSharedHandle", resource, &resource12, "texture12",
                    handle == kSharedHandle);
    };
    methods.GetCopyableFootprints = [](auto*, auto* texture, auto, auto, auto, auto* footprint,
                                       auto* rows, auto* rowSize, auto* total) {
        const auto width = static_cast<UINT>(texture->Width);
        const UINT pitch = rowPitch(width);
        *footprint = {0, {texture->Format, width, texture->Height, 1, pitch}};
        *rows = texture->Height;
        *rowSize = UINT64{width} * 4;
        *total = UINT64{pitch} * (texture->Height - 1) + *rowSize;
    };
    methods.CreateCommittedResource = [](auto* self, auto* heap, auto, auto* wanted, auto, auto*,
                                         REFIID, void** resource) {
        machine(self).readback.assign(wanted->Width, 0);
        return give(self, "CreateCommittedResource", resource, &resource12, "readback",
                    heap->Type == D3D12_HEAP_TYPE_READBACK);
    };
});

/// One object as another interface: itself, or a new one.
HRESULT query(FakeObject& self, REFIID iid, void** result) {
    FakeGraphics& all = *self.machine;
    const HRESULT answer = called(&self, "QueryInterface");
    *result = nullptr;
    if (IsEqualIID(iid, IID_ID3D11Texture2D) && SUCCEEDED(answer) && all.realFrame) {
        auto* const real = static_cast<IUnknown*>(all.realFrame());
        return real->lpVtbl->QueryInterface(real, iid, result);
    }
    if (IsEqualIID(iid, IID_ID3D11Texture2D)) {
        give(self, answer, result, &texture11, "frame");
        if (*result != nullptr) {
            object(*result).width = all.desktopWidth;
            object(*result).height = all.desktopHeight;
        }
    } else if (IsEqualIID(iid, IID_IDXGIResource1)) {
        give(self, answer, result, &resource11, "shareable");
    } else if (SUCCEEDED(answer)) {
        ++self.references;
        *result = &self;
    }
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
        one.lost = true;
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

/// As it is now. Null: it has been unplugged.
const FakeGraphics::Output* FakeGraphics::outputOf(const FakeObject& one) const {
    const std::wstring& name = adaptersOf(one)[one.adapter].outputs[one.output].name;
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
    const bool isDuplicated =
        std::any_of(m_objects.begin(), m_objects.end(), [&output](const FakeObject& one) {
            return one.name == "duplication" && one.references > 0 &&
                   one.adapter == output.adapter && one.output == output.output;
        });
    if (isRemoved(device)) {
        return DXGI_ERROR_DEVICE_REMOVED;
    }
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
    const int width = output.desktop.right - output.desktop.left;
    const int height = output.desktop.bottom - output.desktop.top;
    const auto turn = output.rotation;
    const bool sideways =
        turn == DXGI_MODE_ROTATION_ROTATE90 || turn == DXGI_MODE_ROTATION_ROTATE270;
    desktopWidth = static_cast<UINT>(sideways ? height : width);
    desktopHeight = static_cast<UINT>(sideways ? width : height);
    desktop.clear();
    for (int i = 0; i < width * height; ++i) {
        const int x = i % static_cast<int>(desktopWidth);
        const int y = i / static_cast<int>(desktopWidth);
        const auto upright = turn == DXGI_MODE_ROTATION_ROTATE90 ? pixel(width - 1 - y, x)
                             : turn == DXGI_MODE_ROTATION_ROTATE180
                                 ? pixel(width - 1 - x, height - 1 - y)
                             : turn == DXGI_MODE_ROTATION_ROTATE270 ? pixel(y, height - 1 - x)
                                                                    : pixel(x, y);
        desktop.push_back((upright & 0xFFFFFFU) | static_cast<UINT>(i % 251) << 24);
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

FakeObject& FakeGraphics::make(const void* methods, const std::string& name,
                               const FakeObject& from) {
    FakeObject& made = m_objects.emplace_back(from);
    made.methods = methods;
    made.machine = this;
    made.name = name;
    made.references = 1;
    made.lost = made.held = made.used = false;
    const bool isOfDevice =
        name.rfind("factory") != 0 && name.rfind("adapter") != 0 && name.rfind("output") != 0;
    made.device = isOfDevice ? currentDevice : 0;
    return made;
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

HRESULT FakeGraphics::CreateDXGIFactory2(UINT, REFIID, void** factory) {
    FakeObject none;
    none.machine = this;
    const HRESULT result = give(none, call("CreateDXGIFactory2"), factory, &factory5, "factory");
    if (SUCCEEDED(result)) {
        m_arrangements.push_back(adapters);
        currentArrangement = static_cast<int>(m_arrangements.size()) - 1;
        object(*factory).arrangement = currentArrangement;
    }
    return result;
}

HRESULT FakeGraphics::D3D11CreateDevice(IDXGIAdapter* adapter, D3D_DRIVER_TYPE type, HMODULE, UINT,
                                        const D3D_FEATURE_LEVEL*, UINT, UINT, ID3D11Device** device,
                                        D3D_FEATURE_LEVEL*, ID3D11DeviceContext** context) {
    // Page "D3D11CreateDevice": with an adapter no other type is valid.
    const HRESULT result = call("D3D11CreateDevice", type == D3D_DRIVER_TYPE_UNKNOWN);
    give(object(adapter), result, device, &device11, "device11");
    return give(object(adapter), result, context, &context11, "context11");
}

HRESULT FakeGraphics::D3D12CreateDevice(IUnknown* adapter, D3D_FEATURE_LEVEL, REFIID,
                                        void** device) {
    return give(object(adapter), call("D3D12CreateDevice"), device, &device12, "device12");
}

HANDLE FakeGraphics::CreateEventW(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR) {
    return FAILED(call("CreateEventW"))
               ? nullptr
               : reinterpret_cast<HANDLE>(
                     m_events.emplace(++m_lastEvent, currentDevice).first->first);
}

DWORD FakeGraphics::WaitForSingleObject(HANDLE event, DWORD milliseconds) {
    // A device that is removed before the copy ends may never signal the event.
    const auto waited = m_events.find(reinterpret_cast<std::uintptr_t>(event));
    const bool ends = waited != m_events.end() && waited->second == currentDevice;
    call("WaitForSingleObject", ends && milliseconds != INFINITE);
    if (waitsUntilRemoval > 0 && --waitsUntilRemoval == 0) {
        removeDevice();
        m_work.clear();
        return WAIT_TIMEOUT;
    }
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
