#include <gtest/gtest.h>

#include <QApplication>

#include "ui/application.h"

// For the address sanitizer. It looks for leaks while Qt's plugins are still loaded: once they are
// unloaded, their memory counts as leaked and cannot be attributed. The two libraries keep caches.
extern "C" {
__attribute__((weak)) void __lsan_do_leak_check();
const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\nleak:libdbus-1\n";
}
}

int main(int argc, char* argv[]) {
    testing::InitGoogleTest(&argc, argv);
    ui::prepareApplication();
    const QApplication application(argc, argv);
    const int result = RUN_ALL_TESTS();
    if (__lsan_do_leak_check != nullptr) {
        __lsan_do_leak_check();
    }
    return result;
}
