#include "support/settings.h"

#include <QSettings>

#include "support/appdata.h"
#include "support/log.h"

std::string g_iniPath;

namespace {

const char* reason(QSettings::Status status) {
    return status == QSettings::FormatError ? "it is not a well-formed INI file"
                                            : "access was refused";
}

template <typename ToText>
QString readKey(const QString& path, const QString& group, const QString& key, ToText toText) {
    QSettings file(path, QSettings::IniFormat);
    file.beginGroup(group);
    QString value = toText(file.value(key, ""));
    file.endGroup();
    if (file.status() != QSettings::NoError) {
        HV_WARN("reading {}/{} from settings file {}: {}", group.toStdString(), key.toStdString(),
                path.toStdString(), reason(file.status()));
    }
    return value;
}

}  // namespace

void initIniPath() {
    const QString folder = support::appDataFolder("Halvark", {"TarsinNDI"});
    g_iniPath = (folder + "TarsinNDI.ini").toLocal8Bit().toStdString();
    if (!support::ensureFolder(folder)) {
        HV_WARN("creating the folder of settings file {} failed: changes will be lost", g_iniPath);
    }
}

QString readIniValue(const QString& path, const QString& group, const QString& key) {
    return readKey(path, group, key, [](const QVariant& value) { return value.toString(); });
}

QString readIniList(const QString& path, const QString& group, const QString& key) {
    return readKey(path, group, key,
                   [](const QVariant& value) { return value.toStringList().join(','); });
}

void writeIniValue(const QString& path, const QString& group, const QString& key,
                   const QString& value) {
    QSettings file(path, QSettings::IniFormat);
    file.beginGroup(group);
    file.setValue(key, value);
    file.endGroup();
    file.sync();
    if (file.status() != QSettings::NoError) {
        HV_WARN("writing {}/{} to settings file {}: {}", group.toStdString(), key.toStdString(),
                path.toStdString(), reason(file.status()));
    }
}
