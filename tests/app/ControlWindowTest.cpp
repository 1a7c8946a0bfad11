// The control window's rules against a scripted player: the display and its change detection, the
// track choosers, editing into the file, the genre choice, rating, transport, the hide timer and
// the keyboard; then the way through the real player bridge to the fake MPRIS player.
#include "AppTestSupport.h"
#include "ScriptedPlayer.h"

#include "ControlWindowController.h"
#include "GenreComboBox.h"
#include "Preferences.h"
#include "RatingControl.h"

#include <kestrabel/MediaFile.h>

#include <QApplication>
#include <QBuffer>
#include <QComboBox>
#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QToolButton>

#include <gtest/gtest.h>

#include <functional>
#include <optional>

using namespace kestrabel;
using namespace kestrabel::app;
using apptest::ScriptedPlayer;

namespace {

using PlayerChange = std::function<void(ScriptedPlayer &)>;

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// An image in the temporary folder, where the window takes artwork from; removed with the object.
struct TemporaryImage {
    QString name = QStringLiteral("kestrabel-test-art-%1.png").arg(QCoreApplication::applicationPid());
    TemporaryImage() { QImage(16, 16, QImage::Format_RGB32).save(QDir::temp().filePath(name), "PNG"); }
    ~TemporaryImage() { QFile::remove(QDir::temp().filePath(name)); }
};

class ControlWindow : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(folder.isValid());
        freshRow();
    }

    // A new row of a table: settings and player as at first, an untouched copy of the track (or of
    // a test file).
    void freshRow(const char *testFile = nullptr)
    {
        controller.reset();
        apptest::resetSettings();
        ControlWindowController::setJustEdited(false);
        QFile::remove(track);
        if (QFileInfo(track).isDir())
            QDir().rmdir(track);
        if (testFile) {
            track = folder.filePath(QFileInfo(QLatin1String(testFile)).fileName());
            QFile::copy(QStringLiteral(KESTRABEL_TEST_DATA "/") + QLatin1String(testFile), track);
            QFile::setPermissions(track, QFile::ReadOwner | QFile::WriteOwner);
        } else {
            track = apptest::copyDemoTrack(QStringLiteral("01 Hovering.mp3"), folder.path());
        }
        player.emplace();
        player->path = track;
    }

    ControlWindowController &open()
    {
        controller = std::make_unique<ControlWindowController>(*player);
        controller->showWindow();
        return *controller;
    }
    bool faded() const { return controller->moveInEffect() == nullptr; }

    template <typename T = QWidget> T *child(const char *name) const
    {
        T *widget = controller->window()->findChild<T *>(QLatin1String(name));
        EXPECT_NE(widget, nullptr) << name;
        return widget;
    }
    QLineEdit *field(const char *name) const
    {
        auto *box = qobject_cast<QComboBox *>(child(name));
        return box ? box->lineEdit() : child<QLineEdit>(name);
    }
    QStringList items(const char *name) const
    {
        QStringList texts;
        for (int i = 0; i < child<QComboBox>(name)->count(); ++i)
            texts << child<QComboBox>(name)->itemText(i);
        return texts;
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

    QTemporaryDir folder;
    QString track;
    std::optional<ScriptedPlayer> player;
    std::unique_ptr<ControlWindowController> controller;
};

