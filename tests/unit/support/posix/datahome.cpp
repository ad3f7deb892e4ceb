#include "unit/support/datahome.h"

#include <QTemporaryDir>

DataHome::DataHome() : m_before(qgetenv("XDG_DATA_HOME")) {
    QTemporaryDir made(QDir::tempPath() + "/größe 画面 XXXXXX");
    made.setAutoRemove(false);
    m_folder = made.path();
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder));
}

DataHome::~DataHome() {
    qputenv("XDG_DATA_HOME", m_before);
    QDir(m_folder).removeRecursively();
}
