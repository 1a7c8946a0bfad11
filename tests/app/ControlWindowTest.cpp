// The control window's rules against a scripted player: the display update and its change
// detection, the track choosers, editing into the file, the genre choice, rating, transport, the
// hide timer and the hot-key settings.
#include "AppTestSupport.h"
#include "ScriptedPlayer.h"

#include "ControlWindowController.h"
#include "GenreComboBox.h"
#include "Preferences.h"
#include "RatingControl.h"

#include <kestrabel/MediaFile.h>

#include <QApplication>
#include <QBuffer>
#include <functional>
#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::app;
using apptest::ScriptedPlayer;

namespace {

QByteArray pngBytes()
{
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(QColor(20, 120, 200));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

class ControlWindow : public ::testing::Test {
protected:
    void SetUp() override
    {
        apptest::resetSettings();
        ControlWindowController::setJustEdited(false);
        ASSERT_TRUE(folder.isValid());
        track = apptest::copyDemoTrack(QStringLiteral("01 Hovering.mp3"), folder.path());
        ASSERT_FALSE(track.isEmpty());
        player.path = track;
    }

    ControlWindowController &open()
    {
        controller = std::make_unique<ControlWindowController>(player);
        controller->showWindow();
        return *controller;
    }

    template <typename T> T *child(const char *name) const
    {
        T *widget = controller->window()->findChild<T *>(QLatin1String(name));
        EXPECT_NE(widget, nullptr) << name;
        return widget;
    }
    QLineEdit *titleField() const { return child<QLineEdit>("_textFieldTitle"); }
    QLineEdit *artistField() const { return child<QLineEdit>("_textFieldArtist"); }
    QLineEdit *albumField() const { return child<QLineEdit>("_textFieldAlbum"); }
    GenreComboBox *genreBox() const { return child<GenreComboBox>("_comboBoxGenre"); }
    QComboBox *titleBox() const { return child<QComboBox>("_comboBoxAlbumTracks"); }
    QComboBox *popUp() const { return child<QComboBox>("_popUpButtonAlbumTracks"); }
    QLabel *artwork() const { return child<QLabel>("_imageView"); }
    QStringList items(QComboBox *box) const
    {
        QStringList texts;
        for (int i = 0; i < box->count(); ++i)
            texts << box->itemText(i);
        return texts;
    }

    // What a user does: replace the text, press Return.
    static void typeInto(QLineEdit *field, const QString &text)
    {
        field->selectAll();
        QTest::keyClicks(field, text);
        QTest::keyClick(field, Qt::Key_Return);
    }

    void chooseInTitleBox(int index)
    {
        titleBox()->setCurrentIndex(index);
        emit titleBox()->activated(index);
    }

    QString fileTitle() const { return apptest::fileTag(track, kMediaFileDataIDTitle); }

    // A new row of a table: an untouched copy of the track and the player's first answers.
    void freshRow()
    {
        controller.reset();
        QFile::remove(track);
        track = apptest::copyDemoTrack(QStringLiteral("01 Hovering.mp3"), folder.path());
        player.reset(track);
        ControlWindowController::setJustEdited(false);
    }

    QTemporaryDir folder;
    QString track;
    ScriptedPlayer player;
    std::unique_ptr<ControlWindowController> controller;
};

using PlayerChange = std::function<void(ScriptedPlayer &)>;

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
        {"the current track", [](ScriptedPlayer &p) { p.artwork = pngBytes(); }, {}, false,
         {"Hovering", "The Kestrabel Ensemble", "Demo Flight", "Ambient"}, ""},
        {"missing values", [](ScriptedPlayer &p) {
             p.title = QLatin1String("");
             p.artist = p.album = QString();
             p.genre = QLatin1String("");
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
            row.before(player);
        open();
        if (row.after) {
            row.after(player);
            if (row.announced)
                emit player.notifier().trackChanged();
            else
                controller->updateDisplayFromiTunes(false);
        }
        const QStringList shown{titleField()->text(), artistField()->text(), albumField()->text(),
                                genreBox()->currentText()};
        EXPECT_EQ(shown, row.shown);
        EXPECT_EQ(artwork()->property("imageName").toString(), QLatin1String(row.image));
        if (*row.image != 'n') {
            EXPECT_EQ(artwork()->frameStyle(), *row.image ? int(QFrame::Panel | QFrame::Sunken) : int(QFrame::NoFrame));
        }
        EXPECT_EQ(titleField()->isEnabled(), player.running);
        EXPECT_EQ(popUp()->isEnabled(), player.running);
        EXPECT_EQ(child<QPushButton>("_buttonSubmit")->isEnabled(), player.running);
        EXPECT_TRUE(controller->isDisplayUpdateTimerActive());
    }
    // The length comes from the file, the rating and the button's image from the player.
    EXPECT_EQ(child<QLabel>("_textFieldLength")->text(), QStringLiteral("0:12"));
    EXPECT_EQ(child<RatingControl>("_indicatorRating")->value(), 40);
    EXPECT_EQ(child<QToolButton>("_buttonPlayPause")->property("imageName").toString(), QStringLiteral("pause_button"));
    player.playing = false;
    emit player.notifier().playbackChanged(false);
    EXPECT_EQ(child<QToolButton>("_buttonPlayPause")->property("imageName").toString(), QStringLiteral("play_button"));
}

// Both track choosers. Row: the album's track list → what they offer (the title first when the
// list lacks it).
TEST_F(ControlWindow, ChoosersHoldTheAlbumWithTheTitle)
{
    const struct {
        QStringList albumTracks;
        QStringList offered;
        QStringList cached;
    } rows[] = {
        {{"Hovering", "Stoop", "Thermal"}, {"Hovering", "Stoop", "Thermal"}, {"Hovering", "Stoop", "Thermal"}},
        {{"Stoop", "Thermal"}, {"Hovering", "Stoop", "Thermal"}, {"Hovering", "Stoop", "Thermal"}},
        {{}, {"Hovering"}, {}},
    };
    for (const auto &row : rows) {
        player.albumTracks = row.albumTracks;
        open();
        EXPECT_EQ(items(popUp()), row.offered);
        EXPECT_EQ(items(titleBox()), row.offered);
        EXPECT_EQ(popUp()->currentText(), QStringLiteral("Hovering"));
        EXPECT_EQ(controller->cachedAlbumSongs(), row.cached);
    }
    // Same album, another track: nothing is fetched, the title is selected.
    freshRow();
    open();
    player.log.clear();
    player.title = QStringLiteral("Stoop");
    controller->updateDisplayFromiTunes(false);
    EXPECT_TRUE(player.log.isEmpty());
    EXPECT_EQ(popUp()->currentText(), QStringLiteral("Stoop"));
    // A missing album counts as a new one every time.
    player.album = QString();
    controller->updateDisplayFromiTunes(false);
    controller->updateDisplayFromiTunes(false);
    EXPECT_EQ(player.log, (QStringList{"albumTracks", "albumTracks"}));
}

// Typing into a field. Row: the player's state, the field and the text → the file's value, the
// player's commands, and whether the edit counts as done.
TEST_F(ControlWindow, EditsGoIntoTheFileAroundAPause)
{
    const QStringList pauseAndPlay{"pause", "play"};
    const struct {
        const char *situation;
        PlayerChange before;
        const char *field;
        const char *typed;
        int dataID;
        const char *inFile;
        QStringList commands;
        bool edited;
    } rows[] = {
        {"title while playing", {}, "_textFieldTitle", "Hovering Again", kMediaFileDataIDTitle, "Hovering Again",
         pauseAndPlay, true},
        {"artist while paused", [](ScriptedPlayer &p) { p.playing = false; }, "_textFieldArtist", "New Artist",
         kMediaFileDataIDArtist, "New Artist", {}, true},
        {"letter case only", {}, "_textFieldTitle", "HOVERING", kMediaFileDataIDTitle, "HOVERING", pauseAndPlay, true},
        {"album alone", {}, "_textFieldAlbum", "Second Flight", kMediaFileDataIDAlbum, "Second Flight", pauseAndPlay,
         true},
        {"genre typed", {}, "_comboBoxGenre", "Chiptune", kMediaFileDataIDGenre, "Chiptune", pauseAndPlay, true},
        {"unchanged text", {}, "_textFieldTitle", "Hovering", kMediaFileDataIDTitle, "Hovering", {}, false},
        {"empty title", {}, "_textFieldTitle", "", kMediaFileDataIDTitle, "Hovering", pauseAndPlay, true},
        {"no file", [](ScriptedPlayer &p) { p.path = QString(); }, "_textFieldTitle", "Lost", kMediaFileDataIDTitle,
         "Hovering", pauseAndPlay, false},
        {"file gone", [](ScriptedPlayer &p) { p.path += QLatin1String(".gone"); }, "_textFieldTitle", "Lost",
         kMediaFileDataIDTitle, "Hovering", pauseAndPlay, false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.situation);
        freshRow();
        if (row.before)
            row.before(player);
        open();
        player.log.clear();
        QWidget *field = child<QWidget>(row.field);
        auto *edit = qobject_cast<QComboBox *>(field) ? qobject_cast<QComboBox *>(field)->lineEdit()
                                                      : qobject_cast<QLineEdit *>(field);
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Delete);
        QTest::keyClicks(edit, QLatin1String(row.typed));
        QTest::keyClick(edit, Qt::Key_Return);
        EXPECT_EQ(apptest::fileTag(track, row.dataID), QLatin1String(row.inFile));
        EXPECT_EQ(player.commands(), row.commands);
        EXPECT_EQ(ControlWindowController::justEdited(), row.edited);
        if (row.dataID != kMediaFileDataIDTitle) {
            EXPECT_EQ(fileTitle(), QStringLiteral("Hovering"));
        }
    }
    // Text the program sets is no edit.
    player.log.clear();
    titleField()->setText(QStringLiteral("Set By The Program"));
    titleField()->clearFocus();
    EXPECT_TRUE(player.commands().isEmpty());
}

// Choices from the lists. Row: what is chosen → the commands and the file's genre.
TEST_F(ControlWindow, ChoicesPlayTheTrackOrWriteTheGenre)
{
    const struct {
        const char *situation;
        bool justEdited;
        PlayerChange before;
        std::function<void()> choose;
        QStringList commands;
        const char *genreInFile;
    } rows[] = {
        {"title box", false, {}, [this] { chooseInTitleBox(2); }, {"playTrackNamed Thermal"}, "Ambient"},
        {"title box right after an edit", true, {}, [this] { chooseInTitleBox(1); }, {}, "Ambient"},
        {"title box right after an edit, twice", true, {}, [this] {
             chooseInTitleBox(1);
             chooseInTitleBox(2);
         }, {"playTrackNamed Thermal"}, "Ambient"},
        {"pop-up right after an edit", true, {}, [this] {
             popUp()->setCurrentIndex(1);
             emit popUp()->activated(1);
         }, {"playTrackNamed Stoop"}, "Ambient"},
        {"genre while paused", false, [](ScriptedPlayer &p) { p.playing = false; }, [this] {
             genreBox()->setStringValue(QStringLiteral("Jazz"));
             emit genreBox()->activated(genreBox()->currentIndex());
         }, {"pause", "play"}, "Jazz"},
        {"genre without a file", false, [](ScriptedPlayer &p) { p.path = QString(); }, [this] {
             genreBox()->setStringValue(QStringLiteral("Jazz"));
             emit genreBox()->activated(genreBox()->currentIndex());
         }, {"pause"}, "Ambient"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.situation);
        freshRow();
        open();
        if (row.before)
            row.before(player);
        ControlWindowController::setJustEdited(row.justEdited);
        player.log.clear();
        row.choose();
        EXPECT_EQ(player.commands(), row.commands);
        EXPECT_EQ(apptest::fileTag(track, kMediaFileDataIDGenre), QLatin1String(row.genreInFile));
    }
}

TEST_F(ControlWindow, RatingIsSentOnceTheClickIsHandledAndOnlyWhereThePlayerTakesIt)
{
    for (const bool canRate : {true, false}) {
        freshRow();
        player.canRate = canRate;
        open();
        auto *stars = child<RatingControl>("_indicatorRating");
        EXPECT_EQ(stars->isReadOnly(), !canRate);
        player.log.clear();
        const QPoint fourthStar(3 * stars->sizeHint().width() / 5 + 5, stars->height() / 2);
        QTest::mouseClick(stars, Qt::LeftButton, {}, fourthStar);
        EXPECT_TRUE(player.commands().isEmpty());
        if (!canRate) {
            apptest::spinEvents(50);
            EXPECT_TRUE(player.commands().isEmpty());
            EXPECT_EQ(stars->value(), 40);
            continue;
        }
        EXPECT_EQ(stars->value(), 80);
        ASSERT_TRUE(apptest::waitUntil([&] { return !player.commands().isEmpty(); }, 2000));
        // The star of the current rating takes it back to none.
        QTest::mouseClick(stars, Qt::LeftButton, {}, fourthStar);
        ASSERT_TRUE(apptest::waitUntil([&] { return player.commands().size() == 2; }, 2000));
        EXPECT_EQ(player.commands(), (QStringList{"rating 80", "rating 0"}));
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
        player.running = row.running;
        player.launchWorks = row.launchWorks;
        open();
        player.log.clear();
        player.title = QStringLiteral("Stoop");
        child<QToolButton>(row.button)->click();
        EXPECT_EQ(player.commands(), row.commands);
        if (row.titleAfter) {
            EXPECT_EQ(titleField()->text(), QLatin1String(row.titleAfter));
        }
    }
}

// Row: the show style and the seconds stored → the seconds used (and stored back) and the hide
// timer.
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
        UserDefaults::setInteger(row.style, kWindowShowStyle);
        UserDefaults::setFloat(row.stored, kSecondsToShowWindow);
        PreferenceNotifier::defaultCenter().postNotificationName(kNotification_WindowShowParametersChangedKey);
        EXPECT_FLOAT_EQ(controller->showWindowForSeconds(), row.used) << row.stored;
        EXPECT_FLOAT_EQ(UserDefaults::floatForKey(kSecondsToShowWindow), row.used) << row.stored;
        EXPECT_EQ(controller->isHideTimerActive(), row.timer) << row.stored;
        if (row.timer) {
            EXPECT_EQ(controller->hideTimerInterval(), int(row.used * 1000));
        }
        // Nothing but the timer's own end hides a window that never hides.
        controller->windowDidResignKey();
        controller->controlTextDidChange(titleField());
        EXPECT_EQ(controller->isHideTimerActive(), row.timer);
    }
}

