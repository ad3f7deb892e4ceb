#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>

/// A per-user data folder of the test's own, as long as it lives.
class DataHome {
public:
    DataHome();
    ~DataHome();
    DataHome(const DataHome&) = delete;
    DataHome& operator=(const DataHome&) = delete;

    [[nodiscard]] QString path(const QString& below) const { return m_folder + "/" + below; }

    QString write(const QString& name, const QByteArray& content) const {
        QFile file(path(name));
        file.open(QIODevice::WriteOnly);
        file.write(content);
        return file.fileName();
    }
    /// With plain line ends.
    static QByteArray read(const QString& path) {
        QFile file(path);
        file.open(QIODevice::ReadOnly | QIODevice::Text);
        return file.readAll();
    }

private:
    QString m_folder;
    QByteArray m_before;
};
