// Arbitrary language files: keys are never empty, and every text is found by its key.
#include <QTemporaryFile>
#include <cstdint>
#include <cstdlib>

#include "support/translation.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    QTemporaryFile file;
    if (!file.open()) {
        return 0;
    }
    file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    file.flush();
    auto table = loadLanguageFile(file.fileName());
    for (const QString& key : table.keys()) {
        if (key.isEmpty()) {
            std::abort();
        }
    }
    const auto copy = table;
    StringToTranslate::instance().setTranslateStringMap(std::move(table));
    for (auto entry = copy.begin(); entry != copy.end(); ++entry) {
        if (StringToTranslate::instance().find(entry.key()) != entry.value()) {
            std::abort();
        }
    }
    return 0;
}
