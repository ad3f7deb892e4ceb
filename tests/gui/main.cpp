#include <gtest/gtest.h>

#include <QApplication>

extern "C" __attribute__((weak)) void __lsan_do_leak_check();

int main(int argc, char* argv[]) {
    testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    const int result = RUN_ALL_TESTS();
    // Under the address sanitizer leaks are looked for here: at the end of the process Qt's plugins
    // are unloaded, and what they keep would look lost.
    if (__lsan_do_leak_check != nullptr) {
        __lsan_do_leak_check();
    }
    return result;
}
