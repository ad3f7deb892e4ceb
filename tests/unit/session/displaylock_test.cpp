// The display lock of a session as a desktop sees it, on a session bus of the test's own.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusVirtualObject>

#include "gui/fakecollaborators.h"
#include "session/sendsession.h"
#include "support/eventually.h"

namespace {

/// Stands in for the desktop's service, which releases the display when the caller asks for it or
/// leaves the bus.
class ScreenSaver : public QDBusVirtualObject {
public:
    QString lastCall;
    QString caller;

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override {
        lastCall = message.interface() + "." + message.member() + " " + message.signature();
        caller = message.service();
        return bus.send(message.createReply(7U));
    }
};

template <typename Condition>
bool eventually(Condition condition) {
    return tests::eventually([&] {
        QCoreApplication::processEvents();
        return condition();
    });
}

TEST(DisplayLock, IsHeldWhileTheSessionSends) {
    ScreenSaver desktop;
    auto bus = QDBusConnection::sessionBus();
    ASSERT_TRUE(bus.registerVirtualObject("/org/freedesktop/ScreenSaver", &desktop));
    ASSERT_TRUE(bus.registerService("org.freedesktop.ScreenSaver"));
    const auto connected = [&] {
        return bus.interface()->isServiceRegistered(desktop.caller).value();
    };
    tests::FakeCollaborators fakes({{0, 0, 640, 480}});
    session::SendSession session(fakes.collaborators());
    session.createSender("N");
    session.keepDisplayOn(false);
    session.start();
    session.pause();
    session.keepDisplayOn(true);
    for (int i = 0; i < 2; ++i) {
        desktop.lastCall.clear();
        session.start();
        EXPECT_TRUE(eventually([&] { return !desktop.lastCall.isEmpty(); }));
        EXPECT_EQ(desktop.lastCall, "org.freedesktop.ScreenSaver.Inhibit ss");
        EXPECT_TRUE(connected());
        session.sender()->reset();
        session.createSender("N");
        session.start();
        EXPECT_TRUE(connected()) << "it is held between a reset and the next start";
        i == 0 ? session.pause() : session.close();
        EXPECT_TRUE(eventually([&] { return !connected(); }));
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
