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

#include <QBuffer>
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

    QTemporaryDir folder;
    QString track;
    ScriptedPlayer player;
    std::unique_ptr<ControlWindowController> controller;
};

TEST_F(ControlWindow, ShowsTheCurrentTrack)
{
    player.artwork = pngBytes();
    player.rating = 60;
    open();
    EXPECT_EQ(titleField()->text(), QStringLiteral("Hovering"));
    EXPECT_EQ(artistField()->text(), QStringLiteral("The Kestrabel Ensemble"));
    EXPECT_EQ(albumField()->text(), QStringLiteral("Demo Flight"));
    EXPECT_EQ(child<QLabel>("_textFieldLength")->text(), QStringLiteral("0:12")) << "12.06 s, from the file";
    EXPECT_EQ(genreBox()->currentText(), QStringLiteral("Ambient"));
    EXPECT_EQ(artwork()->property("imageName").toString(), QString());
    EXPECT_FALSE(artwork()->pixmap().isNull());
    EXPECT_EQ(artwork()->frameStyle(), int(QFrame::NoFrame));
    EXPECT_EQ(child<RatingControl>("_indicatorRating")->value(), 60);
    EXPECT_FALSE(child<RatingControl>("_indicatorRating")->isReadOnly());
    EXPECT_EQ(child<QToolButton>("_buttonPlayPause")->property("imageName").toString(), QStringLiteral("pause_button"));
    EXPECT_TRUE(child<QPushButton>("_buttonSubmit")->isEnabled());
    EXPECT_TRUE(titleField()->isEnabled());
    EXPECT_TRUE(controller->isDisplayUpdateTimerActive());
    EXPECT_EQ(controller->shownTrack(), (QStringList{QStringLiteral("Hovering"), QStringLiteral("The Kestrabel Ensemble"),
                                                     QStringLiteral("Demo Flight"), QStringLiteral("Ambient")}));
    // The track was new, so the window fades in, fast at start-up.
    ASSERT_NE(controller->moveInEffect(), nullptr);
    EXPECT_FLOAT_EQ(controller->moveInEffect()->transparencyChangeIncrement(), 0.1f);
    EXPECT_TRUE(apptest::waitUntil([&] { return controller->window()->windowOpacity() == 1.0; }, 5000));
}

TEST_F(ControlWindow, MissingValuesShowPlaceholdersAndTheMissingArtImage)
{
    player.title = QString(QLatin1String(""));
    player.artist = QString();
    player.album = QString();
    player.genre = QString(QLatin1String(""));
    player.artwork = QByteArray("not an image");
    open();
    EXPECT_EQ(titleField()->text(), QStringLiteral("<unknown title>"));
    EXPECT_EQ(artistField()->text(), QStringLiteral("<unknown artist>"));
    EXPECT_EQ(albumField()->text(), QStringLiteral("<unknown album>"));
    EXPECT_EQ(genreBox()->currentText(), QStringLiteral("<unknown genre>"));
    EXPECT_EQ(artwork()->property("imageName").toString(), QStringLiteral("missingArt"));
    EXPECT_EQ(artwork()->frameStyle(), int(QFrame::Panel | QFrame::Sunken));
}

TEST_F(ControlWindow, NoPlayerClearsTheDisplayAndKeepsPolling)
{
    open();
    player.running = false;
    controller->updateDisplayFromiTunes(false);
    EXPECT_EQ(artwork()->property("imageName").toString(), QStringLiteral("notplaying"));
    for (QLineEdit *field : {titleField(), artistField(), albumField()}) {
        EXPECT_TRUE(field->text().isEmpty());
        EXPECT_FALSE(field->isEnabled());
    }
    EXPECT_EQ(popUp()->count(), 0);
    EXPECT_FALSE(popUp()->isEnabled());
    EXPECT_FALSE(titleBox()->isEnabled());
    EXPECT_FALSE(child<QPushButton>("_buttonSubmit")->isEnabled());
    EXPECT_TRUE(controller->isDisplayUpdateTimerActive());

    // The same track coming back fills the display again.
    player.running = true;
    controller->updateDisplayFromiTunes(false);
    EXPECT_EQ(titleField()->text(), QStringLiteral("Hovering"));
    EXPECT_TRUE(titleField()->isEnabled());
}

