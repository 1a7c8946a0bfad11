// The control window's rules against a scripted player: the display and its change detection, the
// track choosers, editing into the file, the genre choice, rating, transport, the hide timer, the
// fades and the keyboard; then what needs the real player bridge and the fake MPRIS player.
#include "AppTestSupport.h"
#include "ScriptedPlayer.h"

#include "ControlWindowController.h"
#include "GenreComboBox.h"
#include "Preferences.h"
#include "RatingControl.h"

#include <kestrabel/MediaFile.h>

using namespace kestrabel;
using namespace kestrabel::app;
using namespace Qt::StringLiterals;

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

class ControlWindow : public ::testing::Test {
protected:
    void SetUp() override { freshRow(); }

    // A new row of a table: settings and player as at first, an untouched copy of the sample track
    // or of a test file.
    void freshRow(const char *testFile = nullptr)
    {
        controller.reset();
        apptest::resetSettings();
        ControlWindowController::setJustEdited(false);
        if (QFileInfo(track).isDir())
            QDir().rmdir(track);
        track = apptest::copyDemoTrack(u"01 Hovering.mp3"_s, folder.path());
        if (testFile) {
            QFile::remove(track);
            QFile::copy(QLatin1String(KESTRABEL_TEST_DATA "/") + QLatin1String(testFile), track);
            QFile::setPermissions(track, QFile::ReadOwner | QFile::WriteOwner);
        }
        player.emplace();
        player->path = track;
    }
    void open(const char *changes = "")
    {
        player->script(changes);
        controller = std::make_unique<ControlWindowController>(*player);
        controller->showWindow();
    }
    bool faded() const { return controller->moveInEffect() == nullptr; }
    bool fadingOut() const { return controller->moveOutEffect() != nullptr; }
    template <typename T = QWidget> T *child(const char *name) const
    {
        return controller->window()->findChild<T *>(QLatin1String(name));
    }
    QLineEdit *field(const char *name) const
    {
        auto *box = qobject_cast<QComboBox *>(child(name));
        return box ? box->lineEdit() : child<QLineEdit>(name);
    }
    QStringList items(const char *name) const
    {
        QStringList items;
        for (int i = 0; i < child<QComboBox>(name)->count(); ++i)
            items << child<QComboBox>(name)->itemText(i);
        return items;
    }
    QString image(const char *name) const { return child(name)->property("imageName").toString(); }
    void choose(const char *name, int index)
    {
        child<QComboBox>(name)->setCurrentIndex(index);
        emit child<QComboBox>(name)->activated(index);
    }
    QStringList fileTags() const
    {
        QStringList tags;
        for (int id : {kMediaFileDataIDTitle, kMediaFileDataIDArtist, kMediaFileDataIDAlbum, kMediaFileDataIDGenre})
            tags << apptest::fileTag(track, id, kMediaFileFlagInterop);
        return tags;
    }
    void signalWindowParameters(int style, float seconds)
    {
        UserDefaults::setInteger(style, kWindowShowStyle);
        UserDefaults::setFloat(seconds, kSecondsToShowWindow);
        PreferenceNotifier::defaultCenter().postNotificationName(kNotification_WindowShowParametersChangedKey);
    }

    QTemporaryDir folder;
    QString track;
    std::optional<apptest::ScriptedPlayer> player;
    std::unique_ptr<ControlWindowController> controller;
};

