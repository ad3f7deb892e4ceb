#pragma once

#include <windows.h>

namespace support {

/// A function of a system library that is loaded already; null on systems that lack it.
template <typename Function>
[[nodiscard]] Function systemCall(const wchar_t* library, const char* name) {
    const HMODULE module = GetModuleHandleW(library);
    return module == nullptr
               ? nullptr
               : reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

}  // namespace support