TEST_F(ControlWindow, ChangesOnlyInLetterCaseAreNotSeenByTheDisplay)
{
    open();
    player.title = QStringLiteral("HOVERING");
    player.artist = QStringLiteral("the kestrabel ensemble");
    player.album = QStringLiteral("DEMO flight");
    controller->updateDisplayFromiTunes(false);
    EXPECT_EQ(titleField()->text(), QStringLiteral("Hovering"));
    EXPECT_EQ(albumField()->text(), QStringLiteral("Demo Flight"));
    EXPECT_EQ(controller->cachedTitle(), QStringLiteral("Hovering"));

    player.artist = QStringLiteral("Somebody Else");
    controller->updateDisplayFromiTunes(false);
    EXPECT_EQ(titleField()->text(), QStringLiteral("HOVERING"));
    EXPECT_EQ(artistField()->text(), QStringLiteral("Somebody Else"));
    // The album did not change ignoring case, so the field keeps its text.
    EXPECT_EQ(albumField()->text(), QStringLiteral("Demo Flight"));
}

TEST_F(ControlWindow, MissingAlbumCountsAsAChangeEveryTime)
{
    player.album = QString();
    open();
    player.log.clear();
    albumField()->setText(QStringLiteral("marker"));
    controller->updateDisplayFromiTunes(false);
    EXPECT_EQ(albumField()->text(), QStringLiteral("<unknown album>"));
    EXPECT_EQ(player.log, QStringList{QStringLiteral("albumTracks")});
}

TEST_F(ControlWindow, NewAlbumFillsBothChoosersWithItsTracks)
{
    open();
    const QStringList album{QStringLiteral("Hovering"), QStringLiteral("Stoop"), QStringLiteral("Thermal")};
    EXPECT_EQ(items(popUp()), album);
    EXPECT_EQ(items(titleBox()), album);
    EXPECT_EQ(popUp()->currentText(), QStringLiteral("Hovering"));
    EXPECT_EQ(controller->cachedAlbumSongs(), album);

    // Same album, another track: the list stays, the title is selected, nothing is fetched.
    player.log.clear();
    player.title = QStringLiteral("Thermal");
    controller->updateDisplayFromiTunes(false);
    EXPECT_TRUE(player.log.isEmpty());
    EXPECT_EQ(items(popUp()), album);
    EXPECT_EQ(popUp()->currentText(), QStringLiteral("Thermal"));
    EXPECT_EQ(titleField()->text(), QStringLiteral("Thermal"));
}

TEST_F(ControlWindow, TitleMissingFromTheAlbumListGoesOnTop)
{
    player.albumTracks = {QStringLiteral("Stoop"), QStringLiteral("Thermal")};
    open();
    const QStringList expected{QStringLiteral("Hovering"), QStringLiteral("Stoop"), QStringLiteral("Thermal")};
    EXPECT_EQ(items(popUp()), expected);
    EXPECT_EQ(items(titleBox()), expected);
    EXPECT_EQ(popUp()->currentIndex(), 0);
    EXPECT_EQ(controller->cachedAlbumSongs(), expected);
}

TEST_F(ControlWindow, EmptyAlbumListShowsTheTitleAlone)
{
    player.albumTracks = {};
    open();
    EXPECT_EQ(items(popUp()), QStringList{QStringLiteral("Hovering")});
    EXPECT_EQ(items(titleBox()), QStringList{QStringLiteral("Hovering")});
    EXPECT_TRUE(controller->cachedAlbumSongs().isEmpty());
}

TEST_F(ControlWindow, TrackChangeSignalUpdatesAtOnce)
{
    open();
    player.title = QStringLiteral("Stoop");
    emit player.notifier().trackChanged();
    EXPECT_EQ(titleField()->text(), QStringLiteral("Stoop"));
    player.playing = false;
    emit player.notifier().playbackChanged(false);
    EXPECT_EQ(child<QToolButton>("_buttonPlayPause")->property("imageName").toString(), QStringLiteral("play_button"));
}

TEST_F(ControlWindow, TitleEditPausesWritesTheFileAndPlaysAgain)
{
    open();
    player.log.clear();
    typeInto(titleField(), QStringLiteral("Hovering Again"));
    EXPECT_EQ(fileTitle(), QStringLiteral("Hovering Again"));
    EXPECT_EQ(apptest::fileTag(track, kMediaFileDataIDArtist), QStringLiteral("The Kestrabel Ensemble"));
    EXPECT_EQ(player.commands(), (QStringList{QStringLiteral("pause"), QStringLiteral("play")}));
    EXPECT_TRUE(ControlWindowController::justEdited());
    // The cache is left for the next update to refresh.
    EXPECT_EQ(controller->cachedTitle(), QStringLiteral("Hovering"));
}