// Row: the player before the window opens, a change after it, announced or found by the next poll
// → the four fields and the artwork ("": the track's own). No player: the fields and the pop-up are
// disabled, the genre box keeps its text.
TEST_F(ControlWindow, ShowsWhatThePlayerSays)
{
    const QStringList demo{"Hovering", "The Kestrabel Ensemble", "Demo Flight", "Ambient"};
    const struct {
        const char *before, *after;
        bool announced;
        QStringList shown;
        const char *image;
    } rows[] = {
        {"", "", false, demo, ""},
        {"title=;artist=-;album=-;genre=;artwork=junk", "", false,
         {"<unknown title>", "<unknown artist>", "<unknown album>", "<unknown genre>"}, "missingArt"},
        {"", "running=0", false, {"", "", "", "Ambient"}, "notplaying"},
        {"", "title=HOVERING;album=DEMO flight", false, demo, "missingArt"},
        {"", "title=HOVERING;album=DEMO flight;artist=Else", false, {"HOVERING", "Else", "Demo Flight", "Ambient"}, "missingArt"},
        {"", "title=Stoop", true, {"Stoop", "The Kestrabel Ensemble", "Demo Flight", "Ambient"}, "missingArt"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.before) + row.after);
        freshRow();
        if (!*row.image) {
            QBuffer png(&player->artwork);
            png.open(QIODevice::WriteOnly);
            QImage(40, 30, QImage::Format_RGB32).save(&png, "PNG");
        }
        open(row.before);
        player->script(row.after);
        if (row.announced)
            emit player->notifier().trackChanged();
        else
            controller->updateDisplayFromiTunes(false);
        EXPECT_EQ((QStringList{field("_textFieldTitle")->text(), field("_textFieldArtist")->text(), field("_textFieldAlbum")->text(),
                           field("_comboBoxGenre")->text()}), row.shown);
        EXPECT_EQ(image("_imageView"), QLatin1String(row.image));
        if (*row.image != 'n') {
            EXPECT_EQ(child<QLabel>("_imageView")->frameStyle(), *row.image ? QFrame::Panel | QFrame::Sunken : int(QFrame::NoFrame));
        }
        for (const char *control : {"_textFieldTitle", "_popUpButtonAlbumTracks", "_buttonSubmit"})
            EXPECT_EQ(child(control)->isEnabled(), player->running) << control;
        EXPECT_TRUE(controller->isDisplayUpdateTimerActive());
    }
    // The length comes from the file, the rating and the button's image from the player.
    EXPECT_EQ(child<QLabel>("_textFieldLength")->text(), u"0:12"_s);
    EXPECT_EQ(child<RatingControl>("_indicatorRating")->value(), 40);
    EXPECT_EQ(image("_buttonPlayPause"), u"pause_button"_s);
    player->playing = false;
    emit player->notifier().playbackChanged(false);
    EXPECT_EQ(image("_buttonPlayPause"), u"play_button"_s);
}

// Row: the album's track list → what both choosers offer (the title first when the list lacks it).
// Then: the same album, another track: nothing is fetched; a missing album is new every time.
TEST_F(ControlWindow, ChoosersHoldTheAlbumWithTheTitle)
{
    const QStringList album{"Hovering", "Stoop", "Thermal"};
    for (const auto &[tracks, offered, cached] : {std::tuple{album, album, album},
                                                  {QStringList{"Stoop", "Thermal"}, album, album},
                                                  {QStringList{}, QStringList{"Hovering"}, QStringList{}}}) {
        freshRow();
        player->albumTracks = tracks;
        open();
        EXPECT_EQ(items("_popUpButtonAlbumTracks"), offered);
        EXPECT_EQ(items("_comboBoxAlbumTracks"), offered);
        EXPECT_EQ(child<QComboBox>("_popUpButtonAlbumTracks")->currentText(), u"Hovering"_s);
        EXPECT_EQ(controller->cachedAlbumSongs(), cached);
    }
    freshRow();
    open();
    player->log.clear();
    player->script("title=Stoop");
    controller->updateDisplayFromiTunes(false);
    EXPECT_TRUE(player->log.isEmpty());
    EXPECT_EQ(child<QComboBox>("_popUpButtonAlbumTracks")->currentText(), u"Stoop"_s);
    player->script("album=-");
    controller->updateDisplayFromiTunes(false);
    controller->updateDisplayFromiTunes(false);
    EXPECT_EQ(player->log, (QStringList{"albumTracks", "albumTracks"}));
}

