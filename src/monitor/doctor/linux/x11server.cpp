#include "monitor/doctor/linux/x11server.h"

#include <dlfcn.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace monitor::doctor {
namespace {

/// The functions used, by the library's own declarations.
struct Xcb {
    decltype(&xcb_connect) connect = nullptr;
    decltype(&xcb_connection_has_error) hasError = nullptr;
    decltype(&xcb_disconnect) disconnect = nullptr;
    decltype(&xcb_query_extension) query = nullptr;
    decltype(&xcb_query_extension_reply) reply = nullptr;

    bool load() {
        void* library = ::dlopen("libxcb.so.1", RTLD_NOW | RTLD_LOCAL);
        return library != nullptr && find(library, "xcb_connect", connect) &&
               find(library, "xcb_connection_has_error", hasError) &&
               find(library, "xcb_disconnect", disconnect) &&
               find(library, "xcb_query_extension", query) &&
               find(library, "xcb_query_extension_reply", reply);
    }

    template <typename Function>
    static bool find(void* library, const char* name, Function& function) {
        function = reinterpret_cast<Function>(::dlsym(library, name));
        return function != nullptr;
    }
};

}  // namespace

X11Server askX11Server(const std::vector<std::string>& extensions) {
    X11Server server;
    Xcb xcb;
    if (!xcb.load()) {
        server.error = "libxcb is not installed";
        return server;
    }
    const std::unique_ptr<xcb_connection_t, decltype(xcb.disconnect)> connection(
        xcb.connect(nullptr, nullptr), xcb.disconnect);
    for (const auto& name : extensions) {
        const auto cookie =
            xcb.query(connection.get(), static_cast<std::uint16_t>(name.size()), name.c_str());
        const std::unique_ptr<xcb_query_extension_reply_t, decltype(&std::free)> reply(
            xcb.reply(connection.get(), cookie, nullptr), &std::free);
        if (!reply || reply->present == 0) {
            server.missing.push_back(name);
        }
    }
    if (xcb.hasError(connection.get()) != 0) {
        server.error = "no X server answers at DISPLAY";
    }
    return server;
}

}  // namespace monitor::doctor
