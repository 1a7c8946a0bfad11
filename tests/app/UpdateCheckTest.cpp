// The update check against an HTTP server of the test's own on loopback: the property-list answer,
// failures, the 30-day rule at launch and the alert's buttons.
#include "AppTestSupport.h"

#include "AppDelegate.h"
#include "Preferences.h"
#include "ProductUpdateCheck.h"

#include "PlayerConnection.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPushButton>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::app;

namespace {

QByteArray answer(const QString &version, const QString &detail = QStringLiteral("Faster saves."))
{
    return QStringLiteral(R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
  <key>Version</key><string>%1</string>
  <key>Detail</key><string>%2</string>
  <key>DownloadLocation</key><string>https://downloads.example.invalid/kestrabel.tar.gz</string>
  <key>InformationLocation</key><string>https://www.example.invalid/kestrabel/news</string>
</dict>
</plist>
)")
        .arg(version, detail)
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
    void respond(int status, const QByteArray &body)
    {
        status_ = status;
        body_ = body;
    }
    QString location(const QString &path = QStringLiteral("/version.plist")) const
    {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(server_.serverPort()).arg(path);
    }
    int requests() const { return requests_; }
    QString lastPath() const { return lastPath_; }
    void close() { server_.close(); }

private:
    void serve(QTcpSocket *socket)
    {
        QByteArray &request = pending_[socket];
        request += socket->readAll();
        if (!request.contains("\r\n\r\n"))
            return;
        ++requests_;
        lastPath_ = QString::fromLatin1(request.split(' ').value(1));
        const QByteArray reason = status_ == 200 ? "OK" : "Not Found";
        socket->write("HTTP/1.1 " + QByteArray::number(status_) + ' ' + reason +
                      "\r\nContent-Type: application/xml\r\nConnection: close\r\nContent-Length: " +
                      QByteArray::number(body_.size()) + "\r\n\r\n" + body_);
        socket->disconnectFromHost();
        pending_.remove(socket);
    }

    QTcpServer server_;
    QHash<QTcpSocket *, QByteArray> pending_;
    int status_ = 200;
    QByteArray body_;
    int requests_ = 0;
    QString lastPath_;
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

Result runCheck(const QString &location)
{
    Result result;
    ProductUpdateCheck check(location, &result);
    check.start();
    apptest::waitUntil([&] { return result.calls > 0; }, 10000);
    return result;
}

TEST(UpdateCheck, NewerVersionComesBackWithItsDetailAndLocations)
{
    HttpServer server;
    server.respond(200, answer(QStringLiteral("99.1")));
    const Result result = runCheck(server.location());
    ASSERT_EQ(result.calls, 1);
    EXPECT_EQ(result.error, 0);
    ASSERT_TRUE(result.response);
    EXPECT_TRUE(result.response->isNewerVersionAvailable());
    EXPECT_EQ(result.response->versionString(), QStringLiteral("99.1"));
    EXPECT_EQ(result.response->detailString(), QStringLiteral("Faster saves."));
    EXPECT_EQ(result.response->downloadLocation(), QUrl(QStringLiteral("https://downloads.example.invalid/kestrabel.tar.gz")));
    EXPECT_EQ(result.response->informationLocation(), QUrl(QStringLiteral("https://www.example.invalid/kestrabel/news")));
    EXPECT_EQ(server.lastPath(), QStringLiteral("/version.plist"));
}

TEST(UpdateCheck, SameOrOlderVersionIsNotNewer)
{
    HttpServer server;
    for (const QString &version : {ProductUpdateCheck::runningVersion(), QStringLiteral("0.0.1")}) {
        server.respond(200, answer(version));
        const Result result = runCheck(server.location());
        ASSERT_TRUE(result.response) << version.toStdString();
        EXPECT_FALSE(result.response->isNewerVersionAvailable()) << version.toStdString();
    }
    EXPECT_TRUE(ProductUpdateResponse::fromPropertyList(answer(QStringLiteral("0.1.1")), QStringLiteral("0.1.0"))
                    ->isNewerVersionAvailable());
    EXPECT_FALSE(ProductUpdateResponse::fromPropertyList(answer(QStringLiteral("0.1.0")), QStringLiteral("0.1.0"))
                     ->isNewerVersionAvailable());
    EXPECT_TRUE(ProductUpdateResponse::fromPropertyList(answer(QStringLiteral("0.10")), QStringLiteral("0.9.9"))
                    ->isNewerVersionAvailable());
}

TEST(UpdateCheck, AnswersThatAreNotOursAreErrors)
{
    HttpServer server;
    server.respond(200, "this is no property list");
    EXPECT_EQ(runCheck(server.location()).error, kUpdateCheckErrBadAnswer);
    server.respond(200, "<?xml version=\"1.0\"?><plist version=\"1.0\"><array><string>1.0</string></array></plist>");
    EXPECT_EQ(runCheck(server.location()).error, kUpdateCheckErrBadAnswer);
    server.respond(200, answer(QStringLiteral("not a version")));
    EXPECT_EQ(runCheck(server.location()).error, kUpdateCheckErrBadAnswer);
    server.respond(404, "gone");
    const Result missing = runCheck(server.location());
    EXPECT_EQ(missing.error, 404);
    EXPECT_FALSE(missing.response);
}

TEST(UpdateCheck, MissingFieldsStayMissing)
{
    const QByteArray bare = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>Version</key>"
                            "<string>5.0</string><key>DownloadLocation</key><integer>3</integer></dict></plist>";
    const auto response = ProductUpdateResponse::fromPropertyList(bare, QStringLiteral("0.1.0"));
    ASSERT_TRUE(response);
    EXPECT_TRUE(response->detailString().isNull());
    EXPECT_FALSE(response->downloadLocation().isValid());
    EXPECT_FALSE(response->informationLocation().isValid());
}

TEST(UpdateCheck, NoLocationMeansNoRequest)
{
    HttpServer server;
    server.respond(200, answer(QStringLiteral("99.0")));
    for (const QString &location : {QString(), QStringLiteral("   "), QStringLiteral("file:///etc/passwd")}) {
        Result result;
        ProductUpdateCheck check(location, &result);
        check.start();
        EXPECT_EQ(result.calls, 1);
        EXPECT_EQ(result.error, kUpdateCheckErrNoLocation);
        EXPECT_FALSE(check.isRunning());
    }
    EXPECT_EQ(server.requests(), 0);
}

TEST(UpdateCheck, ServerThatIsGoneIsAnError)
{
    HttpServer server;
    const QString location = server.location();
    server.close();
    const Result result = runCheck(location);
    ASSERT_EQ(result.calls, 1);
    EXPECT_NE(result.error, 0);
    EXPECT_FALSE(result.response);
}

TEST(UpdateCheckRule, ThirtyWholeDaysOrNoEarlierCheck)
{
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1750000000, Qt::UTC);
    EXPECT_TRUE(updateCheckIsDue(now, now));
    EXPECT_FALSE(updateCheckIsDue(now, now.addDays(-29).addSecs(-23 * 3600)));
    EXPECT_FALSE(updateCheckIsDue(now, now.addSecs(-(30 * 86400 - 1))));
    EXPECT_TRUE(updateCheckIsDue(now, now.addDays(-30)));
    EXPECT_TRUE(updateCheckIsDue(now, now.addDays(-400)));
    EXPECT_FALSE(updateCheckIsDue(now, now.addSecs(1)));
    EXPECT_FALSE(updateCheckIsDue(now, now.addDays(40)));
}

class UrlCatcher : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public slots:
    void open(const QUrl &url) { opened << url; }
};