// Row: the test file, the player, the field and the text typed, a change of track before Return →
// the file's new value (none: the file stays byte for byte; the other fields always stay), the
// commands, whether the edit counts as done, what the field shows after a save that did not happen
// and the note. Edits go through the interop profile: a tag behind a v2.4 extended header (which
// the classic rules would save over) keeps its other frames; a tag read only in part is not saved.
TEST_F(ControlWindow, EditsGoIntoTheFileAroundAPause)
{
    const QStringList pausePlay{"pause", "play"};
    const struct {
        const char *testFile, *before, *field, *typed, *during, *inFile;
        QStringList commands;
        bool edited;
        const char *shownAfter, *note;
    } rows[] = {
        {nullptr, "", "_textFieldTitle", "Hovering Again", "", "Hovering Again", pausePlay, true, nullptr, nullptr},
        {nullptr, "playing=0", "_textFieldArtist", "New Artist", "", "New Artist", {}, true, nullptr, nullptr},
        {nullptr, "", "_textFieldTitle", "HOVERING", "", "HOVERING", pausePlay, true, nullptr, nullptr},
        {nullptr, "", "_textFieldAlbum", "Second Flight", "", "Second Flight", pausePlay, true, nullptr, nullptr},
        {nullptr, "", "_textFieldAlbum", "DEMO FLIGHT", "", "DEMO FLIGHT", pausePlay, true, nullptr, nullptr},
        {nullptr, "", "_comboBoxGenre", "Chiptune", "", "Chiptune", pausePlay, true, nullptr, nullptr},
        {nullptr, "", "_textFieldTitle", "Hovering", "", nullptr, {}, false, nullptr, nullptr},
        {nullptr, "", "_textFieldTitle", "", "", "Hovering", pausePlay, true, nullptr, "01 Hovering.mp3"},
        {nullptr, "path=-", "_textFieldTitle", "Lost", "", nullptr, pausePlay, false, "Hovering", "not a local file"},
        {nullptr, "path+=.gone", "_textFieldTitle", "Lost", "", nullptr, pausePlay, false, "Hovering", "Hovering.mp3.gone"},
        {nullptr, "folder", "_textFieldArtist", "Nobody", "", nullptr, pausePlay, false, "The Kestrabel Ensemble", "01 Hovering.mp3"},
        {nullptr, "", "_textFieldTitle", "Typed", "title=Stoop;path+=.next", nullptr, pausePlay, false, "Stoop", "another track"},
        {"comm-zlib-damaged.mp3", "", "_textFieldTitle", "New", "", nullptr, pausePlay, true, nullptr, "kMediaFileErrBadFrame"},
        {"interop/v24-ext-header.mp3", "", "_textFieldTitle", "New", "", "New", pausePlay, true, nullptr, nullptr},
    };
    const QStringList fields{"_textFieldTitle", "_textFieldArtist", "_textFieldAlbum", "_comboBoxGenre"};
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.field) + " " + row.typed + " " + row.before + row.during);
        freshRow(row.testFile);
        player->script(row.before);
        const QByteArray bytes = readAll(track);
        QStringList tags = fileTags();
        open();
        player->log.clear();
        QLineEdit *edit = field(row.field);
        edit->setFocus();
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Delete);
        QTest::keyClicks(edit, QLatin1String(row.typed));
        if (*row.during) {
            player->script(row.during);
            emit player->notifier().trackChanged();
            EXPECT_EQ(edit->text(), QLatin1String(row.typed)) << "what is typed survives a track change";
        }
        QTest::keyClick(edit, Qt::Key_Return);
        if (row.inFile)
            tags[fields.indexOf(QLatin1String(row.field))] = QLatin1String(row.inFile);
        else
            EXPECT_TRUE(readAll(track) == bytes) << "the file must stay byte for byte";
        EXPECT_EQ(fileTags(), tags);
        EXPECT_EQ(player->commands(), row.commands);
        EXPECT_EQ(ControlWindowController::justEdited(), row.edited);
        if (row.shownAfter) {
            EXPECT_EQ(edit->text(), QLatin1String(row.shownAfter));
        }
        EXPECT_TRUE(row.note ? controller->statusNote().contains(QLatin1String(row.note)) : controller->statusNote().isEmpty())
            << controller->statusNote().toStdString();
    }
    // Text the program sets is no edit.
    player->log.clear();
    field("_textFieldTitle")->setText(u"Set By The Program"_s);
    field("_textFieldTitle")->clearFocus();
    EXPECT_TRUE(player->commands().isEmpty());
}