// What the window shows. Row: the player before the window opens, a change after it and whether
// the change is announced (else the next poll finds it) → the four fields and the artwork.
TEST_F(ControlWindow, ShowsWhatThePlayerSays)
{
    const struct {
        const char *situation;
        PlayerChange before;
        PlayerChange after;
        bool announced;
        QStringList shown;
        const char *image;
    } rows[] = {
        {"the current track", [](ScriptedPlayer &p) {
             QBuffer png(&p.artwork);
             png.open(QIODevice::WriteOnly);
             QImage(40, 30, QImage::Format_RGB32).save(&png, "PNG");
         }, {}, false, {"Hovering", "The Kestrabel Ensemble", "Demo Flight", "Ambient"}, ""},
        {"missing values", [](ScriptedPlayer &p) {
             p.title = p.genre = QLatin1String("");
             p.artist = p.album = QString();
             p.artwork = "not an image";
         }, {}, false, {"<unknown title>", "<unknown artist>", "<unknown album>", "<unknown genre>"}, "missingArt"},
        // The genre box keeps its text; it is disabled with the rest.
        {"no player", {}, [](ScriptedPlayer &p) { p.running = false; }, false, {"", "", "", "Ambient"}, "notplaying"},
        {"only the letter case changed", {}, [](ScriptedPlayer &p) {
             p.title = "HOVERING";
             p.album = "DEMO flight";
         }, false, {"Hovering", "The Kestrabel Ensemble", "Demo Flight", "Ambient"}, "missingArt"},
        {"another artist, the album in other case", {}, [](ScriptedPlayer &p) {
             p.title = "HOVERING";
             p.artist = "Somebody Else";
             p.album = "DEMO flight";
         }, false, {"HOVERING", "Somebody Else", "Demo Flight", "Ambient"}, "missingArt"},
        {"announced track change", {}, [](ScriptedPlayer &p) { p.title = "Stoop"; }, true,
         {"Stoop", "The Kestrabel Ensemble", "Demo Flight", "Ambient"}, "missingArt"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.situation);
        freshRow();
        if (row.before)
            row.before(*player);
        open();
        if (row.after) {
            row.after(*player);
            if (row.announced)
                emit player->notifier().trackChanged();
            else
                controller->updateDisplayFromiTunes(false);
        }
        const QStringList shown{field("_textFieldTitle")->text(), field("_textFieldArtist")->text(),
                                field("_textFieldAlbum")->text(), field("_comboBoxGenre")->text()};
        EXPECT_EQ(shown, row.shown);
        EXPECT_EQ(image("_imageView"), QLatin1String(row.image));
        if (*row.image != 'n') {
            EXPECT_EQ(child<QLabel>("_imageView")->frameStyle(),
                      *row.image ? int(QFrame::Panel | QFrame::Sunken) : int(QFrame::NoFrame));
        }
        for (const char *control : {"_textFieldTitle", "_popUpButtonAlbumTracks", "_buttonSubmit"})
            EXPECT_EQ(child(control)->isEnabled(), player->running) << control;
        EXPECT_TRUE(controller->isDisplayUpdateTimerActive());
    }
    // The length comes from the file, the rating and the button's image from the player.
    EXPECT_EQ(child<QLabel>("_textFieldLength")->text(), QStringLiteral("0:12"));
    EXPECT_EQ(child<RatingControl>("_indicatorRating")->value(), 40);
    EXPECT_EQ(image("_buttonPlayPause"), QStringLiteral("pause_button"));
    player->playing = false;
    emit player->notifier().playbackChanged(false);
    EXPECT_EQ(image("_buttonPlayPause"), QStringLiteral("play_button"));
}