TEST_F(ControlWindow, EditWhilePausedLeavesPlaybackAlone)
{
    player.playing = false;
    open();
    player.log.clear();
    typeInto(artistField(), QStringLiteral("New Artist"));
    EXPECT_EQ(apptest::fileTag(track, kMediaFileDataIDArtist), QStringLiteral("New Artist"));
    EXPECT_TRUE(player.commands().isEmpty());
}

TEST_F(ControlWindow, CaseOnlyEditIsWritten)
{
    open();
    typeInto(titleField(), QStringLiteral("HOVERING"));
    EXPECT_EQ(fileTitle(), QStringLiteral("HOVERING"));
}

TEST_F(ControlWindow, EachFieldWritesItsOwnValueOnly)
{
    open();
    typeInto(albumField(), QStringLiteral("Second Flight"));
    EXPECT_EQ(apptest::fileTag(track, kMediaFileDataIDAlbum), QStringLiteral("Second Flight"));
    EXPECT_EQ(fileTitle(), QStringLiteral("Hovering"));
    typeInto(genreBox()->lineEdit(), QStringLiteral("Chiptune"));
    EXPECT_EQ(apptest::fileTag(track, kMediaFileDataIDGenre), QStringLiteral("Chiptune"));
    EXPECT_EQ(apptest::fileTag(track, kMediaFileDataIDAlbum), QStringLiteral("Second Flight"));
}

TEST_F(ControlWindow, UnchangedTextOrProgramSetTextIsNoEdit)
{
    open();
    player.log.clear();
    typeInto(titleField(), QStringLiteral("Hovering"));
    titleField()->setText(QStringLiteral("Set By The Program"));
    titleField()->clearFocus();
    EXPECT_TRUE(player.commands().isEmpty());
    EXPECT_EQ(fileTitle(), QStringLiteral("Hovering"));
    EXPECT_FALSE(ControlWindowController::justEdited());
}

TEST_F(ControlWindow, EndingAnEditInTheTitleBoxItselfIsNoTitleChange)
{
    open();
    titleField()->setText(QStringLiteral("Typed Into The Box"));
    controller->controlTextDidEndEditing(titleBox());
    EXPECT_EQ(fileTitle(), QStringLiteral("Hovering"));
    controller->controlTextDidEndEditing(titleField());
    EXPECT_EQ(fileTitle(), QStringLiteral("Typed Into The Box"));
}

TEST_F(ControlWindow, EmptyTitleIsNeverWritten)
{
    open();
    titleField()->selectAll();
    QTest::keyClick(titleField(), Qt::Key_Delete);
    QTest::keyClick(titleField(), Qt::Key_Return);
    EXPECT_EQ(fileTitle(), QStringLiteral("Hovering"));
}

TEST_F(ControlWindow, TrackWithoutAReadableFileDropsTheEditButResumes)
{
    player.path = folder.filePath(QStringLiteral("gone.mp3"));
    open();
    EXPECT_EQ(child<QLabel>("_textFieldLength")->text(), QString()) << "no file, no length";
    for (const QString &path : {QString(), folder.filePath(QStringLiteral("gone.mp3"))}) {
        player.path = path;
        player.playing = true;
        player.log.clear();
        typeInto(titleField(), QStringLiteral("Lost %1").arg(path.size()));
        EXPECT_EQ(player.commands(), (QStringList{QStringLiteral("pause"), QStringLiteral("play")}));
        EXPECT_FALSE(ControlWindowController::justEdited());
    }
    EXPECT_EQ(fileTitle(), QStringLiteral("Hovering"));
}

TEST_F(ControlWindow, AfterAnEditTheNextTitleBoxChoiceIsSwallowed)
{
    open();
    typeInto(titleField(), QStringLiteral("Edited"));
    ASSERT_TRUE(ControlWindowController::justEdited());
    player.log.clear();
    chooseInTitleBox(1);
    EXPECT_TRUE(player.commands().isEmpty());
    EXPECT_FALSE(ControlWindowController::justEdited());
    chooseInTitleBox(2);
    EXPECT_EQ(player.commands(), QStringList{QStringLiteral("playTrackNamed Thermal")});
}

