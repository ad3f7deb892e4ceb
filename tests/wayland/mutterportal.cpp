#include "mutterportal.h"

#include <gio/gunixfdlist.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <future>

namespace tests {
namespace {

constexpr char kPortal[] = "/org/freedesktop/portal/desktop";
constexpr char kScreenCast[] = "org.gnome.Mutter.ScreenCast";
constexpr char kRemoteDesktop[] = "org.gnome.Mutter.RemoteDesktop";

constexpr char kInterfaces[] =
    "<node><interface name='org.freedesktop.portal.ScreenCast'>"
    "<method name='CreateSession'><arg type='a{sv}'/><arg type='o' direction='out'/></method>"
    "<method name='SelectSources'><arg type='o'/><arg type='a{sv}'/>"
    "<arg type='o' direction='out'/></method>"
    "<method name='Start'><arg type='o'/><arg type='s'/><arg type='a{sv}'/>"
    "<arg type='o' direction='out'/></method>"
    "<method name='OpenPipeWireRemote'><arg type='o'/><arg type='a{sv}'/>"
    "<arg type='h' direction='out'/></method>"
    "<property name='version' type='u' access='read'/>"
    "<property name='AvailableSourceTypes' type='u' access='read'/>"
    "<property name='AvailableCursorModes' type='u' access='read'/>"
    "</interface><interface name='org.freedesktop.portal.Session'><method name='Close'/>"
    "</interface></node>";

std::string option(GVariant* options, const char* key) {
    const char* value = "";
    g_variant_lookup(options, key, "&s", &value);
    return value;
}

/// "/org/.../KIND/1_42/TOKEN", as the portal documents it.
std::string handle(const char* kind, const char* client, const std::string& token) {
    std::string name = client + 1;
    std::replace(name.begin(), name.end(), '.', '_');
    return std::string(kPortal) + "/" + kind + "/" + name + "/" + token;
}

GVariant* dictionary(const char* key = nullptr, GVariant* value = nullptr) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    if (key != nullptr) {
        g_variant_builder_add(&builder, "{sv}", key, value);
    }
    return g_variant_builder_end(&builder);
}

int connectToPipeWire() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = std::string(std::getenv("XDG_RUNTIME_DIR")) + "/pipewire-0";
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    const int file = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    return ::connect(file, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 ? file : -1;
}

}  // namespace

MutterPortal::MutterPortal()
    : m_context(g_main_context_new()), m_loop(g_main_loop_new(m_context, FALSE)) {
    std::promise<void> ready;
    m_thread = std::thread([&] {
        g_main_context_push_thread_default(m_context);
        m_bus = g_dbus_connection_new_for_address_sync(
            std::getenv("DBUS_SESSION_BUS_ADDRESS"),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr);
        m_interfaces = g_dbus_node_info_new_for_xml(kInterfaces, nullptr);
        exportObject(kPortal, "org.freedesktop.portal.ScreenCast");
        for (const char* service : {kScreenCast, kRemoteDesktop}) {
            g_dbus_connection_signal_subscribe(m_bus, service, nullptr, nullptr, nullptr, nullptr,
                                               G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this, nullptr);
        }
        g_variant_unref(mutter("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "RequestName",
                               g_variant_new("(su)", "org.freedesktop.portal.Desktop", 4)));
        ready.set_value();
        g_main_loop_run(m_loop);
        g_dbus_connection_close_sync(m_bus, nullptr, nullptr);
        g_main_context_pop_thread_default(m_context);
    });
    ready.get_future().wait();
}

MutterPortal::~MutterPortal() {
    // Said in the loop, because one that is about to run would not hear it.
    GSource* const quit = g_idle_source_new();
    g_source_set_callback(
        quit,
        [](gpointer loop) -> gboolean {
            g_main_loop_quit(static_cast<GMainLoop*>(loop));
            return G_SOURCE_REMOVE;
        },
        m_loop, nullptr);
    g_source_attach(quit, m_context);
    g_source_unref(quit);
    m_thread.join();
    g_object_unref(m_bus);
    g_dbus_node_info_unref(m_interfaces);
    g_main_loop_unref(m_loop);
    g_main_context_unref(m_context);
}

void MutterPortal::grant(const std::string& source) {
    const std::lock_guard lock(m_mutex);
    m_source = source;
}

void MutterPortal::leaveUnanswered(const std::string& method) {
    const std::lock_guard lock(m_mutex);
    m_unanswered = method;
}