// Both track choosers. Row: the album's track list → what they offer (the title first when the
// list lacks it).
TEST_F(ControlWindow, ChoosersHoldTheAlbumWithTheTitle)
{
    const QStringList album{"Hovering", "Stoop", "Thermal"};
    const struct {
        QStringList albumTracks;
        QStringList offered;
        QStringList cached;
    } rows[] = {{album, album, album}, {{"Stoop", "Thermal"}, album, album}, {{}, {"Hovering"}, {}}};
    for (const auto &row : rows) {
        freshRow();
        player->albumTracks = row.albumTracks;
        open();
        EXPECT_EQ(items("_popUpButtonAlbumTracks"), row.offered);
        EXPECT_EQ(items("_comboBoxAlbumTracks"), row.offered);
        EXPECT_EQ(child<QComboBox>("_popUpButtonAlbumTracks")->currentText(), QStringLiteral("Hovering"));
        EXPECT_EQ(controller->cachedAlbumSongs(), row.cached);
    }
    // Same album, another track: nothing is fetched, the title is selected.
    freshRow();
    open();
    player->log.clear();
    player->title = QStringLiteral("Stoop");
    controller->updateDisplayFromiTunes(false);
    EXPECT_TRUE(player->log.isEmpty());
    EXPECT_EQ(child<QComboBox>("_popUpButtonAlbumTracks")->currentText(), QStringLiteral("Stoop"));
    // A missing album counts as a new one every time.
    player->album = QString();
    controller->updateDisplayFromiTunes(false);
    controller->updateDisplayFromiTunes(false);
    EXPECT_EQ(player->log, (QStringList{"albumTracks", "albumTracks"}));
}

// Typing into a field. Row: the test file (none: the sample track), the player's state, the field,
// the text typed, a change of the player before Return → the file's new value (none: the file
// stays byte for byte; the other fields always stay), the player's commands, whether the edit
// counts as done, and after a save that did not happen what the field shows and what the note says.
TEST_F(ControlWindow, EditsGoIntoTheFileAroundAPause)
{
    const QStringList pauseAndPlay{"pause", "play"};
    const struct {
        const char *situation;
        const char *testFile;
        PlayerChange before;
        const char *field;
        const char *typed;
        PlayerChange during;
        const char *inFile;
        QStringList commands;
        bool edited;
        const char *shownAfter;
        const char *note;
    } rows[] = {
        {"title while playing", nullptr, {}, "_textFieldTitle", "Hovering Again", {}, "Hovering Again", pauseAndPlay,
         true, nullptr, nullptr},
        {"artist while paused", nullptr, [](ScriptedPlayer &p) { p.playing = false; }, "_textFieldArtist",
         "New Artist", {}, "New Artist", {}, true, nullptr, nullptr},
        {"letter case only", nullptr, {}, "_textFieldTitle", "HOVERING", {}, "HOVERING", pauseAndPlay, true, nullptr, nullptr},
        {"album alone", nullptr, {}, "_textFieldAlbum", "Second Flight", {}, "Second Flight", pauseAndPlay, true, nullptr,
         nullptr},
        {"genre typed", nullptr, {}, "_comboBoxGenre", "Chiptune", {}, "Chiptune", pauseAndPlay, true, nullptr, nullptr},
        {"unchanged text", nullptr, {}, "_textFieldTitle", "Hovering", {}, nullptr, {}, false, nullptr, nullptr},
        {"empty title", nullptr, {}, "_textFieldTitle", "", {}, "Hovering", pauseAndPlay, true, nullptr,
         "01 Hovering.mp3"},
        {"no file", nullptr, [](ScriptedPlayer &p) { p.path = QString(); }, "_textFieldTitle", "Lost", {}, nullptr,
         pauseAndPlay, false, "Hovering", "not a local file"},
        {"file gone", nullptr, [](ScriptedPlayer &p) { p.path += QLatin1String(".gone"); }, "_textFieldTitle", "Lost",
         {}, nullptr, pauseAndPlay, false, "Hovering", "01 Hovering.mp3.gone"},
        // Permissions do not stop root: a folder where the file was cannot be saved by anyone.
        {"a folder in the file's place", nullptr, [](ScriptedPlayer &p) {
             QFile::remove(p.path);
             QDir().mkdir(p.path);
         }, "_textFieldArtist", "Nobody", {}, nullptr, pauseAndPlay, false, "The Kestrabel Ensemble",
         "01 Hovering.mp3"},
        // The text typed survives the change, and is written neither into the old track nor the new.
        {"track changed while typing", nullptr, {}, "_textFieldTitle", "Typed For Hovering", [](ScriptedPlayer &p) {
             p.title = QStringLiteral("Stoop");
             p.path += QLatin1String(".next");
         }, nullptr, pauseAndPlay, false, "Stoop", "another track"},
        // A tag read only in part (a damaged compressed frame) would lose the rest on a save.
        {"a tag that could not be read whole", "comm-zlib-damaged.mp3", {}, "_textFieldTitle", "New Title", {},
         nullptr, pauseAndPlay, true, nullptr, "kMediaFileErrBadFrame"},
        // Edits go through the interop profile: a tag behind a v2.4 extended header, which the classic
        // rules cannot see (and so would save over), keeps its other frames.
        {"a v2.4 extended header", "interop/v24-ext-header.mp3", {}, "_textFieldTitle", "New Title", {}, "New Title",
         pauseAndPlay, true, nullptr, nullptr},
    };
    const QStringList fields{"_textFieldTitle", "_textFieldArtist", "_textFieldAlbum", "_comboBoxGenre"};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.situation);
        freshRow(row.testFile);
        if (row.before)
            row.before(*player);
        const QByteArray bytes = readAll(track);
        QStringList tags = fileTags();
        open();
        player->log.clear();
        QLineEdit *edit = field(row.field);
        edit->setFocus();
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Delete);
        QTest::keyClicks(edit, QLatin1String(row.typed));
        if (row.during) {
            row.during(*player);
            emit player->notifier().trackChanged();
            EXPECT_EQ(edit->text(), QLatin1String(row.typed));
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
        EXPECT_TRUE(row.note ? controller->statusNote().contains(QLatin1String(row.note))
                             : controller->statusNote().isEmpty())
            << controller->statusNote().toStdString();
    }
    // Text the program sets is no edit.
    player->log.clear();
    field("_textFieldTitle")->setText(QStringLiteral("Set By The Program"));
    field("_textFieldTitle")->clearFocus();
    EXPECT_TRUE(player->commands().isEmpty());
}