// Row: the player, an edit just done, what is chosen (a title in the title box or the pop-up, a
// genre) → the commands and the file's genre. The title box's first choice after an edit is the
// edit's own echo and is swallowed.
TEST_F(ControlWindow, ChoicesPlayTheTrackOrWriteTheGenre)
{
    const struct {
        const char *before;
        bool justEdited;
        std::vector<std::pair<const char *, int>> chosen;
        QStringList commands;
        const char *genre;
    } rows[] = {
        {"", false, {{"_comboBoxAlbumTracks", 2}}, {"playTrackNamed Thermal"}, "Ambient"},
        {"", true, {{"_comboBoxAlbumTracks", 1}}, {}, "Ambient"},
        {"", true, {{"_comboBoxAlbumTracks", 1}, {"_comboBoxAlbumTracks", 2}}, {"playTrackNamed Thermal"}, "Ambient"},
        {"", true, {{"_popUpButtonAlbumTracks", 1}}, {"playTrackNamed Stoop"}, "Ambient"},
        {"playing=0", false, {{"_comboBoxGenre", -1}}, {"pause", "play"}, "Jazz"},
        {"path=-", false, {{"_comboBoxGenre", -1}}, {"pause"}, "Ambient"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.chosen.back().first);
        freshRow();
        open();
        player->script(row.before);
        ControlWindowController::setJustEdited(row.justEdited);
        player->log.clear();
        for (const auto &[box, index] : row.chosen) {
            if (index < 0)
                child<GenreComboBox>(box)->setStringValue(u"Jazz"_s);
            choose(box, index < 0 ? child<GenreComboBox>(box)->currentIndex() : index);
        }
        EXPECT_EQ(player->commands(), row.commands);
        EXPECT_EQ(apptest::fileTag(track, kMediaFileDataIDGenre), QLatin1String(row.genre));
    }
}

// The rating is sent once the click is handled, and only where the player takes it; the star of
// the current rating takes it back to none.
TEST_F(ControlWindow, RatingGoesToThePlayerThatTakesIt)
{
    for (const bool canRate : {true, false}) {
        freshRow();
        open(canRate ? "" : "canRate=0");
        auto *stars = child<RatingControl>("_indicatorRating");
        EXPECT_EQ(stars->isReadOnly(), !canRate);
        player->log.clear();
        const QStringList sent = canRate ? QStringList{"rating 80", "rating 0"} : QStringList{};
        for (int click = 0; click < 2; ++click) {
            QTest::mouseClick(stars, Qt::LeftButton, {}, {3 * stars->sizeHint().width() / 5 + 5, stars->height() / 2});
            EXPECT_EQ(player->commands(), sent.mid(0, click));
            EXPECT_EQ(stars->value(), !canRate ? 40 : click ? 0 : 80);
            apptest::waitUntil([&] { return player->commands().size() > click; }, canRate ? 2000 : 50);
        }
        EXPECT_EQ(player->commands(), sent);
    }
}

// Row: the button and the player → the commands and the title shown next.
TEST_F(ControlWindow, TransportButtonsDriveThePlayer)
{
    const struct {
        const char *button, *before;
        QStringList commands;
        const char *titleAfter;
    } rows[] = {
        {"_buttonPlayPause", "", {"playPause"}, "Hovering"},
        {"_buttonNext", "", {"next"}, "Stoop"},
        {"_buttonPrevious", "", {"previous"}, "Stoop"},
        {"_buttonStop", "", {"stop"}, ""},
        {"_buttonPlayPause", "running=0;launchWorks=0", {"launch"}, nullptr},
        {"_buttonPlayPause", "running=0", {"launch", "playPause"}, nullptr},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.button) + row.before);
        freshRow();
        open(row.before);
        player->log.clear();
        player->script("title=Stoop");
        child<QToolButton>(row.button)->click();
        EXPECT_EQ(player->commands(), row.commands);
        if (row.titleAfter) {
            EXPECT_EQ(field("_textFieldTitle")->text(), QLatin1String(row.titleAfter));
        }
    }
}