TEST_F(ControlWindow, PopUpChoicePlaysTheTrackWhateverTheFlagSays)
{
    open();
    ControlWindowController::setJustEdited(true);
    player.log.clear();
    popUp()->setCurrentIndex(1);
    emit popUp()->activated(1);
    EXPECT_EQ(player.commands(), QStringList{QStringLiteral("playTrackNamed Stoop")});
}

TEST_F(ControlWindow, GenreChoiceWritesTheFileAndAlwaysPlays)
{
    player.playing = false;
    open();
    player.log.clear();
    player.genre = QStringLiteral("Asked Again");
    genreBox()->setStringValue(QStringLiteral("Jazz"));
    emit genreBox()->activated(genreBox()->currentIndex());
    EXPECT_EQ(apptest::fileTag(track, kMediaFileDataIDGenre), QStringLiteral("Jazz"));
    EXPECT_EQ(player.commands(), (QStringList{QStringLiteral("pause"), QStringLiteral("play")}));
    EXPECT_EQ(controller->cachedGenre(), QStringLiteral("Asked Again"));
}

TEST_F(ControlWindow, GenreChoiceWithoutAFileStopsBeforePlaying)
{
    open();
    player.path = QString();
    player.log.clear();
    genreBox()->setStringValue(QStringLiteral("Jazz"));
    emit genreBox()->activated(genreBox()->currentIndex());
    EXPECT_EQ(player.commands(), QStringList{QStringLiteral("pause")});
    EXPECT_EQ(apptest::fileTag(track, kMediaFileDataIDGenre), QStringLiteral("Ambient"));
}

TEST_F(ControlWindow, RatingIsSentOnceTheClickIsHandled)
{
    open();
    auto *stars = child<RatingControl>("_indicatorRating");
    player.log.clear();
    const int fourthStar = 3 * stars->sizeHint().width() / 5 + 5;
    QTest::mouseClick(stars, Qt::LeftButton, {}, QPoint(fourthStar, stars->height() / 2));
    EXPECT_EQ(stars->value(), 80);
    EXPECT_EQ(controller->lastIndicatorRating(), 80);
    EXPECT_TRUE(player.commands().isEmpty());
    ASSERT_TRUE(apptest::waitUntil([&] { return !player.commands().isEmpty(); }, 2000));
    EXPECT_EQ(player.commands(), QStringList{QStringLiteral("rating 80")});
    // Clicking the star of the current rating takes it back to none.
    QTest::mouseClick(stars, Qt::LeftButton, {}, QPoint(fourthStar, stars->height() / 2));
    ASSERT_TRUE(apptest::waitUntil([&] { return player.commands().size() == 2; }, 2000));
    EXPECT_EQ(player.commands().last(), QStringLiteral("rating 0"));
}

TEST_F(ControlWindow, RatingIsReadOnlyWhenThePlayerCannotTakeIt)
{
    player.canRate = false;
    open();
    auto *stars = child<RatingControl>("_indicatorRating");
    EXPECT_TRUE(stars->isReadOnly());
    player.log.clear();
    QTest::mouseClick(stars, Qt::LeftButton, {}, QPoint(5, stars->height() / 2));
    apptest::spinEvents(50);
    EXPECT_TRUE(player.commands().isEmpty());
    EXPECT_EQ(stars->value(), 40);
}

TEST_F(ControlWindow, TransportButtonsDriveThePlayer)
{
    open();
    player.log.clear();
    child<QToolButton>("_buttonPlayPause")->click();
    EXPECT_EQ(player.commands(), QStringList{QStringLiteral("playPause")});
    EXPECT_EQ(child<QToolButton>("_buttonPlayPause")->property("imageName").toString(), QStringLiteral("play_button"));

    player.log.clear();
    player.title = QStringLiteral("Stoop");
    child<QToolButton>("_buttonNext")->click();
    EXPECT_EQ(player.commands(), QStringList{QStringLiteral("next")});
    EXPECT_EQ(titleField()->text(), QStringLiteral("Stoop"));

    player.log.clear();
    player.title = QStringLiteral("Hovering");
    child<QToolButton>("_buttonPrevious")->click();
    EXPECT_EQ(player.commands(), QStringList{QStringLiteral("previous")});
    EXPECT_EQ(titleField()->text(), QStringLiteral("Hovering"));

    player.log.clear();
    child<QToolButton>("_buttonStop")->click();
    EXPECT_EQ(player.commands(), QStringList{QStringLiteral("stop")});
    EXPECT_EQ(artwork()->property("imageName").toString(), QStringLiteral("notplaying"));
    EXPECT_FALSE(titleField()->isEnabled());

    QSignalSpy quit(controller.get(), &ControlWindowController::quitRequested);
    controller->buttonClickedQuit();
    EXPECT_EQ(quit.count(), 1);
}

