// WM_DISPLAYCHANGE, which goes to every window that no other one contains: to one of our own, too,
// that is never shown.

#include <windows.h>

#include <QObject>
#include <utility>

#include "session/screenwatch.h"
#include "support/log.h"

namespace session {
namespace {

constexpr wchar_t kClass[] = L"TarsinDisplayEvents";

class DisplayEvents : public QObject {
public:
    DisplayEvents(std::function<void()> changed, QObject* owner)
        : QObject(owner), m_changed(std::move(changed)) {
        WNDCLASSW type = {};
        type.lpfnWndProc = handle;
        type.hInstance = GetModuleHandleW(nullptr);
        type.lpszClassName = kClass;
        RegisterClassW(&type);  // Fails for the second object, which uses the class of the first.
        m_window = CreateWindowExW(0, kClass, L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr,
                                   type.hInstance, nullptr);
        if (m_window == nullptr) {
            HV_WARN("changes of the monitors are not noticed: CreateWindowEx reports error {}",
                    GetLastError());
            return;
        }
        SetWindowLongPtrW(m_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }
    ~DisplayEvents() override {
        if (m_window != nullptr) {
            DestroyWindow(m_window);
        }
    }
    DisplayEvents(const DisplayEvents&) = delete;
    DisplayEvents& operator=(const DisplayEvents&) = delete;

private:
    static LRESULT CALLBACK handle(HWND window, UINT message, WPARAM first, LPARAM second) {
        auto* const self =
            reinterpret_cast<DisplayEvents*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (message == WM_DISPLAYCHANGE && self != nullptr) {
            self->m_changed();
        }
        return DefWindowProcW(window, message, first, second);
    }

    std::function<void()> m_changed;
    HWND m_window = nullptr;
};

}  // namespace

void onDisplayChange(QObject* owner, std::function<void()> changed) {
    new DisplayEvents(std::move(changed), owner);
}

}  // namespace session