// Choices from the lists. Row: what is chosen → the commands and the file's genre.
TEST_F(ControlWindow, ChoicesPlayTheTrackOrWriteTheGenre)
{
    const auto genre = [this] {
        child<GenreComboBox>("_comboBoxGenre")->setStringValue(QStringLiteral("Jazz"));
        emit child<GenreComboBox>("_comboBoxGenre")->activated(child<GenreComboBox>("_comboBoxGenre")->currentIndex());
    };
    const struct {
        const char *situation;
        bool justEdited;
        PlayerChange before;
        std::function<void()> choose;
        QStringList commands;
        const char *genreInFile;
    } rows[] = {
        {"title box", false, {}, [this] { choose("_comboBoxAlbumTracks", 2); }, {"playTrackNamed Thermal"}, "Ambient"},
        {"title box right after an edit", true, {}, [this] { choose("_comboBoxAlbumTracks", 1); }, {}, "Ambient"},
        {"title box right after an edit, twice", true, {}, [this] {
             choose("_comboBoxAlbumTracks", 1);
             choose("_comboBoxAlbumTracks", 2);
         }, {"playTrackNamed Thermal"}, "Ambient"},
        {"pop-up right after an edit", true, {}, [this] { choose("_popUpButtonAlbumTracks", 1); },
         {"playTrackNamed Stoop"}, "Ambient"},
        {"genre while paused", false, [](ScriptedPlayer &p) { p.playing = false; }, genre, {"pause", "play"}, "Jazz"},
        {"genre without a file", false, [](ScriptedPlayer &p) { p.path = QString(); }, genre, {"pause"}, "Ambient"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.situation);
        freshRow();
        open();
        if (row.before)
            row.before(*player);
        ControlWindowController::setJustEdited(row.justEdited);
        player->log.clear();
        row.choose();
        EXPECT_EQ(player->commands(), row.commands);
        EXPECT_EQ(apptest::fileTag(track, kMediaFileDataIDGenre), QLatin1String(row.genreInFile));
    }
}

