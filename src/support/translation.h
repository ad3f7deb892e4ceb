#pragma once

#include <QMap>
#include <QString>
#include <array>

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

struct Language {
    const char* code;        ///< In the settings file.
    const char* file;        ///< Beside the executable.
    const char* captionKey;  ///< Of its name.
};

constexpr std::array<Language, 5> kLanguages = {{
    {"CN", "/LanguageCN_Tools.xml", "zhChineseStr"},
    {"EN", "/LanguageEN_Tools.xml", "zhEnglishStr"},
    {"TW", "/Language_zh_TW_Tools.xml", "zhChineseTWStr"},
    {"KR", "/Language_KR_Tools.xml", "zhKoreanStr"},
    {"RUS", "/Language_RUS_Tools.xml", "zhRussianStr"},
}};

/// Fills the table with the language that the key `language` of the settings file names: the first
/// one when the key is absent, or names none, which is logged. Requires the application object.
void loadStartLanguage(const QString& settingsFile);

/// The index of that language in kLanguages; 0 before loadStartLanguage().
[[nodiscard]] std::size_t startLanguage();

/// Reads a language file: each child element of the root is one entry, tag name to text. The
/// first of several equal tags wins. Unreadable or malformed files give an empty table.
[[nodiscard]] QMap<QString, QString> loadLanguageFile(const QString& path);