TEST_F(ControlWindow, TheKeyWindowStaysAndTheOthersFadeOutSlowly)
{
    UserDefaults::setFloat(1.0f, kSecondsToShowWindow);
    open();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->moveInEffect() == nullptr; }, 5000));
    EXPECT_EQ(controller->window()->windowOpacity(), 1.0);
    controller->window()->activateWindow();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->window()->isActiveWindow(); }, 3000));
    EXPECT_FALSE(controller->isHideTimerActive());
    controller->stopTimeToHideDisplayTimer();
    QTest::keyClicks(artistField(), QStringLiteral("x"));
    EXPECT_FALSE(controller->isHideTimerActive());

    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->window()->isActiveWindow(); }, 3000));
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->moveOutEffect() != nullptr; }, 6000));
    EXPECT_NEAR(controller->moveOutEffect()->transparencyChangeIncrement(), 1.0f / 40.0f, 1e-6);
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->window()->isVisible(); }, 8000));
    EXPECT_EQ(controller->moveOutEffect(), nullptr);
}

TEST_F(ControlWindow, ToggleFadesFastOutAndInAndTurnsAFadeOutBack)
{
    open();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->moveInEffect() == nullptr; }, 5000));
    controller->toggleWindowVisibility();
    EXPECT_FALSE(controller->isHideTimerActive());
    ASSERT_NE(controller->moveOutEffect(), nullptr);
    EXPECT_NEAR(controller->moveOutEffect()->transparencyChangeIncrement(), 0.1f, 1e-6);
    // Toggled again half-way: the window comes back.
    controller->toggleWindowVisibility();
    ASSERT_NE(controller->moveInEffect(), nullptr);
    apptest::spinEvents(1);
    EXPECT_EQ(controller->moveOutEffect(), nullptr);
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->moveInEffect() == nullptr; }, 5000));
    controller->toggleWindowVisibility();
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->window()->isVisible(); }, 5000));
    controller->toggleWindowVisibility();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->isWindowVisible() && controller->isHideTimerActive(); }));
}