// Row: the show style and the seconds stored → the seconds used (and stored back) and the hide
// timer's interval (-1: none); nothing but the timer's own end hides a window that never hides.
TEST_F(ControlWindow, HideTimerFollowsThePreferences)
{
    const struct {
        int style;
        float stored, used;
        int interval;
    } rows[] = {{1, 12, 12, 12000}, {1, 0.5, 8, 8000}, {1, 601, 8, 8000}, {1, -3, 8, 8000},
                {1, 1, 1, 1000},    {1, 600, 600, 600000}, {0, 5, 5, -1}};
    open();
    for (const auto &row : rows) {
        SCOPED_TRACE(row.stored);
        signalWindowParameters(row.style, row.stored);
        EXPECT_FLOAT_EQ(controller->showWindowForSeconds(), row.used);
        EXPECT_FLOAT_EQ(UserDefaults::floatForKey(kSecondsToShowWindow), row.used);
        EXPECT_EQ(controller->isHideTimerActive() ? controller->hideTimerInterval() : -1, row.interval);
        controller->windowDidResignKey();
        controller->controlTextDidChange(field("_textFieldTitle"));
        EXPECT_EQ(controller->isHideTimerActive(), row.interval > 0);
    }
}

// The key window stays; once another window has the focus it fades out slowly (1/40 a stage). A
// toggle fades fast (0.1 a stage); toggled again half-way, the window comes back.
TEST_F(ControlWindow, FadesSlowlyWhenLeftAndFastWhenToggled)
{
    UserDefaults::setFloat(1.0f, kSecondsToShowWindow);
    open();
    ASSERT_TRUE(apptest::waitUntil([&] { return faded(); }, 5000));
    EXPECT_EQ(controller->window()->windowOpacity(), 1.0);
    controller->window()->activateWindow();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->window()->isActiveWindow(); }, 3000));
    QTest::keyClicks(field("_textFieldArtist"), u"x"_s);
    EXPECT_FALSE(controller->isHideTimerActive());
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(apptest::waitUntil([&] { return fadingOut(); }, 6000));
    EXPECT_NEAR(controller->moveOutEffect()->transparencyChangeIncrement(), 1.0f / 40.0f, 1e-6);
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->window()->isVisible(); }, 8000));
    EXPECT_FALSE(fadingOut());

    signalWindowParameters(1, 8.0f);
    controller->toggleWindowVisibility();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->isWindowVisible() && faded(); }, 5000));
    controller->toggleWindowVisibility();
    EXPECT_FALSE(controller->isHideTimerActive());
    ASSERT_TRUE(fadingOut());
    EXPECT_NEAR(controller->moveOutEffect()->transparencyChangeIncrement(), 0.1f, 1e-6);
    controller->toggleWindowVisibility();
    EXPECT_FALSE(faded());
    apptest::spinEvents(1);
    EXPECT_FALSE(fadingOut());
    ASSERT_TRUE(apptest::waitUntil([&] { return faded(); }, 5000));
    controller->toggleWindowVisibility();
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->window()->isVisible(); }, 5000));
    controller->toggleWindowVisibility();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->isWindowVisible() && controller->isHideTimerActive(); }));
}

