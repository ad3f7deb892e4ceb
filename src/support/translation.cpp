#include "support/translation.h"

#include <QDomDocument>
#include <QFile>
#include <utility>

#include "support/log.h"

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
        HV_WARN("language file {} can't be opened: {}", path.toLocal8Bit().toStdString(),
                file.errorString().toStdString());
        return {};
    }
    QDomDocument document;
    QString error;
    int line = 0;
    int column = 0;
    if (!document.setContent(&file, &error, &line, &column)) {
        HV_WARN("language file {} is malformed at line {}, column {}: {}",
                path.toLocal8Bit().toStdString(), line, column, error.toStdString());
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