TEST_F(ControlWindow, ArtworkFromATemporaryImageFileGoesIntoTheTrack)
{
    open();
    const QString name = QStringLiteral("kestrabel-test-art-%1.png").arg(QCoreApplication::applicationPid());
    QImage(16, 16, QImage::Format_RGB32).save(QDir::temp().filePath(name), "PNG");
    EXPECT_EQ(controller->setArtworkFromFileAtPath(name), 0);
    QFile::remove(QDir::temp().filePath(name));
    MediaFileRef ref = nullptr;
    ASSERT_EQ(MediaFileOpen(track.toUtf8().constData(), &ref, 0), 0);
    void *bytes = nullptr;
    size_t length = 0;
    EXPECT_EQ(MediaFileGetData(ref, kMediaFileDataIDArtwork, &bytes, &length), 0);
    ASSERT_GT(length, 2u);
    EXPECT_EQ(static_cast<unsigned char *>(bytes)[0], 0xFF);
    free(bytes);
    MediaFileClose(ref);
    EXPECT_EQ(controller->setArtworkFromFileAtPath(QStringLiteral("../etc/passwd")), kMediaFileErrBadPath);
    EXPECT_EQ(controller->setArtworkFromFileAtPath(QStringLiteral("no-such-file.png")), kMediaFileErrBadPath);
}

