// The lock as a desktop sees it, on a session bus of the test's own.

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusVirtualObject>

#include "session/displaylock.h"
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

TEST(DisplayLock, IsHeldByAConnectionThatEndsWithIt) {
    ScreenSaver desktop;
    auto bus = QDBusConnection::sessionBus();
    ASSERT_TRUE(bus.registerVirtualObject("/org/freedesktop/ScreenSaver", &desktop));
    ASSERT_TRUE(bus.registerService("org.freedesktop.ScreenSaver"));
    const auto connected = [&] {
        return bus.interface()->isServiceRegistered(desktop.caller).value();
    };
    session::DisplayLock lock;
    for (int i = 0; i < 2; ++i) {
        desktop.lastCall.clear();
        lock.hold(true);
        EXPECT_TRUE(eventually([&] { return !desktop.lastCall.isEmpty(); }));
        EXPECT_EQ(desktop.lastCall, "org.freedesktop.ScreenSaver.Inhibit ss");
        EXPECT_TRUE(connected());
        lock.hold(false);
        EXPECT_TRUE(eventually([&] { return !connected(); }));
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
