#pragma once

#include <QString>

#include "support/translation.h"

/// The text for `key` in the current language.
inline QString translated(const char* key) {
    return StringToTranslate::instance().find(QString::fromLatin1(key));
}
