#include "capture/pipewire/portal.h"

#include <gio/gunixfdlist.h>

#include <algorithm>
#include <cstring>

namespace capture::pipewire {
namespace {

constexpr char kBusName[] = "org.freedesktop.portal.Desktop";
constexpr char kObject[] = "/org/freedesktop/portal/desktop";
constexpr char kScreenCast[] = "org.freedesktop.portal.ScreenCast";
constexpr char kRequest[] = "org.freedesktop.portal.Request";
constexpr char kSession[] = "org.freedesktop.portal.Session";
constexpr char kProperties[] = "org.freedesktop.DBus.Properties";
constexpr char kBackEndPrefix[] = "org.freedesktop.impl.portal.desktop.";

constexpr std::uint32_t kPersistUntilRevoked = 2;

std::uint32_t number(GVariant* dictionary, const char* key) {
    guint32 value = 0;
    g_variant_lookup(dictionary, key, "u", &value);
    return value;
}

std::optional<std::pair<int, int>> pair(GVariant* dictionary, const char* key) {
    gint32 first = 0;
    gint32 second = 0;
    if (g_variant_lookup(dictionary, key, "(ii)", &first, &second) == FALSE) {
        return {};
    }
    return std::pair<int, int>(first, second);
}

std::string text(GVariant* dictionary, const char* key) {
    const char* value = nullptr;
    return g_variant_lookup(dictionary, key, "&s", &value) != FALSE ? value : "";
}

void add(GVariantBuilder& options, const char* key, GVariant* value) {
    g_variant_builder_add(&options, "{sv}", key, value);
}

std::string listed(std::uint32_t bits, std::initializer_list<const char*> names) {
    std::string list;
    for (const char* name : names) {
        if ((bits & 1) != 0) {
            list += (list.empty() ? "" : ", ") + std::string(name);
        }
        bits >>= 1;
    }
    return list.empty() ? "none" : list;
}

}  // namespace

CursorMode PortalOffer::bestCursorMode(bool withPointer) const {
    if (withPointer) {
        return (cursorModes & CursorMetadata) != 0 ? CursorMetadata : CursorEmbedded;
    }
    for (const CursorMode mode : {CursorHidden, CursorMetadata}) {
        if ((cursorModes & mode) != 0) {
            return mode;
        }
    }
    return CursorEmbedded;
}

std::string PortalOffer::describe() const {
    return "portal: ScreenCast version " + std::to_string(version) +
           " (back ends on the bus: " + (backEnds.empty() ? "none yet" : backEnds) +
           "), source types: " + listed(sourceTypes, {"monitor", "window", "virtual"}) +
           ", cursor modes: " + listed(cursorModes, {"hidden", "embedded", "metadata"});
}

Portal::~Portal() {
    if (m_bus.get() != nullptr) {
        closeSession();
    }
}

bool Portal::connect(PortalFailure& failure) {
    std::string error;
    if (!m_bus.connect(error)) {
        failure = {m_loop.stopped() ? PortalFailure::Stopped : PortalFailure::Unavailable, error};
        return false;
    }
    m_bus.watchOwner(kBusName, G_DBUS_SIGNAL_FLAGS_NONE, onOwnerChanged, this);
    const auto answer =
        call(kObject, kProperties, "GetAll", g_variant_new("(s)", kScreenCast), failure);
    if (!answer) {
        failure.kind =
            failure.kind == PortalFailure::Stopped ? failure.kind : PortalFailure::Unavailable;
        failure.text = "no desktop portal offers screen casts (" + failure.text + ")";
        return false;
    }
    const GHolder<GVariant> properties(g_variant_get_child_value(answer.get(), 0));
    readOffer(properties.get());
    listBackEnds();
    if ((m_offer.sourceTypes & kMonitorSource) == 0) {
        failure = {PortalFailure::Unavailable,
                   "the desktop portal has no back end that casts monitors"};
        return false;
    }
    return true;
}

void Portal::readOffer(GVariant* properties) {
    m_offer.version = number(properties, "version");
    m_offer.sourceTypes = number(properties, "AvailableSourceTypes");
    m_offer.cursorModes = number(properties, "AvailableCursorModes");
}

void Portal::listBackEnds() {
    GError* error = nullptr;
    const GHolder<GVariant> answer(g_dbus_connection_call_sync(
        m_bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "ListNames", nullptr, G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE,
        static_cast<int>(m_limits.call.count()), m_loop.cancellable(), &error));
    if (!answer) {
        (void)takeError(error);
        return;
    }
    GVariantIter* names = nullptr;
    const char* name = nullptr;
    g_variant_get(answer.get(), "(as)", &names);
    while (g_variant_iter_next(names, "&s", &name) != FALSE) {
        if (std::strncmp(name, kBackEndPrefix, std::strlen(kBackEndPrefix)) == 0) {
            m_offer.backEnds += (m_offer.backEnds.empty() ? "" : ", ") +
                                std::string(name + std::strlen(kBackEndPrefix));
        }
    }
    g_variant_iter_free(names);
}

GHolder<GVariant> Portal::call(const char* object, const char* interface, const char* method,
                               GVariant* arguments, PortalFailure& failure) {
    GError* error = nullptr;
    GHolder<GVariant> answer(g_dbus_connection_call_sync(
        m_bus.get(), kBusName, object, interface, method, arguments, nullptr,
        G_DBUS_CALL_FLAGS_NONE, static_cast<int>(m_limits.call.count()), m_loop.cancellable(),
        &error));
    if (!answer) {
        failure = {m_loop.stopped() ? PortalFailure::Stopped : PortalFailure::Failed,
                   std::string(method) + ": " + takeError(error)};
    }
    return answer;
}

/// A method that answers through a Request object. The object's path is known before the call, and
/// listened to before it: the answer may come first. Takes what is in `options`.
GHolder<GVariant> Portal::request(const char* method, bool ofSession, bool withParent,
                                  GVariantBuilder& options,
                                  std::optional<std::chrono::milliseconds> limit,
                                  PortalFailure& failure) {
    const std::string handle = "tarsin" + std::to_string(++m_requests);
    std::string sender = g_dbus_connection_get_unique_name(m_bus.get()) + 1;
    std::replace(sender.begin(), sender.end(), '.', '_');
    const std::string path = std::string(kObject) + "/request/" + sender + "/" + handle;

    Response response;
    const guint signal = g_dbus_connection_signal_subscribe(
        m_bus.get(), kBusName, kRequest, "Response", path.c_str(), nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE, onResponse, &response, nullptr);
    add(options, "handle_token", g_variant_new_string(handle.c_str()));
    GVariantBuilder arguments;
    g_variant_builder_init(&arguments, G_VARIANT_TYPE_TUPLE);
    if (ofSession) {
        g_variant_builder_add(&arguments, "o", m_session.c_str());
    }
    if (withParent) {
        g_variant_builder_add(&arguments, "s", "");
    }
    g_variant_builder_add(&arguments, "a{sv}", &options);
    const auto called =
        call(kObject, kScreenCast, method, g_variant_builder_end(&arguments), failure);
    bool answered = false;
    if (called) {
        answered = waitForResponse(response, limit);
    }
    g_dbus_connection_signal_unsubscribe(m_bus.get(), signal);
    if (!called) {
        return {};
    }
    if (!answered && !m_loop.stopped()) {
        failure = {PortalFailure::Failed,
                   std::string("the desktop portal did not answer ") + method};
    } else if (!answered) {
        failure = {PortalFailure::Stopped, "stopped"};
    } else if (!response.arrived) {
        failure = {PortalFailure::Failed,
                   std::string("the portal ended the session during ") + method};
    } else if (response.code == 1) {
        failure = {PortalFailure::Refused, "the permission was refused"};
    } else if (response.code != 0) {
        failure = {PortalFailure::Failed, std::string("the portal's back end failed at ") + method};
    } else {
        return std::move(response.results);
    }
    return {};
}

bool Portal::waitForResponse(const Response& response,
                             std::optional<std::chrono::milliseconds> limit) {
    const auto done = [&] { return response.arrived || m_closed || m_vanished; };
    if (m_loop.runUntil(done, limit.value_or(m_limits.answer)) || limit || m_loop.stopped()) {
        return done();
    }
    m_unanswered();
    return m_loop.runUntil(done);
}

bool Portal::createSession(PortalFailure& failure) {
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    const std::string handle = "tarsin" + std::to_string(m_requests);
    add(options, "session_handle_token", g_variant_new_string(handle.c_str()));
    const auto results = request("CreateSession", false, false, options, m_limits.call, failure);
    if (!results) {
        if (failure.kind == PortalFailure::Failed) {
            failure.kind = PortalFailure::Unavailable;
            failure.advice = "restart it (systemctl --user restart xdg-desktop-portal)";
        }
        return false;
    }
    m_session = text(results.get(), "session_handle");  // A string, not an object path.
    m_closedSignal = g_dbus_connection_signal_subscribe(
        m_bus.get(), kBusName, kSession, "Closed", m_session.c_str(), nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE, onClosed, this, nullptr);
    return true;
}

bool Portal::requestMonitor(const std::string& token,
                            std::optional<std::chrono::milliseconds> limit, Grant& grant,
                            PortalFailure& failure) {
    closeSession();
    if (!createSession(failure)) {
        return false;
    }
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    add(options, "types", g_variant_new_uint32(kMonitorSource));
    add(options, "multiple", g_variant_new_boolean(FALSE));
    if (m_offer.version >= 2) {
        add(options, "cursor_mode", g_variant_new_uint32(m_offer.bestCursorMode(m_withPointer)));
    }
    if (m_offer.canPersist()) {
        add(options, "persist_mode", g_variant_new_uint32(kPersistUntilRevoked));
        if (!token.empty()) {
            add(options, "restore_token", g_variant_new_string(token.c_str()));
        }
    }
    if (!request("SelectSources", true, false, options, limit, failure)) {
        return false;
    }
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    const auto results = request("Start", true, true, options, limit, failure);
    if (!results) {
        return false;
    }
    const GHolder<GVariant> streams(
        g_variant_lookup_value(results.get(), "streams", G_VARIANT_TYPE("a(ua{sv})")));
    if (!streams || g_variant_n_children(streams.get()) == 0) {
        failure = {PortalFailure::Failed, "the portal granted no stream"};
        return false;
    }
    guint32 node = 0;
    GVariant* properties = nullptr;
    g_variant_get_child(streams.get(), 0, "(u@a{sv})", &node, &properties);
    const GHolder<GVariant> holder(properties);
    grant = {node, pair(properties, "position"), pair(properties, "size"),
             text(results.get(), "restore_token")};
    return true;
}

int Portal::openPipeWire(PortalFailure& failure) {
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    GUnixFDList* files = nullptr;
    GError* error = nullptr;
    const GHolder<GVariant> answer(g_dbus_connection_call_with_unix_fd_list_sync(
        m_bus.get(), kBusName, kObject, kScreenCast, "OpenPipeWireRemote",
        g_variant_new("(oa{sv})", m_session.c_str(), &options), G_VARIANT_TYPE("(h)"),
        G_DBUS_CALL_FLAGS_NONE, static_cast<int>(m_limits.call.count()), nullptr, &files,
        m_loop.cancellable(), &error));
    int file = -1;
    if (answer) {
        gint32 index = 0;
        g_variant_get(answer.get(), "(h)", &index);
        file = g_unix_fd_list_get(files, index, &error);
        g_object_unref(files);
    }
    if (file < 0) {
        failure = {m_loop.stopped() ? PortalFailure::Stopped : PortalFailure::Failed,
                   "the portal gave no access to PipeWire: " + takeError(error)};
    }
    return file;
}

/// Nobody waits for the answer: an answer on its way would outlive the connection.
void Portal::closeSession() {
    if (m_closedSignal != 0) {
        g_dbus_connection_signal_unsubscribe(m_bus.get(), std::exchange(m_closedSignal, 0));
    }
    if (!m_session.empty() && !m_closed) {
        GDBusMessage* message =
            g_dbus_message_new_method_call(kBusName, m_session.c_str(), kSession, "Close");
        g_dbus_message_set_flags(
            message, static_cast<GDBusMessageFlags>(G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED |
                                                    G_DBUS_MESSAGE_FLAGS_NO_AUTO_START));
        g_dbus_connection_send_message(m_bus.get(), message, G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                       nullptr, nullptr);
        g_object_unref(message);
        g_dbus_connection_flush_sync(m_bus.get(), nullptr, nullptr);
    }
    m_session.clear();
    m_closed = false;
}

void Portal::onResponse(GDBusConnection* /*bus*/, const char* /*sender*/, const char* /*path*/,
                        const char* /*interface*/, const char* /*signal*/, GVariant* parameters,
                        gpointer data) {
    auto& response = *static_cast<Response*>(data);
    if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ua{sv})")) == FALSE) {
        return;
    }
    GVariant* results = nullptr;
    g_variant_get(parameters, "(u@a{sv})", &response.code, &results);
    response.results.reset(results);
    response.arrived = true;
}

void Portal::onClosed(GDBusConnection* /*bus*/, const char* /*sender*/, const char* /*path*/,
                      const char* /*interface*/, const char* /*signal*/, GVariant* /*parameters*/,
                      gpointer data) {
    static_cast<Portal*>(data)->m_closed = true;
}

void Portal::onOwnerChanged(GDBusConnection* /*bus*/, const char* /*sender*/, const char* /*path*/,
                            const char* /*interface*/, const char* /*signal*/, GVariant* parameters,
                            gpointer data) {
    const char* newOwner = "";
    g_variant_get(parameters, "(&s&s&s)", nullptr, nullptr, &newOwner);
    static_cast<Portal*>(data)->m_vanished = *newOwner == '\0';
}

}  // namespace capture::pipewire
