#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

/// A per-user data folder of the test's own, as long as it lives.
class DataHome {
public:
    DataHome() : m_before(qgetenv("XDG_DATA_HOME")) { moveTo(m_folder.path()); }
    ~DataHome() { qputenv("XDG_DATA_HOME", m_before); }
    DataHome(const DataHome&) = delete;
    DataHome& operator=(const DataHome&) = delete;

    static void moveTo(const QString& folder) {
        qputenv("XDG_DATA_HOME", QFile::encodeName(folder));
    }
    [[nodiscard]] QString path(const QString& below) const { return m_folder.filePath(below); }

    QString write(const QString& name, const QByteArray& content) const {
        QFile file(path(name));
        file.open(QIODevice::WriteOnly);
        file.write(content);
        return file.fileName();
    }
    static QByteArray read(const QString& path) {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    }

private:
    QByteArray m_before;
    QTemporaryDir m_folder;
};
