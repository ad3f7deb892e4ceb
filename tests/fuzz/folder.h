#pragma once
// The input as a file, for parsers that open files.

#include <unistd.h>

#include <QDir>
#include <QFile>
#include <cstddef>
#include <cstdint>

/// Writes `data` into a file `name` in a folder of this process's own; its path.
inline QString fileWith(const char* name, const std::uint8_t* data, std::size_t size) {
    static const QString folder = [] {
        const QString path = QDir::tempPath() + "/tarsin-fuzz-" + QString::number(::getpid());
        QDir().mkpath(path);
        std::atexit([] {
            QDir(QDir::tempPath() + "/tarsin-fuzz-" + QString::number(::getpid()))
                .removeRecursively();
        });
        return path + "/";
    }();
    QFile file(folder + name);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    return folder + name;
}