int MutterPortal::calls(const std::string& method) const {
    const std::lock_guard lock(m_mutex);
    const auto found = m_calls.find(method);
    return found != m_calls.end() ? found->second : 0;
}

void MutterPortal::movePointer(double x, double y) {
    const std::lock_guard lock(m_mutex);
    g_variant_unref(mutter(kRemoteDesktop, m_newest.remoteDesktop,
                           "org.gnome.Mutter.RemoteDesktop.Session", "NotifyPointerMotionAbsolute",
                           g_variant_new("(sdd)", m_newest.stream.c_str(), x, y)));
}

void MutterPortal::stopSharing() {
    const std::lock_guard lock(m_mutex);
    g_variant_unref(mutter(kRemoteDesktop, m_newest.remoteDesktop,
                           "org.gnome.Mutter.RemoteDesktop.Session", "Stop", nullptr));
}

void MutterPortal::exportObject(const char* path, const char* interface) {
    static const GDBusInterfaceVTable kTable = {onCall, onProperty, nullptr, {}};
    g_dbus_connection_register_object(m_bus, path,
                                      g_dbus_node_info_lookup_interface(m_interfaces, interface),
                                      &kTable, this, nullptr, nullptr);
}

GVariant* MutterPortal::mutter(const char* service, const std::string& object,
                               const char* interface, const char* method, GVariant* arguments) {
    GError* error = nullptr;
    GVariant* answer =
        g_dbus_connection_call_sync(m_bus, service, object.c_str(), interface, method, arguments,
                                    nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (answer == nullptr) {
        g_printerr("%s: %s\n", method, error->message);
        g_error_free(error);
    }
    return answer;
}

std::string MutterPortal::mutterPath(const char* service, const std::string& object,
                                     const char* interface, const char* method,
                                     GVariant* arguments) {
    GVariant* answer = mutter(service, object, interface, method, arguments);
    const char* path = "";
    if (answer == nullptr) {
        return path;
    }
    g_variant_get(answer, "(&o)", &path);
    std::string copy = path;
    g_variant_unref(answer);
    return copy;
}

/// The pointer moves through a session of the remote desktop that the cast is part of.
void MutterPortal::createCast(const std::string& path, const char* client) {
    Cast cast;
    cast.client = client;
    cast.remoteDesktop = mutterPath(kRemoteDesktop, "/org/gnome/Mutter/RemoteDesktop",
                                    kRemoteDesktop, "CreateSession", nullptr);
    GVariant* answer =
        mutter(kRemoteDesktop, cast.remoteDesktop, "org.freedesktop.DBus.Properties", "Get",
               g_variant_new("(ss)", "org.gnome.Mutter.RemoteDesktop.Session", "SessionId"));
    GVariant* id = nullptr;
    g_variant_get(answer, "(v)", &id);
    cast.screenCast =
        mutterPath(kScreenCast, "/org/gnome/Mutter/ScreenCast", kScreenCast, "CreateSession",
                   g_variant_new("(@a{sv})", dictionary("remote-desktop-session-id", id)));
    g_variant_unref(id);
    g_variant_unref(answer);
    exportObject(path.c_str(), "org.freedesktop.portal.Session");
    m_casts[path] = cast;
}

void MutterPortal::startCast(Cast& cast) {
    const std::lock_guard lock(m_mutex);
    // mutter counts hidden, embedded, metadata: 0, 1, 2; the portal 1, 2, 4.
    GVariant* options = dictionary("cursor-mode", g_variant_new_uint32(cast.cursorMode / 2));
    cast.source = cast.source.empty() ? m_source : cast.source;
    const bool monitor = cast.source != "window" && cast.source != "virtual";
    cast.stream = mutterPath(kScreenCast, cast.screenCast, "org.gnome.Mutter.ScreenCast.Session",
                             monitor                   ? "RecordMonitor"
                             : cast.source == "window" ? "RecordWindow"
                                                       : "RecordVirtual",
                             monitor ? g_variant_new("(s@a{sv})", cast.source.c_str(), options)
                                     : g_variant_new("(@a{sv})", options));
    m_newest = cast;
    g_variant_unref(mutter(kRemoteDesktop, cast.remoteDesktop,
                           "org.gnome.Mutter.RemoteDesktop.Session", "Start", nullptr));
}

void MutterPortal::respond(const Cast& cast, const std::string& request, GVariant* results) {
    g_dbus_connection_emit_signal(m_bus, cast.client.c_str(), request.c_str(),
                                  "org.freedesktop.portal.Request", "Response",
                                  g_variant_new("(u@a{sv})", 0, results), nullptr);
}

void MutterPortal::onCall(GDBusConnection* /*bus*/, const char* sender, const char* object,
                          const char* /*interface*/, const char* method, GVariant* arguments,
                          GDBusMethodInvocation* invocation, gpointer data) {
    auto& self = *static_cast<MutterPortal*>(data);
    const std::string name = method;
    bool answered = false;
    {
        const std::lock_guard lock(self.m_mutex);
        ++self.m_calls[name];
        answered = name != self.m_unanswered;
    }
    if (name == "Close") {
        // Without an answer: mutter may have ended it already.
        g_dbus_connection_call(self.m_bus, kRemoteDesktop,
                               self.m_casts[object].remoteDesktop.c_str(),
                               "org.gnome.Mutter.RemoteDesktop.Session", "Stop", nullptr, nullptr,
                               G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
        self.m_casts.erase(object);
        g_dbus_method_invocation_return_value(invocation, nullptr);
        return;
    }
    GVariant* options = g_variant_get_child_value(arguments, g_variant_n_children(arguments) - 1);
    const std::string request = handle("request", sender, option(options, "handle_token"));
    const std::string created = handle("session", sender, option(options, "session_handle_token"));
    if (name == "CreateSession") {
        self.createCast(created, sender);
    }
    std::string path = created;
    if (name != "CreateSession") {
        const char* given = nullptr;
        g_variant_get_child(arguments, 0, "&o", &given);
        path = given;
    }
    const auto found = self.m_casts.find(path);
    if (found == self.m_casts.end()) {
        g_dbus_method_invocation_return_dbus_error(
            invocation, "org.freedesktop.DBus.Error.AccessDenied", "Invalid session");
    } else if (name == "OpenPipeWireRemote") {
        GUnixFDList* files = g_unix_fd_list_new();
        const int file = connectToPipeWire();
        const int index = g_unix_fd_list_append(files, file, nullptr);
        ::close(file);
        g_dbus_method_invocation_return_value_with_unix_fd_list(invocation,
                                                                g_variant_new("(h)", index), files);
        g_object_unref(files);
    } else {
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(o)", request.c_str()));
        Cast& cast = found->second;
        g_variant_lookup(options, "cursor_mode", "u", &cast.cursorMode);
        if (name == "SelectSources") {
            cast.source = option(options, "restore_token");
        }
        if (answered && name == "Start") {
            cast.startRequest = request;
            self.startCast(cast);
        } else if (answered) {
            self.respond(cast, request,
                         name == "CreateSession"
                             ? dictionary("session_handle", g_variant_new_string(path.c_str()))
                             : dictionary());
        }
    }
    g_variant_unref(options);
}

GVariant* MutterPortal::onProperty(GDBusConnection* /*bus*/, const char* /*sender*/,
                                   const char* /*object*/, const char* /*interface*/,
                                   const char* name, GError** /*error*/, gpointer /*data*/) {
    const std::string property = name;
    return g_variant_new_uint32(property == "version"                ? 4
                                : property == "AvailableSourceTypes" ? 1
                                                                     : 6);
}

void MutterPortal::onSignal(GDBusConnection* bus, const char* /*sender*/, const char* object,
                            const char* /*interface*/, const char* signal, GVariant* arguments,
                            gpointer data) {
    auto& self = *static_cast<MutterPortal*>(data);
    const std::string name = signal;
    for (const auto& [path, cast] : self.m_casts) {
        if (name == "PipeWireStreamAdded" && object == cast.stream) {
            guint32 node = 0;
            g_variant_get(arguments, "(u)", &node);
            GVariantBuilder results;
            g_variant_builder_init(&results, G_VARIANT_TYPE_VARDICT);
            GVariant* stream = g_variant_new("(u@a{sv})", node, dictionary());
            g_variant_builder_add(&results, "{sv}", "streams",
                                  g_variant_new_array(nullptr, &stream, 1));
            g_variant_builder_add(&results, "{sv}", "restore_token",
                                  g_variant_new_string(cast.source.c_str()));
            self.respond(cast, cast.startRequest, g_variant_builder_end(&results));
        } else if (name == "Closed" && object == cast.remoteDesktop) {
            // Two processes stand between GNOME's compositor and a program; PipeWire is faster.
            g_usleep(100000);
            g_dbus_connection_emit_signal(bus, cast.client.c_str(), path.c_str(),
                                          "org.freedesktop.portal.Session", "Closed",
                                          g_variant_new("(@a{sv})", dictionary()), nullptr);
        }
    }
}

}  // namespace tests
