// The update check against an HTTP server of the test's own on loopback: the property-list answer,
// failures, the 30-day rule at launch and the alert's buttons.
#include "AppTestSupport.h"

#include "AppDelegate.h"
#include "Preferences.h"
#include "ProductUpdateCheck.h"

#include "PlayerConnection.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDesktopServices>
#include <QFile>
#include <QMessageBox>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::app;

namespace {

const QUrl kDownload(QStringLiteral("https://downloads.example.invalid/kestrabel.tar.gz"));
const QUrl kInformation(QStringLiteral("https://www.example.invalid/kestrabel/news"));

QByteArray answer(const QString &version)
{
    return QStringLiteral("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>Version</key><string>%1</string>"
                          "<key>Detail</key><string>Faster saves.</string><key>DownloadLocation</key><string>%2</string>"
                          "<key>InformationLocation</key><string>%3</string></dict></plist>")
        .arg(version, kDownload.toString(), kInformation.toString())
        .toUtf8();
}

// Answers every GET with the status and body it is given, and counts the requests.
class HttpServer {
public:
    HttpServer()
    {
        server_.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&server_, &QTcpServer::newConnection, [this] {
            while (QTcpSocket *socket = server_.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { serve(socket); });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }
    QString location() const { return QStringLiteral("http://127.0.0.1:%1/version.plist").arg(server_.serverPort()); }

    int status = 200;
    QByteArray body;
    int requests = 0;
    QTcpServer server_;

private:
    void serve(QTcpSocket *socket)
    {
        QByteArray &request = pending_[socket];
        request += socket->readAll();
        if (!request.contains("\r\n\r\n"))
            return;
        requests += request.startsWith("GET /version.plist ");
        socket->write("HTTP/1.1 " + QByteArray::number(status) + (status == 200 ? " OK" : " Not Found")
                      + "\r\nConnection: close\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n"
                      + body);
        socket->disconnectFromHost();
        pending_.remove(socket);
    }
    QHash<QTcpSocket *, QByteArray> pending_;
};

struct Result : ProductUpdateCheckDelegate {
    void productUpdateCheckComplete(ProductUpdateCheck *, int error,
                                    const std::optional<ProductUpdateResponse> &response) override
    {
        ++calls;
        this->error = error;
        this->response = response;
    }
    int calls = 0;
    int error = 12345;
    std::optional<ProductUpdateResponse> response;
};

TEST(UpdateCheck, AnswersOfTheServer)
{
    enum Where { Served, Closed, Nowhere, Blank, FileUrl };
    const struct {
        const char *situation;
        Where where;
        int status;
        QByteArray body;
        int error;
        int newer; // -1: no response
    } rows[] = {
        {"newer version", Served, 200, answer(QStringLiteral("99.1")), 0, 1},
        {"the running version", Served, 200, answer(ProductUpdateCheck::runningVersion()), 0, 0},
        {"older version", Served, 200, answer(QStringLiteral("0.0.1")), 0, 0},
        {"no property list", Served, 200, "this is no property list", kUpdateCheckErrBadAnswer, -1},
        {"a list, not a dictionary", Served, 200,
         "<?xml version=\"1.0\"?><plist version=\"1.0\"><array><string>1.0</string></array></plist>",
         kUpdateCheckErrBadAnswer, -1},
        {"no version number", Served, 200, answer(QStringLiteral("not a version")), kUpdateCheckErrBadAnswer, -1},
        {"not found", Served, 404, "gone", 404, -1},
        {"server gone", Closed, 200, {}, -2, -1},
        {"no location", Nowhere, 200, {}, kUpdateCheckErrNoLocation, -1},
        {"blank location", Blank, 200, {}, kUpdateCheckErrNoLocation, -1},
        {"not a web location", FileUrl, 200, {}, kUpdateCheckErrNoLocation, -1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.situation);
        HttpServer server;
        server.status = row.status;
        server.body = row.body;
        const QString location = row.where == Served || row.where == Closed ? server.location()
                                 : row.where == Blank                       ? QStringLiteral("   ")
                                 : row.where == FileUrl                     ? QStringLiteral("file:///etc/passwd")
                                                                            : QString();
        if (row.where == Closed)
            server.server_.close();
        Result result;
        ProductUpdateCheck check(location, &result);
        check.start();
        apptest::waitUntil([&] { return result.calls > 0; }, 10000);
        ASSERT_EQ(result.calls, 1);
        if (row.error == -2)
            EXPECT_NE(result.error, 0);
        else
            EXPECT_EQ(result.error, row.error);
        EXPECT_EQ(server.requests, row.where == Served ? 1 : 0);
        ASSERT_EQ(result.response.has_value(), row.newer >= 0);
        if (row.newer < 0)
            continue;
        EXPECT_EQ(result.response->isNewerVersionAvailable(), row.newer == 1);
        EXPECT_EQ(result.response->detailString(), QStringLiteral("Faster saves."));
        EXPECT_EQ(result.response->downloadLocation(), kDownload);
        EXPECT_EQ(result.response->informationLocation(), kInformation);
    }
    for (const auto &[offered, running, newer] : {std::tuple{"0.1.1", "0.1.0", true}, {"0.1.0", "0.1.0", false},
                                                  {"0.10", "0.9.9", true}, {"1.0", "1.0.1", false}})
        EXPECT_EQ(ProductUpdateResponse::fromPropertyList(answer(QLatin1String(offered)), QLatin1String(running))
                      ->isNewerVersionAvailable(),
                  newer)
            << offered << " against " << running;
    const auto bare = ProductUpdateResponse::fromPropertyList(
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>Version</key><string>5.0</string>"
        "<key>DownloadLocation</key><integer>3</integer></dict></plist>",
        QStringLiteral("0.1.0"));
    ASSERT_TRUE(bare);
    EXPECT_TRUE(bare->detailString().isNull());
    EXPECT_FALSE(bare->downloadLocation().isValid());
    EXPECT_FALSE(bare->informationLocation().isValid());
}

class UrlCatcher : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public slots:
    void open(const QUrl &url) { opened << url; }
};

// Row: the last check, the user's switch and the server's version → whether it asks and alerts.
TEST(UpdateCheckAtLaunch, FollowsTheThirtyDayRuleAndTheAlertOffersTheDownload)
{
    const struct {
        const char *situation;
        std::optional<int> lastCheckHoursAgo;
        bool turnedOff;
        const char *version;
        bool asks;
        bool alerts;
    } rows[] = {
        {"first launch", std::nullopt, false, "42.0.1", true, true},
        {"29 days 23 hours after", 29 * 24 + 23, false, "42.0.1", false, false},
        {"30 days after", 30 * 24 + 1, false, "42.0.1", true, true},
        {"a check dated in the future", -40 * 24, false, "42.0.1", false, false},
        {"the user turned it off", std::nullopt, true, "42.0.1", false, false},
        {"no newer version", std::nullopt, false, "0.0.9", true, false},
    };
    UrlCatcher catcher;
    QDesktopServices::setUrlHandler(QStringLiteral("https"), &catcher, "open");
    const auto player = player::createPlayerConnection();
    for (const auto &row : rows) {
        SCOPED_TRACE(row.situation);
        apptest::resetSettings();
        HttpServer server;
        server.body = answer(QLatin1String(row.version));
        UserDefaults::setObject(server.location(), kVersionCheckLocationKey);
        UserDefaults::setBool(row.turnedOff, kDontCheckForUpdatesKey);
        const QDateTime now = QDateTime::currentDateTimeUtc();
        if (row.lastCheckHoursAgo)
            UserDefaults::setObject(now.addSecs(-3600 * *row.lastCheckHoursAgo), kLastUpdateCheckTimeKey);
        const QVariant lastBefore = UserDefaults::objectForKey(kLastUpdateCheckTimeKey);
        AppDelegate delegate(*player);
        delegate.applicationDidFinishLaunching();
        apptest::waitUntil([&] { return !delegate.productUpdateCheck() && (!row.alerts || delegate.updateAlert()); });
        apptest::spinEvents(100);
        EXPECT_EQ(server.requests, row.asks ? 1 : 0);
        EXPECT_EQ(delegate.updateAlert() != nullptr, row.alerts);
        if (row.asks)
            EXPECT_GE(UserDefaults::dateForKey(kLastUpdateCheckTimeKey), now.addSecs(-1));
        else
            EXPECT_EQ(UserDefaults::objectForKey(kLastUpdateCheckTimeKey), lastBefore);
        if (!row.alerts)
            continue;
        QMessageBox *alert = delegate.updateAlert();
        EXPECT_EQ(alert->text(), QStringLiteral("Kestrabel 42.0.1 is available"));
        EXPECT_EQ(alert->informativeText(), QStringLiteral("Faster saves."));
        QStringList titles;
        for (QAbstractButton *button : alert->buttons())
            titles << button->text();
        titles.sort();
        EXPECT_EQ(titles, (QStringList{"Cancel", "Download", "More Information"}));
        ASSERT_NE(alert->defaultButton(), nullptr);
        EXPECT_EQ(alert->defaultButton()->text(), QStringLiteral("Download"));
        catcher.opened.clear();
        alert->defaultButton()->click();
        EXPECT_EQ(catcher.opened, QList<QUrl>{kDownload});
    }

    // The alert over a window is that window's sheet; More Information opens the news page.
    const auto response = ProductUpdateResponse::fromPropertyList(answer(QStringLiteral("7.0")), QStringLiteral("0.1"));
    QWidget window;
    window.show();
    std::optional<QMessageBox::ButtonRole> role;
    QMessageBox *alert = showUpdateAlert(*response, &window, [&](QMessageBox::ButtonRole chosen) { role = chosen; });
    EXPECT_EQ(alert->windowModality(), Qt::WindowModal);
    EXPECT_EQ(alert->parentWidget(), &window);
    catcher.opened.clear();
    for (QAbstractButton *button : alert->buttons())
        if (button->text() == QLatin1String("More Information"))
            button->click();
    EXPECT_EQ(role, QMessageBox::ActionRole);
    EXPECT_EQ(catcher.opened, QList<QUrl>{kInformation});
    QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
}

TEST(ApplicationMenu, OpensPreferencesTheAboutBoxOnceAndTheGuide)
{
    apptest::resetSettings();
    UserDefaults::setBool(true, kDontCheckForUpdatesKey);
    const auto player = player::createPlayerConnection();
    AppDelegate delegate(*player);
    delegate.applicationDidFinishLaunching();
    EXPECT_FALSE(delegate.applicationShouldOpenUntitledFile());
    auto visibleWindows = [](const QString &name) {
        int count = 0;
        for (QWidget *widget : QApplication::topLevelWidgets())
            count += widget->objectName() == name && widget->isVisible();
        return count;
    };
    for (int tag : {2, 2, 3, 3, 7})
        delegate.createWindow(tag);
    EXPECT_EQ(visibleWindows(QStringLiteral("PreferencesWindowController")), 2);
    EXPECT_EQ(visibleWindows(QStringLiteral("AboutBox")), 1);

    UrlCatcher files;
    QDesktopServices::setUrlHandler(QStringLiteral("file"), &files, "open");
    EXPECT_TRUE(delegate.showHelpFile());
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
    ASSERT_EQ(files.opened.size(), 1);
    EXPECT_TRUE(files.opened.first().toLocalFile().endsWith(QStringLiteral("/UserGuide.html")));
    EXPECT_TRUE(QFile::exists(files.opened.first().toLocalFile()));
    for (QWidget *widget : QApplication::topLevelWidgets())
        if (widget->objectName() == QLatin1String("PreferencesWindowController"))
            widget->close();
}

} // namespace

#include "UpdateCheckTest.moc"