TEST_F(ControlWindow, PlayWithNoPlayerLaunchesOneFirst)
{
    player.running = false;
    player.launchWorks = false;
    open();
    player.log.clear();
    controller->buttonClickedPlayPauseiTunes();
    EXPECT_EQ(player.commands(), QStringList{QStringLiteral("launch")});
    player.launchWorks = true;
    player.log.clear();
    controller->buttonClickedPlayPauseiTunes();
    EXPECT_EQ(player.commands(), (QStringList{QStringLiteral("launch"), QStringLiteral("playPause")}));
}

TEST_F(ControlWindow, HideTimerRunsForTheSecondsOfThePreferences)
{
    UserDefaults::setFloat(12.0f, kSecondsToShowWindow);
    open();
    EXPECT_FLOAT_EQ(controller->showWindowForSeconds(), 12.0f);
    EXPECT_TRUE(controller->isHideTimerActive());
    EXPECT_EQ(controller->hideTimerInterval(), 12000);
}

TEST_F(ControlWindow, SecondsOutsideOneToSixHundredBecomeEightAndAreStoredBack)
{
    open();
    for (float bad : {0.5f, 601.0f, 0.0f, -3.0f}) {
        UserDefaults::setFloat(bad, kSecondsToShowWindow);
        PreferenceNotifier::defaultCenter().postNotificationName(kNotification_WindowShowParametersChangedKey);
        EXPECT_FLOAT_EQ(controller->showWindowForSeconds(), 8.0f) << bad;
        EXPECT_FLOAT_EQ(UserDefaults::floatForKey(kSecondsToShowWindow), 8.0f) << bad;
    }
    for (float good : {1.0f, 600.0f, 2.5f}) {
        UserDefaults::setFloat(good, kSecondsToShowWindow);
        PreferenceNotifier::defaultCenter().postNotificationName(kNotification_WindowShowParametersChangedKey);
        EXPECT_FLOAT_EQ(controller->showWindowForSeconds(), good);
        EXPECT_FLOAT_EQ(UserDefaults::floatForKey(kSecondsToShowWindow), good);
    }
}

TEST_F(ControlWindow, ShowStyleZeroNeverHides)
{
    UserDefaults::setInteger(0, kWindowShowStyle);
    open();
    EXPECT_FALSE(controller->isHideTimerActive());
    player.title = QStringLiteral("Stoop");
    controller->updateDisplayFromiTunes(false);
    controller->windowDidResignKey();
    controller->controlTextDidChange(titleField());
    EXPECT_FALSE(controller->isHideTimerActive());

    UserDefaults::setInteger(1, kWindowShowStyle);
    PreferenceNotifier::defaultCenter().postNotificationName(kNotification_WindowShowParametersChangedKey);
    EXPECT_TRUE(controller->isHideTimerActive());
    UserDefaults::setInteger(0, kWindowShowStyle);
    PreferenceNotifier::defaultCenter().postNotificationName(kNotification_WindowShowParametersChangedKey);
    EXPECT_FALSE(controller->isHideTimerActive());
}

TEST_F(ControlWindow, TheKeyWindowDoesNotHide)
{
    open();
    ASSERT_TRUE(controller->isHideTimerActive());
    controller->window()->activateWindow();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->window()->isActiveWindow(); }, 3000));
    EXPECT_FALSE(controller->isHideTimerActive());
    controller->startTimeToHideDisplayTimer();
    EXPECT_FALSE(controller->isHideTimerActive());

    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->window()->isActiveWindow(); }, 3000));
    EXPECT_TRUE(controller->isHideTimerActive());
}

TEST_F(ControlWindow, TypingRestartsTheHideTimer)
{
    open();
    controller->stopTimeToHideDisplayTimer();
    QTest::keyClicks(artistField(), QStringLiteral("x"));
    EXPECT_TRUE(controller->isHideTimerActive());
}