// The rating is sent once the click is handled, and only where the player takes it; the star of
// the current rating takes it back to none.
TEST_F(ControlWindow, RatingGoesToThePlayerThatTakesIt)
{
    for (const bool canRate : {true, false}) {
        freshRow();
        player->canRate = canRate;
        open();
        auto *stars = child<RatingControl>("_indicatorRating");
        EXPECT_EQ(stars->isReadOnly(), !canRate);
        player->log.clear();
        const QPoint fourthStar(3 * stars->sizeHint().width() / 5 + 5, stars->height() / 2);
        const QStringList sent = canRate ? QStringList{"rating 80", "rating 0"} : QStringList{};
        for (int click = 0; click < 2; ++click) {
            QTest::mouseClick(stars, Qt::LeftButton, {}, fourthStar);
            EXPECT_EQ(player->commands(), sent.mid(0, click));
            EXPECT_EQ(stars->value(), !canRate ? 40 : click ? 0 : 80);
            apptest::waitUntil([&] { return player->commands().size() > click; }, canRate ? 2000 : 50);
        }
        EXPECT_EQ(player->commands(), sent);
    }
}

// Row: the button, the player → its commands and what the window shows next.
TEST_F(ControlWindow, TransportButtonsDriveThePlayer)
{
    const struct {
        const char *button;
        bool running;
        bool launchWorks;
        QStringList commands;
        const char *titleAfter;
    } rows[] = {
        {"_buttonPlayPause", true, true, {"playPause"}, "Hovering"},
        {"_buttonNext", true, true, {"next"}, "Stoop"},
        {"_buttonPrevious", true, true, {"previous"}, "Stoop"},
        {"_buttonStop", true, true, {"stop"}, ""},
        {"_buttonPlayPause", false, false, {"launch"}, nullptr},
        {"_buttonPlayPause", false, true, {"launch", "playPause"}, nullptr},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.button);
        freshRow();
        player->running = row.running;
        player->launchWorks = row.launchWorks;
        open();
        player->log.clear();
        player->title = QStringLiteral("Stoop");
        child<QToolButton>(row.button)->click();
        EXPECT_EQ(player->commands(), row.commands);
        if (row.titleAfter) {
            EXPECT_EQ(field("_textFieldTitle")->text(), QLatin1String(row.titleAfter));
        }
    }
}

// Row: the show style and the seconds stored → the seconds used (and stored back) and the hide
// timer; nothing but the timer's own end hides a window that never hides.
TEST_F(ControlWindow, HideTimerFollowsThePreferences)
{
    const struct {
        int style;
        float stored;
        float used;
        bool timer;
    } rows[] = {{1, 12.0f, 12.0f, true}, {1, 0.5f, 8.0f, true},   {1, 601.0f, 8.0f, true}, {1, -3.0f, 8.0f, true},
                {1, 1.0f, 1.0f, true},   {1, 600.0f, 600.0f, true}, {0, 5.0f, 5.0f, false}};
    open();
    for (const auto &row : rows) {
        SCOPED_TRACE(row.stored);
        UserDefaults::setInteger(row.style, kWindowShowStyle);
        UserDefaults::setFloat(row.stored, kSecondsToShowWindow);
        PreferenceNotifier::defaultCenter().postNotificationName(kNotification_WindowShowParametersChangedKey);
        EXPECT_FLOAT_EQ(controller->showWindowForSeconds(), row.used);
        EXPECT_FLOAT_EQ(UserDefaults::floatForKey(kSecondsToShowWindow), row.used);
        EXPECT_EQ(controller->isHideTimerActive() ? controller->hideTimerInterval() : -1,
                  row.timer ? int(row.used * 1000) : -1);
        controller->windowDidResignKey();
        controller->controlTextDidChange(field("_textFieldTitle"));
        EXPECT_EQ(controller->isHideTimerActive(), row.timer);
    }
}

