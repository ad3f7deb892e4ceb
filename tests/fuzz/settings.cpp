// A settings file in any state: what is read is text, and what is written to a file that could be
// read is there afterwards.
#include <cstdlib>

#include "folder.h"
#include "support/settings.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString path = fileWith("settings.ini", data, size);
    for (const char* key : {"screenIndex", "frameRate", "forceUseOldCapture"}) {
        (void)readIniValue(path, "SystemSet", key).toInt();
    }
    static unsigned number = 0;
    const QString value = QString::number(++number) + QString::fromLatin1(";= \"\\%\xE4");
    writeIniValue(path, "SystemSet", "name", value);
    const QString again = readIniValue(path, "SystemSet", "name");
    // A malformed file is left as it is.
    if (size == 0 && again != value) {
        std::abort();
    }
    return 0;
}
