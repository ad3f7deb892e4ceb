#pragma once
// A desktop portal for sessions of mutter's, in the test's own process.

#include <gio/gio.h>

#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace tests {

/// Answers org.freedesktop.portal.ScreenCast, version 4, from mutter's own
/// org.gnome.Mutter.ScreenCast: GNOME's portal without its window. Its cursor modes are "embedded"
/// and "metadata".
class MutterPortal {
public:
    MutterPortal();  ///< Returns when it is on the session bus.
    ~MutterPortal();
    MutterPortal(const MutterPortal&) = delete;
    MutterPortal& operator=(const MutterPortal&) = delete;

    /// What Start grants from now on, unless the session has a token of an earlier grant: a monitor
    /// by its connector, "window" for the one that has the focus, "virtual" for a monitor that is
    /// made for this cast and goes with it.
    void grant(const std::string& source);

    /// Leaves a method of the portal without a Response, until it is called with "".
    void leaveUnanswered(const std::string& method);

    /// How often the method was called.
    [[nodiscard]] int calls(const std::string& method) const;

    /// Moves the pointer in the newest cast; returns when mutter has done it.
    void movePointer(double x, double y);

    /// Ends the newest cast, as the user does from the desktop's panel.
    void stopSharing();

private:
    struct Cast {
        std::string remoteDesktop;  ///< Object paths of mutter's.
        std::string screenCast;
        std::string stream;
        std::string client;        ///< Bus name.
        std::string startRequest;  ///< Waits for the stream.
        guint32 cursorMode = 0;
        std::string source;  ///< As grant(). It is the restore token, too.
    };

    static void onCall(GDBusConnection*, const char* sender, const char* object, const char*,
                       const char* method, GVariant* arguments, GDBusMethodInvocation* invocation,
                       gpointer self);
    static GVariant* onProperty(GDBusConnection*, const char*, const char*, const char*,
                                const char* name, GError**, gpointer);
    static void onSignal(GDBusConnection*, const char*, const char* object, const char*,
                         const char* signal, GVariant* arguments, gpointer self);

    void run();
    void exportObject(const char* path, const char* interface);
    /// A call to mutter; the answer belongs to the caller, null after an error.
    GVariant* mutter(const char* service, const std::string& object, const char* interface,
                     const char* method, GVariant* arguments);
    /// As above, for answers that are one object path.
    std::string mutterPath(const char* service, const std::string& object, const char* interface,
                           const char* method, GVariant* arguments);
    void createCast(const std::string& path, const char* client);
    void startCast(Cast& cast);
    void respond(const Cast& cast, const std::string& request, GVariant* results);

    GMainContext* m_context;
    GMainLoop* m_loop;
    GDBusConnection* m_bus = nullptr;
    GDBusNodeInfo* m_interfaces = nullptr;
    std::map<std::string, Cast> m_casts;  ///< By the portal's session path; the loop's thread's.

    mutable std::mutex m_mutex;  ///< Guards what follows.
    std::string m_source;
    std::string m_unanswered;
    std::map<std::string, int> m_calls;
    Cast m_newest;

    std::thread m_thread;
};

}  // namespace tests