class Launch : public ::testing::Test {
protected:
    void SetUp() override
    {
        apptest::resetSettings();
        server.respond(200, answer(QStringLiteral("42.0.1")));
        UserDefaults::setObject(server.location(), kVersionCheckLocationKey);
        QDesktopServices::setUrlHandler(QStringLiteral("https"), &catcher, "open");
        player = player::createPlayerConnection();
    }
    void TearDown() override { QDesktopServices::unsetUrlHandler(QStringLiteral("https")); }

    bool launchAndWaitForAlert(AppDelegate &delegate)
    {
        delegate.applicationDidFinishLaunching();
        return apptest::waitUntil([&] { return delegate.updateAlert() != nullptr; }, 10000);
    }

    HttpServer server;
    UrlCatcher catcher;
    std::unique_ptr<player::PlayerConnection> player;
};

TEST_F(Launch, FirstLaunchChecksAndTheAlertOffersTheDownload)
{
    AppDelegate delegate(*player);
    const QDateTime before = QDateTime::currentDateTimeUtc();
    ASSERT_TRUE(launchAndWaitForAlert(delegate));
    EXPECT_EQ(server.requests(), 1);
    EXPECT_GE(UserDefaults::dateForKey(kLastUpdateCheckTimeKey), before.addSecs(-1));

    QMessageBox *alert = delegate.updateAlert();
    EXPECT_EQ(alert->text(), QStringLiteral("Kestrabel 42.0.1 is available"));
    EXPECT_EQ(alert->informativeText(), QStringLiteral("Faster saves."));
    QStringList titles;
    for (QAbstractButton *button : alert->buttons())
        titles << button->text();
    titles.sort();
    EXPECT_EQ(titles, (QStringList{QStringLiteral("Cancel"), QStringLiteral("Download"), QStringLiteral("More Information")}));
    ASSERT_NE(alert->defaultButton(), nullptr);
    EXPECT_EQ(alert->defaultButton()->text(), QStringLiteral("Download"));
    alert->defaultButton()->click();
    ASSERT_EQ(catcher.opened.size(), 1);
    EXPECT_EQ(catcher.opened.first(), QUrl(QStringLiteral("https://downloads.example.invalid/kestrabel.tar.gz")));
}