// Row: the test file and the image's name in the temporary folder → the status; the image goes into
// the file as JPEG, or the file stays byte for byte.
TEST_F(ControlWindow, ArtworkFromATemporaryImageFileGoesIntoTheTrack)
{
    const QString image = u"kestrabel-test-art-%1.png"_s.arg(QCoreApplication::applicationPid());
    QImage(16, 16, QImage::Format_RGB32).save(QDir::temp().filePath(image), "PNG");
    for (const auto &[testFile, name, status] : {std::tuple{(const char *)nullptr, image, 0},
                                                 {nullptr, u"../etc/passwd"_s, kMediaFileErrBadPath},
                                                 {nullptr, u"no-such-file.png"_s, kMediaFileErrBadPath},
                                                 {"comm-zlib-damaged.mp3", image, kMediaFileErrBadFrame}}) {
        SCOPED_TRACE(name.toStdString());
        freshRow(testFile);
        const QByteArray bytes = readAll(track);
        open();
        EXPECT_EQ(controller->setArtworkFromFileAtPath(name), status);
        EXPECT_EQ(readAll(track) == bytes, status != 0);
        MediaFileRef ref = nullptr;
        void *data = nullptr;
        size_t length = 0;
        if (status == 0 && MediaFileOpen(track.toUtf8().constData(), &ref, 0) == 0) {
            EXPECT_EQ(MediaFileGetData(ref, kMediaFileDataIDArtwork, &data, &length), 0);
            EXPECT_EQ(QImage::fromData(static_cast<const uchar *>(data), int(length), "JPEG").size(), QSize(16, 16));
            free(data);
            MediaFileClose(ref);
        }
    }
    QFile::remove(QDir::temp().filePath(image));
}

// Row: where the focus is, what is typed, the key (Tab: pressed until the focus comes round every
// control, each with an accessible name) → the commands, whether the window hides or asks to quit,
// what the field shows.
TEST_F(ControlWindow, KeyboardReachesEveryControlAndItsShortcuts)
{
    const QStringList everyControl{"_buttonPrevious", "_buttonPlayPause", "_buttonStop", "_buttonNext",
                                   "_buttonDismiss",  "_buttonMenu",      "_textFieldArtist", "_textFieldAlbum"};
    const struct {
        const char *focus, *typed;
        QKeyCombination key;
        QStringList commands;
        bool hides, quits;
        const char *fieldAfter;
    } rows[] = {
        {"_textFieldArtist", "", Qt::Key_Tab, {}, false, false, nullptr},
        {"_buttonNext", "", Qt::Key_Space, {"playPause"}, false, false, nullptr},
        {"_textFieldArtist", "x", Qt::Key_Space, {}, false, false, "x "},
        {"_buttonStop", "", Qt::Key_Escape, {}, true, false, nullptr},
        {"_textFieldAlbum", "Typo", Qt::Key_Escape, {}, false, false, "Demo Flight"},
        {"_textFieldArtist", "", Qt::CTRL | Qt::Key_Q, {}, false, true, nullptr},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(row.focus) + " " + QKeySequence(row.key).toString().toStdString());
        open();
        controller->window()->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(controller->window()));
        ASSERT_TRUE(apptest::waitUntil([&] { return faded(); }));
        QSignalSpy quit(controller.get(), &ControlWindowController::quitRequested);
        child(row.focus)->setFocus(Qt::TabFocusReason);
        QTest::keyClicks(child(row.focus), QLatin1String(row.typed));
        player->log.clear();
        const bool tab = row.key == QKeyCombination(Qt::Key_Tab);
        QStringList reached;
        for (int i = 0; i < (tab ? 40 : 1); ++i) {
            QTest::keyClick(QApplication::focusWidget(), row.key.key(), row.key.keyboardModifiers());
            // An editable box's line edit speaks for its box.
            if (QWidget *now = QApplication::focusWidget(); tab) {
                QWidget *control = qobject_cast<QComboBox *>(now->parentWidget()) ? now->parentWidget() : now;
                reached << control->objectName();
                EXPECT_FALSE(control->accessibleName().isEmpty()) << control->objectName().toStdString();
            }
        }
        for (const QString &name : tab ? everyControl : QStringList{})
            EXPECT_TRUE(reached.contains(name)) << name.toStdString();
        apptest::spinEvents(50);
        EXPECT_EQ(player->commands(), row.commands);
        EXPECT_EQ(fadingOut(), row.hides);
        EXPECT_EQ(quit.size(), row.quits ? 1 : 0);
        if (row.fieldAfter) {
            EXPECT_EQ(child<QLineEdit>(row.focus)->text(), QLatin1String(row.fieldAfter));
        }
        controller.reset();
    }
}

