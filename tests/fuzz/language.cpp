// Language files as anybody may edit them.
#include <cstdlib>

#include "folder.h"
#include "support/translation.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto table = loadLanguageFile(fileWith("language.xml", data, size));
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
