#pragma once

#include <windows.h>

#include <string>

namespace capture::dxgi {

/// Says in words why `call` has failed with `result`: part of a sentence, for the operator.
[[nodiscard]] std::string failureReason(const std::string& call, HRESULT result);

/// Whether DuplicateOutput() has failed because the desktop is locked, disconnected or being
/// switched: it comes back by itself.
[[nodiscard]] bool isDesktopAway(HRESULT result);

/// Whether another attempt with the same device and output may succeed, as the page
/// "IDXGIOutput1::DuplicateOutput" says of its results.
[[nodiscard]] bool mayDuplicateLater(HRESULT result);

}  // namespace capture::dxgi
