#include "support/appdata.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>

namespace support {
namespace {

/// The platform's per-user folder without the parts that Qt adds for the application object.
QString sharedBase() {
    const QString location = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    // Cleaning leaves "/" as the separator on every platform.
    QStringList parts = QDir::cleanPath(QDir::toNativeSeparators(location)).split('/');
    if (!QCoreApplication::applicationName().isEmpty()) {
        parts.removeLast();
    }
    if (!QCoreApplication::organizationName().isEmpty() && !parts.isEmpty()) {
        parts.removeLast();
    }
    return QDir::cleanPath(parts.join(QDir::separator()));
}

}  // namespace

QString appDataFolder(const QString& maker, const QStringList& below) {
    QString folder = QDir::toNativeSeparators(sharedBase());
    if (!folder.endsWith(QDir::separator())) {
        folder += QDir::separator();
    }
    for (const QString& part : QStringList{maker} + below) {
        folder += part + QDir::separator();
    }
    return folder;
}

bool ensureFolder(const QString& folder) {
    return QDir().mkpath(folder);
}

}  // namespace support