// A tag read only in part (a damaged compressed frame) would lose the rest on a save: neither a
// title edit nor new artwork is saved, and the artwork call answers the reader's status.
TEST_F(ControlWindow, AFileWhoseTagCouldNotBeReadWholeIsNotSaved)
{
    track = folder.filePath(QStringLiteral("damaged.mp3"));
    ASSERT_TRUE(QFile::copy(QStringLiteral(KESTRABEL_TEST_DATA "/comm-zlib-damaged.mp3"), track));
    QFile::setPermissions(track, QFile::ReadOwner | QFile::WriteOwner);
    QFile original(track);
    ASSERT_TRUE(original.open(QIODevice::ReadOnly));
    const QByteArray before = original.readAll();
    original.close();
    player.path = track;
    open();
    typeInto(titleField(), QStringLiteral("New Title"));
    const QString name = QStringLiteral("kestrabel-test-damaged-%1.png").arg(QCoreApplication::applicationPid());
    QImage(16, 16, QImage::Format_RGB32).save(QDir::temp().filePath(name), "PNG");
    EXPECT_EQ(controller->setArtworkFromFileAtPath(name), kMediaFileErrBadFrame);
    QFile::remove(QDir::temp().filePath(name));
    ASSERT_TRUE(original.open(QIODevice::ReadOnly));
    EXPECT_TRUE(original.readAll() == before) << "the file must stay byte for byte";
}