// The key window stays; once another window has the focus it fades out slowly (1/40 a stage). A
// toggle fades fast (0.1 a stage) and, toggled again half-way, the window comes back.
TEST_F(ControlWindow, FadesSlowlyWhenLeftAndFastWhenToggled)
{
    UserDefaults::setFloat(1.0f, kSecondsToShowWindow);
    open();
    ASSERT_TRUE(apptest::waitUntil([&] { return faded(); }, 5000));
    EXPECT_EQ(controller->window()->windowOpacity(), 1.0);
    controller->window()->activateWindow();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->window()->isActiveWindow(); }, 3000));
    EXPECT_FALSE(controller->isHideTimerActive());
    QTest::keyClicks(field("_textFieldArtist"), QStringLiteral("x"));
    EXPECT_FALSE(controller->isHideTimerActive());
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->moveOutEffect() != nullptr; }, 6000));
    EXPECT_NEAR(controller->moveOutEffect()->transparencyChangeIncrement(), 1.0f / 40.0f, 1e-6);
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->window()->isVisible(); }, 8000));
    EXPECT_EQ(controller->moveOutEffect(), nullptr);

    UserDefaults::setFloat(8.0f, kSecondsToShowWindow);
    PreferenceNotifier::defaultCenter().postNotificationName(kNotification_WindowShowParametersChangedKey);
    controller->toggleWindowVisibility();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->isWindowVisible() && faded(); }, 5000));
    controller->toggleWindowVisibility();
    EXPECT_FALSE(controller->isHideTimerActive());
    ASSERT_NE(controller->moveOutEffect(), nullptr);
    EXPECT_NEAR(controller->moveOutEffect()->transparencyChangeIncrement(), 0.1f, 1e-6);
    controller->toggleWindowVisibility();
    ASSERT_NE(controller->moveInEffect(), nullptr);
    apptest::spinEvents(1);
    EXPECT_EQ(controller->moveOutEffect(), nullptr);
    ASSERT_TRUE(apptest::waitUntil([&] { return faded(); }, 5000));
    controller->toggleWindowVisibility();
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->window()->isVisible(); }, 5000));
    controller->toggleWindowVisibility();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->isWindowVisible() && controller->isHideTimerActive(); }));
}

// Row: the test file and the image's name in the temporary folder → the status, and whether the
// artwork (as JPEG) went into the file, else the file stays byte for byte.
TEST_F(ControlWindow, ArtworkFromATemporaryImageFileGoesIntoTheTrack)
{
    const TemporaryImage image;
    const struct {
        const char *testFile;
        QString name;
        MediaFileStatus status;
    } rows[] = {
        {nullptr, image.name, 0},
        {nullptr, QStringLiteral("../etc/passwd"), kMediaFileErrBadPath},
        {nullptr, QStringLiteral("no-such-file.png"), kMediaFileErrBadPath},
        {"comm-zlib-damaged.mp3", image.name, kMediaFileErrBadFrame},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name.toStdString());
        freshRow(row.testFile);
        const QByteArray bytes = readAll(track);
        open();
        EXPECT_EQ(controller->setArtworkFromFileAtPath(row.name), row.status);
        if (row.status != 0) {
            EXPECT_TRUE(readAll(track) == bytes);
            continue;
        }
        MediaFileRef ref = nullptr;
        ASSERT_EQ(MediaFileOpen(track.toUtf8().constData(), &ref, 0), 0);
        void *data = nullptr;
        size_t length = 0;
        EXPECT_EQ(MediaFileGetData(ref, kMediaFileDataIDArtwork, &data, &length), 0);
        EXPECT_TRUE(length > 2 && static_cast<unsigned char *>(data)[0] == 0xFF);
        free(data);
        MediaFileClose(ref);
    }
}

