#include <gtest/gtest.h>

#include <QApplication>

// For the address sanitizer. Leaks are looked for while Qt's plugins are still loaded: once they
// are gone, what they hold looks lost and can't be told by name. The two libraries keep caches.
extern "C" {
__attribute__((weak)) void __lsan_do_leak_check();
const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\nleak:libdbus-1\n";
}
}

int main(int argc, char* argv[]) {
    testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    const int result = RUN_ALL_TESTS();
    if (__lsan_do_leak_check != nullptr) {
        __lsan_do_leak_check();
    }
    return result;
}