TEST_F(ControlWindow, WhenTheSecondsAreUpTheWindowFadesOutSlowly)
{
    UserDefaults::setFloat(1.0f, kSecondsToShowWindow);
    open();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->moveInEffect() == nullptr; }, 5000));
    // The user works elsewhere: the window is not the key window.
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->window()->isActiveWindow(); }, 3000));
    ASSERT_TRUE(controller->isHideTimerActive());
    EXPECT_EQ(controller->hideTimerInterval(), 1000);
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->moveOutEffect() != nullptr; }, 6000));
    EXPECT_NEAR(controller->moveOutEffect()->transparencyChangeIncrement(), 1.0f / 40.0f, 1e-6);
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->window()->isVisible(); }, 8000));
    EXPECT_FALSE(controller->isWindowVisible());
    EXPECT_EQ(controller->moveOutEffect(), nullptr);
}

TEST_F(ControlWindow, ToggleFadesOutAndInAgain)
{
    open();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->moveInEffect() == nullptr; }, 5000));
    controller->toggleWindowVisibility();
    EXPECT_FALSE(controller->isHideTimerActive());
    ASSERT_NE(controller->moveOutEffect(), nullptr);
    EXPECT_NEAR(controller->moveOutEffect()->transparencyChangeIncrement(), 0.1f, 1e-6);
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller->window()->isVisible(); }, 5000));

    controller->toggleWindowVisibility();
    EXPECT_TRUE(controller->window()->isVisible());
    ASSERT_NE(controller->moveInEffect(), nullptr);
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->window()->windowOpacity() == 1.0; }, 5000));
    EXPECT_TRUE(controller->isWindowVisible());
    // A finished fade-in starts the hide timer.
    EXPECT_TRUE(apptest::waitUntil([&] { return controller->isHideTimerActive(); }, 2000));
}

TEST_F(ControlWindow, ToggleDuringAFadeOutBringsTheWindowBack)
{
    open();
    ASSERT_TRUE(apptest::waitUntil([&] { return controller->moveInEffect() == nullptr; }, 5000));
    controller->startWindowMovingOutOfView(false);
    ASSERT_NE(controller->moveOutEffect(), nullptr);
    controller->toggleWindowVisibility();
    EXPECT_NE(controller->moveInEffect(), nullptr);
    apptest::spinEvents(1);
    EXPECT_EQ(controller->moveOutEffect(), nullptr);
}

TEST_F(ControlWindow, HotKeySettingsAreReadAtEveryChange)
{
    open();
    UserDefaults::setInteger(0, kShowWindowKeyCode);
    PreferenceNotifier::defaultCenter().postNotificationName(kNotification_ShowWindowKeyModifiersChangedKey);
    EXPECT_EQ(controller->hotKeyStatus(), GlobalHotKey::Status::NotSet);
    EXPECT_FALSE(controller->hasGlobalHotKey());

    UserDefaults::setInteger(53, kShowWindowKeyCode);
    UserDefaults::setInteger(12, kShowWindowKeyModifierKeyCode1);
    UserDefaults::setInteger(9, kShowWindowKeyModifierKeyCode2);
    PreferenceNotifier::defaultCenter().postNotificationName(kNotification_ShowWindowKeyModifiersChangedKey);
    EXPECT_EQ(controller->hotKeyModifierMask(), (1u << 12) | (1u << 9));
    // Without X11 nothing can be grabbed, and the preferences say so.
    EXPECT_EQ(controller->hotKeyStatus(), GlobalHotKey::Status::Unavailable);
    EXPECT_TRUE(ControlWindowController::currentHotKeyUnavailable());
    EXPECT_TRUE(ControlWindowController::currentHotKeyStatusMessage().contains(QStringLiteral("kestrabel --toggle")));
}

TEST_F(ControlWindow, ArtworkFromATemporaryImageFileGoesIntoTheTrack)
{
    open();
    const QString name = QStringLiteral("kestrabel-test-art-%1.png").arg(QCoreApplication::applicationPid());
    const QString image = QDir::temp().filePath(name);
    QImage(16, 16, QImage::Format_RGB32).save(image, "PNG");
    EXPECT_EQ(controller->setArtworkFromFileAtPath(name), 0);
    QFile::remove(image);
    MediaFileRef ref = nullptr;
    ASSERT_EQ(MediaFileOpen(track.toUtf8().constData(), &ref, 0), 0);
    void *bytes = nullptr;
    size_t length = 0;
    EXPECT_EQ(MediaFileGetData(ref, kMediaFileDataIDArtwork, &bytes, &length), 0);
    EXPECT_GT(length, 2u);
    ASSERT_NE(bytes, nullptr);
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

} // namespace

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