TEST_F(Launch, TwentyNineDaysAfterTheLastCheckNothingIsAsked)
{
    const QDateTime last = QDateTime::currentDateTimeUtc().addDays(-29).addSecs(-23 * 3600);
    UserDefaults::setObject(last, kLastUpdateCheckTimeKey);
    AppDelegate delegate(*player);
    delegate.applicationDidFinishLaunching();
    EXPECT_EQ(delegate.productUpdateCheck(), nullptr);
    apptest::spinEvents(300);
    EXPECT_EQ(server.requests(), 0);
    EXPECT_EQ(UserDefaults::dateForKey(kLastUpdateCheckTimeKey), last);
}

TEST_F(Launch, ThirtyDaysAfterTheLastCheckItChecksAndRewritesTheTime)
{
    const QDateTime last = QDateTime::currentDateTimeUtc().addDays(-30).addSecs(-60);
    UserDefaults::setObject(last, kLastUpdateCheckTimeKey);
    AppDelegate delegate(*player);
    ASSERT_TRUE(launchAndWaitForAlert(delegate));
    EXPECT_EQ(server.requests(), 1);
    EXPECT_GT(UserDefaults::dateForKey(kLastUpdateCheckTimeKey), last.addDays(29));
}

TEST_F(Launch, TheUserCanTurnTheCheckOff)
{
    UserDefaults::setBool(true, kDontCheckForUpdatesKey);
    AppDelegate delegate(*player);
    delegate.applicationDidFinishLaunching();
    EXPECT_EQ(delegate.productUpdateCheck(), nullptr);
    apptest::spinEvents(300);
    EXPECT_EQ(server.requests(), 0);
    EXPECT_FALSE(UserDefaults::objectForKey(kLastUpdateCheckTimeKey).isValid());
}

TEST_F(Launch, NoNewerVersionShowsNothing)
{
    server.respond(200, answer(QStringLiteral("0.0.9")));
    AppDelegate delegate(*player);
    delegate.applicationDidFinishLaunching();
    ASSERT_TRUE(apptest::waitUntil([&] { return server.requests() == 1 && !delegate.productUpdateCheck(); }, 10000));
    EXPECT_EQ(delegate.updateAlert(), nullptr);
}

TEST_F(Launch, MenuOpensPreferencesTheAboutBoxAndTheGuide)
{
    UserDefaults::setBool(true, kDontCheckForUpdatesKey);
    AppDelegate delegate(*player);
    delegate.applicationDidFinishLaunching();
    EXPECT_FALSE(delegate.applicationShouldOpenUntitledFile());
    auto visibleWindows = [](const QString &name) {
        int count = 0;
        for (QWidget *widget : QApplication::topLevelWidgets())
            count += widget->objectName() == name && widget->isVisible();
        return count;
    };
    delegate.createWindow(2);
    delegate.createWindow(2);
    EXPECT_EQ(visibleWindows(QStringLiteral("PreferencesWindowController")), 2);
    delegate.createWindow(3);
    delegate.createWindow(3);
    EXPECT_EQ(visibleWindows(QStringLiteral("AboutBox")), 1);
    const int before = static_cast<int>(QApplication::topLevelWidgets().size());
    delegate.createWindow(7);
    EXPECT_EQ(QApplication::topLevelWidgets().size(), before);

    UrlCatcher files;
    QDesktopServices::setUrlHandler(QStringLiteral("file"), &files, "open");
    EXPECT_TRUE(delegate.showHelpFile());
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
    ASSERT_EQ(files.opened.size(), 1);
    EXPECT_TRUE(files.opened.first().toLocalFile().endsWith(QStringLiteral("/UserGuide.html")));
    EXPECT_TRUE(QFile::exists(files.opened.first().toLocalFile()));
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (widget->objectName() == QLatin1String("PreferencesWindowController"))
            widget->close();
    }
}

TEST_F(Launch, SheetAlertOpensTheInformationLocationAndReportsTheButton)
{
    const auto response = ProductUpdateResponse::fromPropertyList(answer(QStringLiteral("7.0")), QStringLiteral("0.1"));
    ASSERT_TRUE(response);
    QWidget window;
    window.show();
    std::optional<QMessageBox::ButtonRole> role;
    QMessageBox *alert = showUpdateAlert(*response, &window, [&](QMessageBox::ButtonRole chosen) { role = chosen; });
    EXPECT_EQ(alert->windowModality(), Qt::WindowModal);
    EXPECT_EQ(alert->parentWidget(), &window);
    for (QAbstractButton *button : alert->buttons()) {
        if (button->text() == QLatin1String("More Information"))
            button->click();
    }
    ASSERT_TRUE(role);
    EXPECT_EQ(*role, QMessageBox::ActionRole);
    ASSERT_EQ(catcher.opened.size(), 1);
    EXPECT_EQ(catcher.opened.first(), QUrl(QStringLiteral("https://www.example.invalid/kestrabel/news")));
}

} // namespace

#include "UpdateCheckTest.moc"