// A keyboard user's window. Row: where the focus is, the key (Tab pressed until the focus comes
// round) → the player commands, whether the window hides or asks to quit, what the field shows.
TEST_F(ControlWindow, KeyboardReachesEveryControlAndItsShortcuts)
{
    const QStringList everyControl{"_buttonPrevious", "_buttonPlayPause", "_buttonStop", "_buttonNext",
                                   "_buttonDismiss",  "_buttonMenu",      "_textFieldArtist", "_textFieldAlbum"};
    const struct {
        const char *situation;
        const char *focus;
        QKeyCombination key;
        const char *typed;
        QStringList commands;
        bool hides;
        bool quits;
        const char *fieldAfter;
    } rows[] = {
        {"Tab comes round every control", "_textFieldArtist", Qt::Key_Tab, "", {}, false, false, nullptr},
        {"Space on a button plays or pauses", "_buttonNext", Qt::Key_Space, "", {"playPause"}, false, false, nullptr},
        {"Space in a text field is text", "_textFieldArtist", Qt::Key_Space, "x", {}, false, false, "x "},
        {"Escape hides", "_buttonStop", Qt::Key_Escape, "", {}, true, false, nullptr},
        {"Escape in an edited field reverts it and stays", "_textFieldAlbum", Qt::Key_Escape, "Typo", {}, false, false,
         "Demo Flight"},
        {"Ctrl+Q quits", "_textFieldArtist", Qt::CTRL | Qt::Key_Q, "", {}, false, true, nullptr},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.situation);
        open();
        controller->window()->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(controller->window()));
        ASSERT_TRUE(apptest::waitUntil([&] { return faded(); }));
        QSignalSpy quit(controller.get(), &ControlWindowController::quitRequested);
        QWidget *focus = child(row.focus);
        focus->setFocus(Qt::TabFocusReason);
        QTest::keyClicks(focus, QLatin1String(row.typed));
        player->log.clear();
        if (row.key == QKeyCombination(Qt::Key_Tab)) {
            QStringList reached;
            for (int i = 0; i < 40; ++i) {
                QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
                QWidget *now = QApplication::focusWidget();
                // An editable box's line edit speaks for its box.
                QWidget *control = qobject_cast<QComboBox *>(now->parentWidget()) ? now->parentWidget() : now;
                reached << control->objectName();
                EXPECT_FALSE(control->accessibleName().isEmpty()) << control->objectName().toStdString();
            }
            for (const QString &name : everyControl)
                EXPECT_TRUE(reached.contains(name)) << name.toStdString();
        } else {
            QTest::keyClick(QApplication::focusWidget(), row.key.key(), row.key.keyboardModifiers());
        }
        apptest::spinEvents(50);
        EXPECT_EQ(player->commands(), row.commands);
        EXPECT_EQ(controller->moveOutEffect() != nullptr, row.hides);
        EXPECT_EQ(quit.size(), row.quits ? 1 : 0);
        if (row.fieldAfter) {
            EXPECT_EQ(qobject_cast<QLineEdit *>(focus)->text(), QLatin1String(row.fieldAfter));
        }
        controller.reset();
    }
}

