#include "ControlWindowController.h"

#include "PlayerWorker.h"
#include "RatingControl.h"

#include <QComboBox>
#include <QLabel>
#include <QTimer>

namespace kestrabel::app {

void ControlWindowController::command(std::function<bool(player::PlayerConnection &)> job,
                                      std::function<void(bool playing)> after)
{
    const QString id = _displayedPlayer;
    _worker->ask<bool>(
        [id, job = std::move(job)](player::PlayerConnection &player) {
            // With no track shown yet the command goes to whichever player runs.
            return withPlayer(player, id, [&] {
                job(player);
                return player.isPlaying();
            });
        },
        this,
        [this, after = std::move(after)](const bool &playing) {
            _playerPlaying = playing;
            if (after)
                after(playing);
        });
}

void ControlWindowController::buttonClickedPlayPauseiTunes()
{
    command(
        [](player::PlayerConnection &player) {
            // The shown player has gone: any player that runs, else a new one.
            if (!player.isRunning())
                player.pinPlayer({});
            if (!player.isRunning() && !player.launch())
                return false;
            return player.playPause();
        },
        [this](bool) {
            updateButtonStates();
            startTimeToHideDisplayTimer();
        });
}

void ControlWindowController::buttonClickedStopiTunes()
{
    command([](player::PlayerConnection &player) { return player.stop(); });
    clearDisplay();
    // Forgotten so that playing the same track again fills the display at the next update.
    forgetCurrentTrack();
}

void ControlWindowController::buttonClickedNextiTunes()
{
    command([](player::PlayerConnection &player) { return player.nextTrack(); },
            [this](bool) { updateDisplayFromiTunes(false); });
    startTimeToHideDisplayTimer();
}

void ControlWindowController::buttonClickedPreviousiTunes()
{
    command([](player::PlayerConnection &player) { return player.previousTrack(); },
            [this](bool) { updateDisplayFromiTunes(false); });
    startTimeToHideDisplayTimer();
}

void ControlWindowController::buttonClickedDismissWindow()
{
    startWindowMovingOutOfView(true);
}

void ControlWindowController::buttonClickedQuit()
{
    emit quitRequested();
}

void ControlWindowController::indicatorChangedRating()
{
    _lastIndicatorRating = _indicatorRating->intValue();
    // Sent once the click has been handled, so that the control is not held up by the player.
    QTimer::singleShot(0, this, &ControlWindowController::setRatingTimer);
    startTimeToHideDisplayTimer();
}

void ControlWindowController::setRatingTimer()
{
    const int rating = _lastIndicatorRating;
    const QString trackId = _displayedTrackId;
    // The stars belong to the shown track: a player that moved on meanwhile keeps its rating.
    command([rating, trackId](player::PlayerConnection &player) {
        return player.copyCurrentTrackId() == trackId && player.setCurrentTrackRating(rating);
    });
}

void ControlWindowController::popUpButtonTitleChanged()
{
    if (_trackChoice.kind == player::TrackChoice::Unavailable) {
        showNote(_trackChoice.reason);
        return;
    }
    const QString title = _popUpButtonAlbumTracks->currentText();
    command([title](player::PlayerConnection &player) { return player.playTrackNamed(title); });
}

void ControlWindowController::comboBoxChanged()
{
    if (!justEdited()) {
        if (_trackChoice.kind == player::TrackChoice::Unavailable) {
            showNote(_trackChoice.reason);
        } else {
            const QString title = _comboBoxAlbumTracks->currentText();
            command([title](player::PlayerConnection &player) { return player.playTrackNamed(title); });
        }
    }
    setJustEdited(false);
    startTimeToHideDisplayTimer();
}

} // namespace kestrabel::app