// The window through the real player bridge, on its own thread as in the application, with the
// fake MPRIS player playing the first of three tracks on the private bus.
class MprisWindow : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!apptest::privateBusRunning())
            GTEST_SKIP() << "no dbus-daemon for a private bus";
        apptest::resetSettings();
        QJsonArray tracks;
        for (int i = 0; i < 3; ++i)
            tracks.append(QJsonObject{{"mpris:trackid", u"/t/%1"_s.arg(i)}, {"xesam:title", kTitles[i]}});
        fake = std::make_unique<apptest::FakePlayer>(
            u"fake"_s, QJsonObject{{"identity", "Fake"}, {"status", "Playing"}, {"trackList", true}, {"tracks", tracks}});
        ASSERT_TRUE(fake->ready());
        player = player::createPlayerConnection();
        ASSERT_TRUE(apptest::waitUntil([&] { return player->isRunning(); }));
        controller = std::make_unique<ControlWindowController>(*player, nullptr, true);
        controller->showWindow();
        ASSERT_TRUE(apptest::waitUntil([&] { return title() == kTitles[0]; }));
    }
    QString title() const { return controller->window()->findChild<QLineEdit *>(u"_textFieldTitle"_s)->text(); }
    QString image(const char *name) const
    {
        return controller->window()->findChild<QWidget *>(QLatin1String(name))->property("imageName").toString();
    }

    const QStringList kTitles{"Hovering", "Stoop", "Thermal"};
    // Destroyed in reverse: the window, the bridge, then the fake.
    std::unique_ptr<apptest::FakePlayer> fake;
    std::unique_ptr<player::PlayerConnection> player;
    std::unique_ptr<ControlWindowController> controller;
};

// The window's thread never waits for the player: with the player stopped (SIGSTOP) a look at it
// is under way, a toggle is handled meanwhile, and once its deadline has passed the player is
// left out. A player that goes away clears the window.
TEST_F(MprisWindow, HungOrVanishedPlayerDoesNotHoldUpTheWindow)
{
    QSignalSpy updates(controller.get(), &ControlWindowController::displayUpdated);
    fake->hang();
    controller->updateDisplayFromiTunes(false);
    QTimer::singleShot(0, controller.get(), &ControlWindowController::toggleWindowVisibility);
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->moveOutEffect() != nullptr; }, 2000));
    EXPECT_EQ(updates.count(), 0);
    EXPECT_TRUE(apptest::waitUntil([&] { return image("_imageView") == u"notplaying"_s; }));
    fake->resume();
    EXPECT_TRUE(apptest::waitUntil([&] { return title() == kTitles[0]; }));
    fake->vanish();
    ASSERT_TRUE(apptest::waitUntil([&] { return image("_imageView") == u"notplaying"_s; }));
    EXPECT_TRUE(apptest::waitUntil([&] { return image("_buttonPlayPause") == u"play_button"_s; }));
}

// A notification server on the test's own connection that keeps the summaries it is sent.
class NotificationServer : public QDBusVirtualObject {
public:
    QStringList summaries;
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        if (message.member() != u"Notify"_s)
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
    ASSERT_TRUE(bus.registerVirtualObject(u"/org/freedesktop/Notifications"_s, &server));
    ASSERT_TRUE(bus.registerService(u"org.freedesktop.Notifications"_s));
    for (const auto &[wanted, current, summaries] : {std::tuple{false, 1, QStringList{}}, {true, 2, QStringList{"Thermal"}}}) {
        UserDefaults::setBool(wanted, QLatin1String(kNotifyOnTrackChangeKey));
        ASSERT_TRUE(fake->script({{"current", current}}));
        ASSERT_TRUE(apptest::waitUntil([&, shown = kTitles[current]] { return title() == shown; }));
        apptest::spinEvents(200);
        EXPECT_EQ(server.summaries, summaries) << wanted;
    }
    bus.unregisterService(u"org.freedesktop.Notifications"_s);
    bus.unregisterObject(u"/org/freedesktop/Notifications"_s);
}

} // namespace
