// The control window through the real player bridge, against the fake MPRIS player on the private
// session bus: what the window shows, and that edits, ratings, transport and track choices reach
// the player (and the file) in the right order.
#include "AppTestSupport.h"

#include "ControlWindowController.h"
#include "Preferences.h"

#include <kestrabel/MediaFile.h>
#include "PlayerConnection.h"

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>


using namespace kestrabel;
using namespace kestrabel::app;

namespace {

const QStringList kAlbum{QStringLiteral("Hovering"), QStringLiteral("Stoop"), QStringLiteral("Thermal")};
const QStringList kFiles{QStringLiteral("01 Hovering.mp3"), QStringLiteral("02 Stoop.mp3"),
                         QStringLiteral("03 Thermal.mp3")};

QJsonObject albumState(const QStringList &paths)
{
    QJsonArray tracks;
    for (int i = 0; i < paths.size(); ++i) {
        QJsonObject entry = apptest::trackEntry(QStringLiteral("/t/%1").arg(i + 1), kAlbum[i],
                                                QStringLiteral("The Kestrabel Ensemble"), QStringLiteral("Demo Flight"),
                                                QStringLiteral("Ambient"), paths[i]);
        entry.insert(QStringLiteral("xesam:userRating"), 0.6);
        tracks.append(entry);
    }
    return {{QStringLiteral("identity"), QStringLiteral("Fake Player")},
            {QStringLiteral("status"), QStringLiteral("Playing")},
            {QStringLiteral("trackList"), true},
            {QStringLiteral("rating"), true},
            {QStringLiteral("current"), 0},
            {QStringLiteral("tracks"), tracks}};
}

// Only the player's own methods, in order: property reads and the control channel left out.
QStringList playerCommands(apptest::FakePlayer &fake)
{
    static const QStringList methods{QStringLiteral("Play"), QStringLiteral("Pause"), QStringLiteral("PlayPause"),
                                     QStringLiteral("Stop"), QStringLiteral("Next"), QStringLiteral("Previous"),
                                     QStringLiteral("GoTo"), QStringLiteral("OpenUri"), QStringLiteral("Set")};
    QStringList commands;
    for (const QString &call : fake.calls()) {
        if (methods.contains(call.section(QLatin1Char(' '), 0, 0)))
            commands << call;
    }
    return commands;
}

class MprisWindow : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!apptest::privateBusRunning())
            GTEST_SKIP() << "no dbus-daemon for a private bus";
        apptest::resetSettings();
        ControlWindowController::setJustEdited(false);
        for (const QString &name : kFiles)
            paths << apptest::copyDemoTrack(name, folder.path());
        fake = std::make_unique<apptest::FakePlayer>(QStringLiteral("fake"), albumState(paths));
        ASSERT_TRUE(fake->ready());
        player = player::createPlayerConnection();
        ASSERT_TRUE(apptest::waitUntil([&] { return player->isRunning(); }));
        // The player's questions run on their own thread, as in the application.
        controller = std::make_unique<ControlWindowController>(*player, nullptr, true);
        controller->showWindow();
        ASSERT_TRUE(apptest::waitUntil([&] { return shownTitle() == kAlbum[0]; }));
        fake->clearCalls();
    }
    void TearDown() override
    {
        controller.reset();
        player.reset();
        fake.reset();
    }

    template <typename T> T *child(const char *name) const
    {
        return controller->window()->findChild<T *>(QLatin1String(name));
    }
    QString shownTitle() const { return child<QLineEdit>("_textFieldTitle")->text(); }

    QTemporaryDir folder;
    QStringList paths;
    std::unique_ptr<apptest::FakePlayer> fake;
    std::unique_ptr<player::PlayerConnection> player;
    std::unique_ptr<ControlWindowController> controller;
};

TEST_F(MprisWindow, TitleEditPausesWritesAndResumesThePlayer)
{
    QLineEdit *title = child<QLineEdit>("_textFieldTitle");
    title->selectAll();
    QTest::keyClicks(title, QStringLiteral("Hovering, Edited"));
    QTest::keyClick(title, Qt::Key_Return);
    ASSERT_TRUE(fake->waitForCall(QStringLiteral("Play")));
    EXPECT_EQ(apptest::fileTag(paths[0], kMediaFileDataIDTitle), QStringLiteral("Hovering, Edited"));
    EXPECT_EQ(playerCommands(*fake), (QStringList{QStringLiteral("Pause"), QStringLiteral("Play")}));
    // The bridge reads the file's own tags, so the next update shows the new title.
    controller->updateDisplayFromiTunes(false);
    EXPECT_TRUE(apptest::waitUntil([&] { return controller->cachedTitle() == QLatin1String("Hovering, Edited"); }));
}