// The same window through the real player bridge, on its own thread as in the application, with
// the fake MPRIS player of the album's first track on the private bus.
class MprisWindow : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!apptest::privateBusRunning())
            GTEST_SKIP() << "no dbus-daemon for a private bus";
        apptest::resetSettings();
        QJsonArray tracks;
        for (int i = 0; i < 3; ++i) {
            paths << apptest::copyDemoTrack(kFiles[i], folder.path());
            tracks.append(apptest::trackEntry(QStringLiteral("/t/%1").arg(i), kFiles[i].mid(3).chopped(4),
                                              QStringLiteral("The Kestrabel Ensemble"), QStringLiteral("Demo Flight"),
                                              QStringLiteral("Ambient"), paths[i]));
        }
        fake = std::make_unique<apptest::FakePlayer>(
            QStringLiteral("fake"), QJsonObject{{"identity", "Fake Player"}, {"status", "Playing"}, {"trackList", true},
                                                {"current", 0}, {"tracks", tracks}});
        ASSERT_TRUE(fake->ready());
        player = player::createPlayerConnection();
        ASSERT_TRUE(apptest::waitUntil([&] { return player->isRunning(); }));
        controller = std::make_unique<ControlWindowController>(*player, nullptr, true);
        controller->showWindow();
        ASSERT_TRUE(apptest::waitUntil([&] { return title()->text() == QLatin1String("Hovering"); }));
        fake->clearCalls();
    }
    void TearDown() override
    {
        controller.reset();
        player.reset();
        fake.reset();
    }
    QLineEdit *title() const { return controller->window()->findChild<QLineEdit *>(QStringLiteral("_textFieldTitle")); }
    QString image(const char *name) const
    {
        return controller->window()->findChild<QWidget *>(QLatin1String(name))->property("imageName").toString();
    }

    const QStringList kFiles{"01 Hovering.mp3", "02 Stoop.mp3", "03 Thermal.mp3"};
    QTemporaryDir folder;
    QStringList paths;
    std::unique_ptr<apptest::FakePlayer> fake;
    std::unique_ptr<player::PlayerConnection> player;
    std::unique_ptr<ControlWindowController> controller;
};

// An edit pauses, writes and resumes that player, in that order; the bridge reads the file's own
// tags, so the next update shows the new title.
TEST_F(MprisWindow, TitleEditPausesWritesAndResumesThePlayer)
{
    title()->selectAll();
    QTest::keyClicks(title(), QStringLiteral("Hovering, Edited"));
    QTest::keyClick(title(), Qt::Key_Return);
    ASSERT_TRUE(fake->waitForCall(QStringLiteral("Play")));
    EXPECT_EQ(apptest::fileTag(paths[0], kMediaFileDataIDTitle), QStringLiteral("Hovering, Edited"));
    // Only the player's own methods, in order: property reads and the control channel left out.
    const QRegularExpression command(QStringLiteral("^(Play|Pause|PlayPause|Stop|Next|Previous|GoTo|OpenUri|Set)\\b"));
    EXPECT_EQ(fake->calls().filter(command), (QStringList{QStringLiteral("Pause"), QStringLiteral("Play")}));
    controller->updateDisplayFromiTunes(false);
    EXPECT_TRUE(apptest::waitUntil([&] { return controller->cachedTitle() == QLatin1String("Hovering, Edited"); }));
}

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
    EXPECT_TRUE(apptest::waitUntil([&] { return image("_imageView") == QLatin1String("notplaying"); }));
    fake->resume();
    EXPECT_TRUE(apptest::waitUntil([&] { return title()->text() == QLatin1String("Hovering"); }));
    fake->vanish();
    ASSERT_TRUE(apptest::waitUntil([&] { return image("_imageView") == QLatin1String("notplaying"); }));
    EXPECT_FALSE(title()->isEnabled());
    EXPECT_TRUE(apptest::waitUntil([&] { return image("_buttonPlayPause") == QLatin1String("play_button"); }));
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
    } rows[] = {{false, 1, {}}, {true, 2, {"Thermal"}}};
    for (const auto &row : rows) {
        UserDefaults::setBool(row.wanted, QLatin1String(kNotifyOnTrackChangeKey));
        ASSERT_TRUE(fake->script({{QStringLiteral("current"), row.current}}));
        ASSERT_TRUE(apptest::waitUntil([&] { return title()->text() == kFiles[row.current].mid(3).chopped(4); }));
        apptest::spinEvents(200);
        EXPECT_EQ(server.summaries, row.summaries) << row.wanted;
    }
    bus.unregisterService(QStringLiteral("org.freedesktop.Notifications"));
    bus.unregisterObject(QStringLiteral("/org/freedesktop/Notifications"));
}

} // namespace
