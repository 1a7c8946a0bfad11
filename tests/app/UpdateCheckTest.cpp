// The update check against an HTTP server of the test's own on loopback: the property-list answer,
// failures, the 30-day rule at launch, the alert's buttons; and the application menu.
#include "AppTestSupport.h"

#include "AppDelegate.h"
#include "Preferences.h"
#include "ProductUpdateCheck.h"

#include "PlayerConnection.h"

using namespace kestrabel;
using namespace kestrabel::app;
using namespace Qt::StringLiterals;

namespace {

const QUrl kDownload(u"https://downloads.example.invalid/kestrabel.tar.gz"_s);
const QUrl kInformation(u"https://www.example.invalid/kestrabel/news"_s);

QByteArray answer(const QString &version)
{
    return u"<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>Version</key><string>%1</string><key>Detail</key>"
           "<string>Faster saves.</string><key>DownloadLocation</key><string>%2</string><key>InformationLocation</key>"
           "<string>%3</string></dict></plist>"_s.arg(version, kDownload.toString(), kInformation.toString()).toUtf8();
}

// Answers every request, once it has come whole, with the status and body it is given; counts the
// requests for the property list.
struct HttpServer : QTcpServer {
    int status = 200;
    QByteArray body;
    int requests = 0;
    HttpServer()
    {
        listen(QHostAddress::LocalHost, 0);
        connect(this, &QTcpServer::newConnection, [this] {
            while (QTcpSocket *socket = nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket, request = QByteArray()]() mutable {
                    if (!(request += socket->readAll()).contains("\r\n\r\n"))
                        return;
                    requests += request.startsWith("GET /version.plist ");
                    socket->write("HTTP/1.1 " + QByteArray::number(status) + " X\r\nConnection: close\r\nContent-Length: " +
                                  QByteArray::number(body.size()) + "\r\n\r\n" + body);
                    socket->disconnectFromHost();
                });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }
    QString location() const { return u"http://127.0.0.1:%1/version.plist"_s.arg(serverPort()); }
};

struct Result : ProductUpdateCheckDelegate {
    void productUpdateCheckComplete(ProductUpdateCheck *, int error, const std::optional<ProductUpdateResponse> &response) override
    {
        ++calls;
        this->error = error;
        this->response = response;
    }
    int calls = 0;
    int error = 12345;
    std::optional<ProductUpdateResponse> response;
};

// Row: where the check asks and what the server answers → the error (-2: any but 0) and whether a
// newer version is offered (-1: no response).
TEST(UpdateCheck, AnswersOfTheServer)
{
    const QString served = u"served"_s, closed = u"closed"_s;
    const struct {
        QString location;
        int status;
        QByteArray body;
        int error, newer;
    } rows[] = {
        {served, 200, answer(u"99.1"_s), 0, 1},
        {served, 200, answer(ProductUpdateCheck::runningVersion()), 0, 0},
        {served, 200, answer(u"0.0.1"_s), 0, 0},
        {served, 200, "this is no property list", kUpdateCheckErrBadAnswer, -1},
        {served, 200, "<?xml version=\"1.0\"?><plist version=\"1.0\"><array><string>1.0</string></array></plist>",
         kUpdateCheckErrBadAnswer, -1},
        {served, 200, answer(u"not a version"_s), kUpdateCheckErrBadAnswer, -1},
        {served, 404, "gone", 404, -1},
        {closed, 200, {}, -2, -1},
        {QString(), 200, {}, kUpdateCheckErrNoLocation, -1},
        {u"   "_s, 200, {}, kUpdateCheckErrNoLocation, -1},
        {u"file:///etc/passwd"_s, 200, {}, kUpdateCheckErrNoLocation, -1},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.location.toStdString() + " " + row.body.left(30).toStdString());
        HttpServer server;
        server.status = row.status;
        server.body = row.body;
        if (row.location == closed)
            server.close();
        Result result;
        ProductUpdateCheck check(row.location == served || row.location == closed ? server.location() : row.location, &result);
        check.start();
        apptest::waitUntil([&] { return result.calls > 0; }, 10000);
        ASSERT_EQ(result.calls, 1);
        EXPECT_TRUE(row.error == -2 ? result.error != 0 : result.error == row.error) << result.error;
        EXPECT_EQ(server.requests, row.location == served ? 1 : 0);
        ASSERT_EQ(result.response.has_value(), row.newer >= 0);
        if (row.newer >= 0) {
            EXPECT_EQ(result.response->isNewerVersionAvailable(), row.newer == 1);
            EXPECT_EQ(result.response->detailString(), u"Faster saves."_s);
            EXPECT_EQ(result.response->downloadLocation(), kDownload);
            EXPECT_EQ(result.response->informationLocation(), kInformation);
        }
    }
    for (const auto &[offered, running, newer] : {std::tuple{"0.1.1", "0.1.0", true}, {"0.1.0", "0.1.0", false},
                                                  {"0.10", "0.9.9", true}, {"1.0", "1.0.1", false}})
        EXPECT_EQ(ProductUpdateResponse::fromPropertyList(answer(QLatin1String(offered)), QLatin1String(running))
                      ->isNewerVersionAvailable(), newer) << offered << " against " << running;
    const auto bare = ProductUpdateResponse::fromPropertyList(
        "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>Version</key><string>5.0</string>"
        "<key>DownloadLocation</key><integer>3</integer></dict></plist>", u"0.1.0"_s);
    ASSERT_TRUE(bare);
    EXPECT_TRUE(bare->detailString().isNull() && !bare->downloadLocation().isValid() && !bare->informationLocation().isValid());
}

class UrlCatcher : public QObject {
    Q_OBJECT
public:
    QList<QUrl> opened;
public slots:
    void open(const QUrl &url) { opened << url; }
};

// Row: the last check (hours ago), the user's switch and the server's version → whether it asks
// and alerts; the alert's default button downloads. Over a window the alert is its sheet, and More
// Information opens the news page.
TEST(UpdateCheckAtLaunch, FollowsTheThirtyDayRuleAndTheAlertOffersTheDownload)
{
    const struct {
        std::optional<int> hoursAgo;
        bool turnedOff;
        const char *version;
        bool asks, alerts;
    } rows[] = {
        {std::nullopt, false, "42.0.1", true, true}, {29 * 24 + 23, false, "42.0.1", false, false},
        {30 * 24 + 1, false, "42.0.1", true, true},  {-40 * 24, false, "42.0.1", false, false},
        {std::nullopt, true, "42.0.1", false, false}, {std::nullopt, false, "0.0.9", true, false},
    };
    UrlCatcher catcher;
    QDesktopServices::setUrlHandler(u"https"_s, &catcher, "open");
    const auto player = player::createPlayerConnection();
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.hoursAgo.value_or(-1) << " " << row.turnedOff << " " << row.version);
        apptest::resetSettings();
        HttpServer server;
        server.body = answer(QLatin1String(row.version));
        UserDefaults::setObject(server.location(), kVersionCheckLocationKey);
        UserDefaults::setBool(row.turnedOff, kDontCheckForUpdatesKey);
        const QDateTime now = QDateTime::currentDateTimeUtc();
        if (row.hoursAgo)
            UserDefaults::setObject(now.addSecs(-3600 * *row.hoursAgo), kLastUpdateCheckTimeKey);
        const QVariant lastBefore = UserDefaults::objectForKey(kLastUpdateCheckTimeKey);
        AppDelegate delegate(*player);
        delegate.applicationDidFinishLaunching();
        apptest::waitUntil([&] { return !delegate.productUpdateCheck() && (!row.alerts || delegate.updateAlert()); });
        apptest::spinEvents(100);
        EXPECT_EQ(server.requests, row.asks ? 1 : 0);
        EXPECT_TRUE(row.asks ? UserDefaults::dateForKey(kLastUpdateCheckTimeKey) >= now.addSecs(-1)
                             : UserDefaults::objectForKey(kLastUpdateCheckTimeKey) == lastBefore);
        QMessageBox *alert = delegate.updateAlert();
        ASSERT_EQ(alert != nullptr, row.alerts);
        if (!alert)
            continue;
        EXPECT_EQ(alert->text(), u"Kestrabel 42.0.1 is available"_s);
        EXPECT_EQ(alert->informativeText(), u"Faster saves."_s);
        QStringList titles;
        for (QAbstractButton *button : alert->buttons())
            titles << button->text();
        titles.sort();
        EXPECT_EQ(titles, (QStringList{"Cancel", "Download", "More Information"}));
        catcher.opened.clear();
        alert->defaultButton()->click();
        EXPECT_EQ(catcher.opened, QList<QUrl>{kDownload});
    }
    QWidget window;
    window.show();
    std::optional<QMessageBox::ButtonRole> role;
    QMessageBox *alert = showUpdateAlert(*ProductUpdateResponse::fromPropertyList(answer(u"7.0"_s), u"0.1"_s), &window,
                                         [&](QMessageBox::ButtonRole chosen) { role = chosen; });
    EXPECT_TRUE(alert->windowModality() == Qt::WindowModal && alert->parentWidget() == &window);
    catcher.opened.clear();
    for (QAbstractButton *button : alert->buttons())
        if (button->text() == u"More Information"_s)
            button->click();
    EXPECT_EQ(role, QMessageBox::ActionRole);
    EXPECT_EQ(catcher.opened, QList<QUrl>{kInformation});
    QDesktopServices::unsetUrlHandler(u"https"_s);
}