TEST_F(MprisWindow, TypingSurvivesATrackChangeAndIsNotWrittenIntoTheNewTrack)
{
    QLineEdit *title = child<QLineEdit>("_textFieldTitle");
    title->setFocus();
    title->selectAll();
    QTest::keyClicks(title, QStringLiteral("Typed For Hovering"));
    ASSERT_TRUE(fake->script({{QStringLiteral("current"), 1}}));
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->cachedTitle() == kAlbum[1]; }));
    EXPECT_EQ(title->text(), QStringLiteral("Typed For Hovering"));
    QTest::keyClick(title, Qt::Key_Return);
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->statusNote().isEmpty(); }));
    EXPECT_EQ(apptest::fileTag(paths[0], kMediaFileDataIDTitle), kAlbum[0]);
    EXPECT_EQ(apptest::fileTag(paths[1], kMediaFileDataIDTitle), kAlbum[1]);
    EXPECT_EQ(title->text(), kAlbum[1]);
}

TEST_F(MprisWindow, FailedSaveShowsANoteAndEscapeRevertsTheField)
{
    QLineEdit *artist = child<QLineEdit>("_textFieldArtist");
    // Permissions do not stop root: a folder where the file was cannot be saved by anyone.
    ASSERT_TRUE(QFile::remove(paths[0]));
    ASSERT_TRUE(QDir().mkdir(paths[0]));
    artist->setFocus();
    artist->selectAll();
    QTest::keyClicks(artist, QStringLiteral("Nobody"));
    QTest::keyClick(artist, Qt::Key_Return);
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->statusNote().isEmpty(); }));
    EXPECT_NE(controller->statusNote().indexOf(QStringLiteral("01 Hovering.mp3")), -1)
        << controller->statusNote().toStdString();
    EXPECT_EQ(artist->text(), QStringLiteral("The Kestrabel Ensemble"));
    QTest::keyClicks(artist, QStringLiteral(" and friends"));
    QTest::keyClick(artist, Qt::Key_Escape);
    EXPECT_EQ(artist->text(), QStringLiteral("The Kestrabel Ensemble"));
    // Escape went to the field, not to the window's Escape that hides it.
    EXPECT_EQ(controller->moveOutEffect(), nullptr);
}

// The window's thread never waits for the player: with the player stopped (SIGSTOP) a look at it
// is under way for a second, and a toggle is handled meanwhile.
TEST_F(MprisWindow, HungPlayerDoesNotHoldUpTheWindow)
{
    QSignalSpy updates(controller.get(), &ControlWindowController::displayUpdated);
    fake->hang();
    controller->updateDisplayFromiTunes(false);
    QTimer::singleShot(0, controller.get(), &ControlWindowController::toggleWindowVisibility);
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->moveOutEffect() != nullptr; }, 2000));
    EXPECT_EQ(updates.count(), 0);
    // The stopped player is left out once its deadline has passed.
    EXPECT_TRUE(apptest::waitUntil([&] {
        return child<QLabel>("_imageView")->property("imageName").toString() == QLatin1String("notplaying");
    }));
    fake->resume();
    EXPECT_TRUE(apptest::waitUntil([&] { return shownTitle() == kAlbum[0]; }));
}

TEST_F(MprisWindow, PlayerThatGoesAwayClearsTheWindow)
{
    fake->vanish();
    ASSERT_TRUE(apptest::waitUntil([&] {
        return child<QLabel>("_imageView")->property("imageName").toString() == QLatin1String("notplaying");
    }));
    EXPECT_FALSE(child<QLineEdit>("_textFieldTitle")->isEnabled());
    // The bridge tells of the vanished player, and the button stops showing pause.
    EXPECT_TRUE(apptest::waitUntil([&] {
        return child<QToolButton>("_buttonPlayPause")->property("imageName").toString() == QLatin1String("play_button");
    }));
}

// A notification server on the test's own connection that keeps the summaries it is sent.
class NotificationServer : public QDBusVirtualObject {
public:
    QStringList summaries;
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        if (message.member() != QLatin1String("Notify"))
            return false;
        summaries << message.arguments().value(3).toString();
        connection.send(message.createReply(QVariant::fromValue(uint(summaries.size()))));
        return true;
    }
};

TEST_F(MprisWindow, TrackChangeNotifiesOnlyWhenTheUserAskedForIt)
{
    NotificationServer server;
    QDBusConnection bus = QDBusConnection::sessionBus();
    ASSERT_TRUE(bus.registerVirtualObject(QStringLiteral("/org/freedesktop/Notifications"), &server));
    ASSERT_TRUE(bus.registerService(QStringLiteral("org.freedesktop.Notifications")));
    const struct {
        bool wanted;
        int current;
        QStringList summaries;
    } rows[] = {{false, 1, {}}, {true, 2, {kAlbum[2]}}};
    for (const auto &row : rows) {
        UserDefaults::setBool(row.wanted, QLatin1String(kNotifyOnTrackChangeKey));
        ASSERT_TRUE(fake->script({{QStringLiteral("current"), row.current}}));
        ASSERT_TRUE(apptest::waitUntil([&] { return shownTitle() == kAlbum[row.current]; }));
        apptest::spinEvents(200);
        EXPECT_EQ(server.summaries, row.summaries) << row.wanted;
    }
    bus.unregisterService(QStringLiteral("org.freedesktop.Notifications"));
    bus.unregisterObject(QStringLiteral("/org/freedesktop/Notifications"));
}

} // namespace
