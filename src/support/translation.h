#pragma once

#include <QMap>
#include <QString>

/// The process-wide table of interface texts. GUI thread only.
class StringToTranslate {
public:
    static StringToTranslate& instance();

    /// Replaces the whole table.
    void setTranslateStringMap(QMap<QString, QString>&& map);

    /// The text for `key`, or `key` itself when the table lacks it, so that the interface stays
    /// readable when a language file is missing.
    [[nodiscard]] QString find(const QString& key) const;

private:
    StringToTranslate() = default;
    QMap<QString, QString> m_table;
};

/// Reads a language file: each child element of the root is one entry, tag name to text. The
/// first of several equal tags wins. Unreadable or malformed files give an empty table.
[[nodiscard]] QMap<QString, QString> loadLanguageFile(const QString& path);
