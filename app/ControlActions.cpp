#include "ControlWindowController.h"

#include "RatingControl.h"

#include "PlayerConnection.h"

#include <QComboBox>
#include <QTimer>

namespace kestrabel::app {

void ControlWindowController::buttonClickedPlayPauseiTunes()
{
    if (!_player.isRunning() && !_player.launch())
        return;
    _player.playPause();
    updateButtonStates();
    startTimeToHideDisplayTimer();
}

void ControlWindowController::buttonClickedStopiTunes()
{
    _player.stop();
    clearDisplay();
    // Forgotten so that playing the same track again fills the display at the next update.
    forgetCurrentTrack();
}

void ControlWindowController::buttonClickedNextiTunes()
{
    _player.nextTrack();
    updateDisplayFromiTunes(false);
    startTimeToHideDisplayTimer();
}

void ControlWindowController::buttonClickedPreviousiTunes()
{
    _player.previousTrack();
    updateDisplayFromiTunes(false);
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
    _player.setCurrentTrackRating(_lastIndicatorRating);
}

void ControlWindowController::popUpButtonTitleChanged()
{
    _player.playTrackNamed(_popUpButtonAlbumTracks->currentText());
}

void ControlWindowController::comboBoxChanged()
{
    if (!justEdited())
        _player.playTrackNamed(_comboBoxAlbumTracks->currentText());
    setJustEdited(false);
    startTimeToHideDisplayTimer();
}

} // namespace kestrabel::app
