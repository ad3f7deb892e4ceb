#include "support/settings.h"

#include <QFile>
#include <QRegularExpression>
#include <QSettings>

#include "support/appdata.h"
#include "support/log.h"

std::string g_iniPath;

namespace {

const char* reason(QSettings::Status status) {
    return status == QSettings::FormatError ? "it is not a well-formed INI file"
                                            : "access was refused";
}

/// The beginning of an object of one of Qt's types, with or without escapes.
QRegularExpression objectPattern() {
    QString pattern;
    for (const QChar character : QStringLiteral("@Variant(")) {
        const int code = character.unicode();
        pattern += QStringLiteral("(?:%1|\\\\x0*%2|\\\\0*%3)(?:\"|\\\\\\s)*")
                       .arg(QRegularExpression::escape(character), QString::number(code, 16),
                            QString::number(code, 8));
    }
    return QRegularExpression(pattern);
}

/// Qt builds such an object from whatever the file says, with as much memory and depth as it says.
/// This program writes none.
bool holdsObjects(const QString& path) {
    static const QRegularExpression kObject = objectPattern();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    const QByteArray bytes = file.readAll();  // zero bytes too
    return kObject.match(QString::fromLatin1(bytes.constData(), bytes.size())).hasMatch();
}

/// Does `what` with the file; the reason why that failed, or null.
template <typename Action>
const char* withFile(const QString& path, const QString& group, Action what) {
    if (holdsObjects(path)) {
        return "it holds an object, which only another program can have written";
    }
    QSettings file(path, QSettings::IniFormat);
    file.beginGroup(group);
    what(file);
    file.sync();
    return file.status() == QSettings::NoError ? nullptr : reason(file.status());
}

}  // namespace

void initIniPath() {
    const QString folder = support::appDataFolder("Halvark", {"TarsinNDI"});
    g_iniPath = (folder + "TarsinNDI.ini").toLocal8Bit().toStdString();
    if (!support::ensureFolder(folder)) {
        HV_WARN("settings folder of {} can't be created, changes will be lost", g_iniPath);
    }
}

QString readIniValue(const QString& path, const QString& group, const QString& key) {
    QString value;
    const char* const fault =
        withFile(path, group, [&](QSettings& file) { value = file.value(key, "").toString(); });
    if (fault != nullptr) {
        HV_WARN("reading {}/{} from settings file {}: {}", group.toStdString(), key.toStdString(),
                path.toLocal8Bit().toStdString(), fault);
    }
    return value;
}

void writeIniValue(const QString& path, const QString& group, const QString& key,
                   const QString& value) {
    const char* const fault =
        withFile(path, group, [&](QSettings& file) { file.setValue(key, value); });
    if (fault != nullptr) {
        HV_WARN("writing {}/{} to settings file {}: {}", group.toStdString(), key.toStdString(),
                path.toLocal8Bit().toStdString(), fault);
    }
}
