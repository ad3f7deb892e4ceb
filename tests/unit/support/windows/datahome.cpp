#include "unit/support/datahome.h"

#include <QStandardPaths>

// No variable of the environment moves the folder here, but Qt has another one for tests.
DataHome::DataHome() {
    QStandardPaths::setTestModeEnabled(true);
    m_folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    QDir(m_folder).removeRecursively();
    QDir().mkpath(m_folder);
}

DataHome::~DataHome() {
    QDir(m_folder).removeRecursively();
    QStandardPaths::setTestModeEnabled(false);
}
