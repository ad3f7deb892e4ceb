#pragma once

#include <QString>

#include "support/translation.h"

/// The text for `key` in the current language.
inline QString translated(const char* key) {
    return StringToTranslate::instance().find(QString::fromLatin1(key));
}

/// As above; `fallback` where the language file lacks the key, for keys that older files do not
/// have.
inline QString translated(const char* key, const char* fallback) {
    const QString text = translated(key);
    return text == QLatin1String(key) ? QString::fromUtf8(fallback) : text;
}