// The window edits through the interop profile: a tag behind a v2.4 extended header, which the
// classic rules cannot see (and so would save over), keeps its other frames.
TEST_F(ControlWindow, EditsKeepWhatOtherTaggersWrote)
{
    track = folder.filePath(QStringLiteral("ext-header.mp3"));
    ASSERT_TRUE(QFile::copy(QStringLiteral(KESTRABEL_TEST_DATA "/interop/v24-ext-header.mp3"), track));
    QFile::setPermissions(track, QFile::ReadOwner | QFile::WriteOwner);
    player.path = track;
    open();
    typeInto(titleField(), QStringLiteral("New Title"));
    EXPECT_EQ(fileTitle(), QStringLiteral("New Title"));
    EXPECT_EQ(apptest::fileTag(track, kMediaFileDataIDArtist), QStringLiteral("Artist"));
}

// A keyboard user's window. Row: where the focus is, the key (Tab pressed until the focus comes
// round) → the player commands, whether the window hides or asks to quit, what the field shows.
struct KeyCase {
    const char *situation;
    const char *focus;
    QKeyCombination key;
    // Typed into the focused field before the key.
    const char *typed;
    QStringList commands;
    bool hides;
    bool quits;
    const char *fieldAfter;
};

TEST_F(ControlWindow, KeyboardReachesEveryControlAndItsShortcuts)
{
    const QStringList everyControl{"_buttonPrevious", "_buttonPlayPause", "_buttonStop", "_buttonNext",
                                   "_buttonDismiss",  "_buttonMenu",      "_textFieldArtist", "_textFieldAlbum"};
    const KeyCase rows[] = {
        {"Tab comes round every control", "_textFieldArtist", Qt::Key_Tab, "", {}, false, false, nullptr},
        {"Space on a button plays or pauses", "_buttonNext", Qt::Key_Space, "", {"playPause"}, false, false, nullptr},
        {"Space in a text field is text", "_textFieldArtist", Qt::Key_Space, "x", {}, false, false, "x "},
        {"Escape hides", "_buttonStop", Qt::Key_Escape, "", {}, true, false, nullptr},
        {"Escape in an edited field reverts it and stays", "_textFieldAlbum", Qt::Key_Escape, "Typo", {}, false, false,
         "Demo Flight"},
        {"Ctrl+Q quits", "_textFieldArtist", Qt::CTRL | Qt::Key_Q, "", {}, false, true, nullptr},
    };
    for (const KeyCase &row : rows) {
        SCOPED_TRACE(row.situation);
        open();
        QWidget *window = controller->window();
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
        ASSERT_TRUE(apptest::waitUntil([&] { return controller->moveInEffect() == nullptr; }));
        QSignalSpy quit(controller.get(), &ControlWindowController::quitRequested);
        auto *focus = child<QWidget>(row.focus);
        focus->setFocus(Qt::TabFocusReason);
        if (*row.typed)
            QTest::keyClicks(focus, QLatin1String(row.typed));
        player.log.clear();

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
        EXPECT_EQ(player.commands(), row.commands);
        EXPECT_EQ(controller->moveOutEffect() != nullptr, row.hides);
        EXPECT_EQ(quit.size(), row.quits ? 1 : 0);
        if (row.fieldAfter) {
            EXPECT_EQ(qobject_cast<QLineEdit *>(focus)->text(), QLatin1String(row.fieldAfter));
        }
        controller.reset();
    }
}

} // namespace
