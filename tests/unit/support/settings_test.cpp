#include "support/settings.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QFileInfo>

#include "support/log.h"
#include "support/logging.h"
#include "unit/support/datahome.h"

namespace {

TEST(Folders, AreTheSameWhateverTheApplicationIsCalled) {
    const DataHome home;
    QCoreApplication::setApplicationName("tool");
    initIniPath();
    const QString log = logFilePath("TarsinNDI", "TarsinNDI", "Halvark");
    QCoreApplication::setApplicationName("");

    const QString folder = home.path("Halvark/TarsinNDI");
    EXPECT_EQ(QDir::fromNativeSeparators(QString::fromLocal8Bit(g_iniPath.c_str())),
              folder + "/TarsinNDI.ini");
    EXPECT_EQ(QDir::fromNativeSeparators(log), folder + "/log/TarsinNDI");
    EXPECT_TRUE(QFileInfo(folder + "/log").isDir());
}

TEST(Settings, KeysAreWrittenOneByOneAndReadBack) {
    const DataHome home;
    const QString path = home.path("settings.ini");
    EXPECT_EQ(readIniValue(path, "SystemSet", "name"), "");
    EXPECT_FALSE(QFileInfo::exists(path)) << "reading must not make a file";

    const QString name = QString::fromUtf8("Studio A, \"2\"; = \\n [ü] 画面");
    writeIniValue(path, "SystemSet", "name", name);
    writeIniValue(path, "SystemSet", "frameRate", "25");
    writeIniValue(path, "SystemSet", "frameRate", "60");

    EXPECT_EQ(readIniValue(path, "SystemSet", "name"), name);
    EXPECT_EQ(readIniValue(path, "SystemSet", "frameRate"), "60");
    const QByteArray file = DataHome::read(path);
    EXPECT_TRUE(file.startsWith("[SystemSet]\n")) << file.constData();
    EXPECT_TRUE(file.contains("\nframeRate=60\n")) << file.constData();
}

TEST(Settings, ListsAreReadWhole) {
    const DataHome home;
    const QString path = home.write("list.ini", "[SystemSet]\none=eth0\nmany=eth0, fd00::/8 ,x\n");
    EXPECT_EQ(readIniList(path, "SystemSet", "one"), "eth0");
    EXPECT_EQ(readIniList(path, "SystemSet", "many"), "eth0,fd00::/8,x");
    EXPECT_EQ(readIniList(path, "SystemSet", "none"), "");
}

TEST(Settings, BadFilesReadAsMissingAndAreNamedInTheLog) {
    const DataHome home;
    const QString corrupt = home.write("corrupt.ini", "[SystemSet\nname\n\xff\nframeRate");
    const QString folder = home.path("");  // Root may read any file, but nobody reads a folder.
    testing::internal::CaptureStdout();
    initLogger();
    EXPECT_EQ(readIniValue(corrupt, "SystemSet", "name"), "");
    EXPECT_EQ(readIniValue(folder, "SystemSet", "name"), "");
    const QString nowhere = home.write("a file", "") + "/x.ini";
    writeIniValue(nowhere, "SystemSet", "name", "lost");
    HV::SpdlogApplication::instance().shutdownLogger();
    qInstallMessageHandler(nullptr);
    const std::string log = testing::internal::GetCapturedStdout();
    EXPECT_THAT(log,
                testing::ContainsRegex("reading SystemSet/name from .*corrupt.ini: it is not"));
    EXPECT_THAT(log, testing::HasSubstr("reading SystemSet/name from settings file " +
                                        folder.toStdString() + ": access was refused"));
    EXPECT_THAT(log, testing::HasSubstr("writing SystemSet/name to settings file " +
                                        nowhere.toStdString() + ": access was refused"));
}

}  // namespace
