#include "support/translation.h"

#include <QCoreApplication>
#include <QDomDocument>
#include <QFile>
#include <utility>

#include "support/log.h"
#include "support/settings.h"

namespace {

std::size_t g_startLanguage = 0;

/// The index of the language named `code`; unknown: of the first one.
std::size_t languageIndex(const QString& code) {
    for (std::size_t i = 0; i < kLanguages.size(); ++i) {
        if (code.compare(kLanguages.at(i).code, Qt::CaseInsensitive) == 0) {
            return i;
        }
    }
    if (!code.isEmpty()) {
        HV_WARN("setting language is \"{}\", expected is CN, EN, TW, KR or RUS; using CN",
                code.toStdString());
    }
    return 0;
}

}  // namespace

void loadStartLanguage(const QString& settingsFile) {
    g_startLanguage = languageIndex(readIniValue(settingsFile, "SystemSet", "language"));
    StringToTranslate::instance().setTranslateStringMap(loadLanguageFile(
        QCoreApplication::applicationDirPath() + kLanguages.at(g_startLanguage).file));
}

std::size_t startLanguage() {
    return g_startLanguage;
}

StringToTranslate& StringToTranslate::instance() {
    static StringToTranslate table;
    return table;
}

void StringToTranslate::setTranslateStringMap(QMap<QString, QString>&& map) {
    m_table = std::move(map);
}

QString StringToTranslate::find(const QString& key) const {
    return m_table.value(key, key);
}

QMap<QString, QString> loadLanguageFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        HV_WARN("language file {} can't be opened: {}", path.toStdString(),
                file.errorString().toStdString());
        return {};
    }
    QDomDocument document;
    QString error;
    int line = 0;
    int column = 0;
    if (!document.setContent(&file, &error, &line, &column)) {
        HV_WARN("language file {} is malformed at line {}, column {}: {}", path.toStdString(), line,
                column, error.toStdString());
        return {};
    }

    QMap<QString, QString> table;
    for (QDomElement entry = document.documentElement().firstChildElement(); !entry.isNull();
         entry = entry.nextSiblingElement()) {
        if (!table.contains(entry.tagName())) {
            table.insert(entry.tagName(), entry.text());
        }
    }
    return table;
}