// The menu opens a preferences window for each ask, one about box, and the bundled guide.
TEST(ApplicationMenu, OpensPreferencesTheAboutBoxOnceAndTheGuide)
{
    apptest::resetSettings();
    UserDefaults::setBool(true, kDontCheckForUpdatesKey);
    const auto player = player::createPlayerConnection();
    AppDelegate delegate(*player);
    delegate.applicationDidFinishLaunching();
    EXPECT_FALSE(delegate.applicationShouldOpenUntitledFile());
    for (int tag : {2, 2, 3, 3, 7})
        delegate.createWindow(tag);
    QStringList shown;
    for (QWidget *widget : QApplication::topLevelWidgets())
        if (widget->isVisible() && !widget->objectName().isEmpty())
            shown << widget->objectName();
    shown.sort();
    EXPECT_EQ(shown.filter(QRegularExpression(u"^(AboutBox|PreferencesWindowController)$"_s)),
              (QStringList{"AboutBox", "PreferencesWindowController", "PreferencesWindowController"}));
    UrlCatcher files;
    QDesktopServices::setUrlHandler(u"file"_s, &files, "open");
    EXPECT_TRUE(delegate.showHelpFile());
    QDesktopServices::unsetUrlHandler(u"file"_s);
    ASSERT_EQ(files.opened.size(), 1);
    EXPECT_TRUE(files.opened.first().toLocalFile().endsWith(u"/UserGuide.html"_s));
    EXPECT_TRUE(QFile::exists(files.opened.first().toLocalFile()));
    for (QWidget *widget : QApplication::topLevelWidgets())
        if (widget->objectName() == u"PreferencesWindowController"_s)
            widget->close();
}

} // namespace

#include "UpdateCheckTest.moc"
