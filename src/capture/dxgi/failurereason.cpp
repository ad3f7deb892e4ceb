#include "capture/dxgi/failurereason.h"

#include <dxgi1_2.h>
#include <fmt/format.h>

#include <cstdint>
#include <string_view>

namespace capture::dxgi {
namespace {

struct Reason {
    HRESULT result;
    const char* call;  ///< "": any.
    const char* text;
};

// Pages "DXGI_ERROR" and "IDXGIOutput1::DuplicateOutput"; that duplication is refused on the wrong
// adapter of two: article KB 3019314.
constexpr Reason kReasons[] = {
    {DXGI_ERROR_ACCESS_LOST, "", "the desktop was switched, or the screen changed its mode"},
    {DXGI_ERROR_MODE_CHANGE_IN_PROGRESS, "", "the screen is changing its mode"},
    {DXGI_ERROR_NOT_FOUND, "finding the output", "there is no such output, or it is off"},
    {DXGI_ERROR_DEVICE_REMOVED, "", "the graphics device was removed or its driver replaced"},
    {DXGI_ERROR_DEVICE_HUNG, "", "the graphics device hung and was reset"},
    {DXGI_ERROR_DEVICE_RESET, "", "the graphics device was reset"},
    {DXGI_ERROR_SESSION_DISCONNECTED, "", "the remote session is disconnected"},
    {E_ACCESSDENIED, "DuplicateOutput",
     "Windows shows its secure desktop (locked, or asking for permission)"},
    {DXGI_ERROR_UNSUPPORTED, "DuplicateOutput",
     "this graphics adapter cannot duplicate the screen (of two adapters, choose the power-saving "
     "one for this program in Settings > System > Display > Graphics; or a remote session or an "
     "old driver prevents it)"},
    {DXGI_ERROR_UNSUPPORTED, "the frame's format",
     "the screen's frames are not BGRA; switch HDR off for this screen"},
    {DXGI_ERROR_NOT_CURRENTLY_AVAILABLE, "DuplicateOutput",
     "too many programs duplicate the screen already; close one of them"},
    {E_NOTIMPL, "DuplicateOutput", "this system has no desktop duplication"},
    {E_NOINTERFACE, "ID3D11Device5",
     "Windows or the graphics driver is too old: Direct3D 11.4 is missing (Windows 10 1703)"},
};

}  // namespace

std::string failureReason(const std::string& call, HRESULT result) {
    for (const Reason& one : kReasons) {
        if (one.result == result && (*one.call == '\0' || one.call == call)) {
            return one.text;
        }
    }
    return fmt::format("{} failed with error {:#010x}", call, static_cast<std::uint32_t>(result));
}

bool isDesktopAway(HRESULT result) {
    return result == E_ACCESSDENIED || result == DXGI_ERROR_SESSION_DISCONNECTED ||
           result == DXGI_ERROR_ACCESS_LOST || result == DXGI_ERROR_MODE_CHANGE_IN_PROGRESS;
}

bool mayDuplicateLater(HRESULT result) {
    return isDesktopAway(result) || result == DXGI_ERROR_UNSUPPORTED ||
           result == DXGI_ERROR_NOT_CURRENTLY_AVAILABLE;
}

}  // namespace capture::dxgi
