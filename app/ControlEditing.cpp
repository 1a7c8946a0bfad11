#include "ControlWindowController.h"

#include "FieldEditingMonitor.h"
#include "GenreComboBox.h"

#include "MediaFileWrapper.h"
#include "PlayerConnection.h"

#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QLineEdit>

namespace kestrabel::app {

namespace {

// Set after an edit was saved; the next action of the title combo box is swallowed by it.
bool gJustEdited = false;

bool differs(const QString &text, const QString &cached)
{
    return !cached.isNull() && text != cached;
}

} // namespace

bool ControlWindowController::justEdited()
{
    return gJustEdited;
}

void ControlWindowController::setJustEdited(bool edited)
{
    gJustEdited = edited;
}

void ControlWindowController::controlTextDidBeginEditing(QObject *)
{
    startTimeToHideDisplayTimer();
}

void ControlWindowController::controlTextDidChange(QObject *)
{
    startTimeToHideDisplayTimer();
}

void ControlWindowController::buttonClickedSubmit()
{
    _editingMonitor->endEditing();
}

void ControlWindowController::controlTextDidEndEditing(QObject *control)
{
    // Case matters here: a title whose only change is its case is a change worth writing.
    const bool titleChanged =
        control == _textFieldTitle && !_currentTrackTitleStringRef.isNull() &&
        (_textFieldTitle->text() != _currentTrackTitleStringRef ||
         (_comboBoxAlbumTracks && _comboBoxAlbumTracks->currentText() != _currentTrackTitleStringRef));
    const bool albumChanged = control == _textFieldAlbum && differs(_textFieldAlbum->text(), _currentTrackAlbumStringRef);
    const bool artistChanged =
        control == _textFieldArtist && differs(_textFieldArtist->text(), _currentTrackArtistStringRef);
    const bool genreChanged =
        control == _comboBoxGenre && differs(_comboBoxGenre->currentText(), _currentTrackGenreStringRef);
    if (!titleChanged && !albumChanged && !artistChanged && !genreChanged)
        return;

    startTimeToHideDisplayTimer();
    const bool wasPlaying = _player.isPlaying();
    if (wasPlaying)
        _player.pause();

    const QString path = _player.copyCurrentTrackPath();
    std::optional<MediaFileWrapper> file;
    if (!path.isEmpty())
        file = MediaFileWrapper::mediaFileWithFileAtPath(path, false);
    if (file) {
        if (albumChanged)
            file->setMediaFileString(_textFieldAlbum->text(), kMediaFileDataIDAlbum, true);
        if (titleChanged) {
            if (_comboBoxAlbumTracks)
                file->setMediaFileString(_comboBoxAlbumTracks->currentText(), kMediaFileDataIDTitle, true);
            else if (!_textFieldTitle->text().isEmpty())
                file->setMediaFileString(_textFieldTitle->text(), kMediaFileDataIDTitle, true);
        }
        if (artistChanged)
            file->setMediaFileString(_textFieldArtist->text(), kMediaFileDataIDArtist, true);
        if (genreChanged)
            file->setMediaFileString(_comboBoxGenre->currentText(), kMediaFileDataIDGenre, true);
        file->update(kMediaFileFlagKeepTagVersion);
        setJustEdited(true);
        file.reset();
    }

    if (wasPlaying)
        _player.play();

    // One notification carries one control, so this never happens and the next update redraws
    // the display from what the player reports; deliberately so.
    if (titleChanged && albumChanged && artistChanged && genreChanged) {
        _currentTrackArtistStringRef = _player.copyCurrentTrackArtist();
        _currentTrackTitleStringRef = _player.copyCurrentTrackName();
        _currentTrackAlbumStringRef = _player.copyCurrentTrackAlbum();
        _currentTrackGenreStringRef = _player.copyCurrentTrackGenre();
    }
}

void ControlWindowController::genreComboBoxChanged(QObject *sender)
{
    _player.pause();
    if (sender == _comboBoxGenre && !_currentTrackGenreStringRef.isNull()) {
        const QString path = _player.copyCurrentTrackPath();
        if (path.isEmpty())
            return;
        std::optional<MediaFileWrapper> file = MediaFileWrapper::mediaFileWithFileAtPath(path, false);
        if (!file)
            return;
        const QString genre = _comboBoxGenre->currentText();
        if (genre != _currentTrackGenreStringRef) {
            file->setMediaFileString(genre, kMediaFileDataIDGenre, true);
            _currentTrackGenreStringRef = _player.copyCurrentTrackGenre();
        }
        file->update(kMediaFileFlagKeepTagVersion);
    }
    _player.play();
}

MediaFileStatus ControlWindowController::setArtworkFromFileAtPath(const QString &fileName)
{
    if (fileName.isEmpty() || QFileInfo(fileName).fileName() != fileName)
        return kMediaFileErrBadPath;
    const QString imagePath = QDir::temp().filePath(fileName);
    if (!QFileInfo(imagePath).isFile())
        return kMediaFileErrBadPath;
    // The wrapper would take an unreadable image as a request to remove the artwork.
    if (!QImageReader(imagePath).canRead())
        return kMediaFileErrNotImage;
    const QString path = _player.copyCurrentTrackPath();
    if (path.isEmpty())
        return kMediaFileErrNotFound;
    MediaFileStatus status = kMediaFileErrCantOpen;
    std::optional<MediaFileWrapper> file = MediaFileWrapper::mediaFileWithFileAtPath(path, false, &status);
    if (!file)
        return status;
    status = file->setMediaFileArtworkFromImageFile(imagePath, kMediaFileDataIDArtwork, false);
    if (status != 0)
        return status;
    return file->update(kMediaFileFlagKeepTagVersion);
}

} // namespace kestrabel::app
