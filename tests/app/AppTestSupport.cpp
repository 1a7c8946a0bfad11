#include "AppTestSupport.h"

#include "Preferences.h"

#include <kestrabel/MediaFile.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdlib>

namespace kestrabel::apptest {

namespace {
QString displayName;
} // namespace

int runTests(int argc, char **argv, Display display)
{
    ::testing::InitGoogleTest(&argc, argv);
    if (::testing::GTEST_FLAG(list_tests)) {
        QCoreApplication core(argc, argv);
        return RUN_ALL_TESTS();
    }
    // Settings, data and runtime folders of our own: nothing the user has may leak in or out.
    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", QDir(home.path()).filePath(QStringLiteral("config")).toUtf8());
    qputenv("XDG_DATA_HOME", QDir(home.path()).filePath(QStringLiteral("data")).toUtf8());
    qputenv("XDG_RUNTIME_DIR", home.path().toUtf8());
    qputenv("XDG_DATA_DIRS", QDir(home.path()).filePath(QStringLiteral("system-data")).toUtf8());
    const std::unique_ptr<ChildProcess> bus = test::startPrivateBus();

    std::unique_ptr<ChildProcess> xserver;
    if (display == Display::OwnX11) {
        xserver = startXvfb(&displayName);
        if (xserver)
            qputenv("DISPLAY", displayName.toUtf8());
        qputenv("QT_QPA_PLATFORM", xserver ? "xcb" : "offscreen");
    } else {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    std::unique_ptr<QCoreApplication> application;
    if (display == Display::None)
        application = std::make_unique<QCoreApplication>(argc, argv);
    else
        application = std::make_unique<QApplication>(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Kestrabel"));
    QCoreApplication::setApplicationName(QStringLiteral("Kestrabel"));
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope,
                       QDir(home.path()).filePath(QStringLiteral("config")));
    app::registerPreferenceDefaults();
    const int status = RUN_ALL_TESTS();
    application.reset();
    return status;
}

QString ownDisplay()
{
    return displayName;
}

std::unique_ptr<ChildProcess> startXvfb(QString *display)
{
    if (QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty())
        return nullptr;
    constexpr int kAttempts = 8;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const int number = 200 + QRandomGenerator::global()->bounded(2000);
        auto server = std::make_unique<ChildProcess>(
            QStringLiteral("Xvfb"),
            QStringList{QStringLiteral(":%1").arg(number), QStringLiteral("-displayfd"), QStringLiteral("1"),
                        QStringLiteral("-screen"), QStringLiteral("0"), QStringLiteral("1024x640x24"),
                        QStringLiteral("-nolisten"), QStringLiteral("tcp")});
        if (server->started() && !test::firstLine(server->process()).isEmpty()) {
            *display = QStringLiteral(":%1").arg(number);
            return server;
        }
    }
    return nullptr;
}

QString copyDemoTrack(const QString &name, const QString &folder, const QString &as)
{
    const QString target = QDir(folder).filePath(as.isEmpty() ? name : as);
    QFile::remove(target);
    if (!QFile::copy(QStringLiteral(KESTRABEL_DEMO_DIR "/") + name, target))
        return {};
    QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner);
    return target;
}

QString fileTag(const QString &path, int dataID, uint32_t flags)
{
    MediaFileRef ref = nullptr;
    if (MediaFileOpen(path.toUtf8().constData(), &ref, flags) != 0)
        return {};
    char *text = nullptr;
    QString value;
    if (MediaFileGetString(ref, dataID, &text) == 0 && text)
        value = QString::fromUtf8(text);
    std::free(text);
    MediaFileClose(ref);
    return value;
}

void resetSettings()
{
    QSettings(QStringLiteral("Kestrabel"), QStringLiteral("Kestrabel")).clear();
    app::registerPreferenceDefaults();
}

} // namespace kestrabel::apptest
