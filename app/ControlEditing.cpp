#include "ControlWindowController.h"

#include "FieldEditingMonitor.h"
#include "GenreComboBox.h"

#include "ArtworkImage.h"
#include "MediaFileWrapper.h"
#include "PlayerWorker.h"

#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QLineEdit>
#include <QtGlobal>

namespace kestrabel::app {

namespace {

// Set after an edit was saved; the next action of the title combo box is swallowed by it.
bool gJustEdited = false;

bool differs(const QString &text, const QString &cached)
{
    return !cached.isNull() && text != cached;
}

// A save would keep only what was read of a damaged tag and lose the rest: such a file is left
// as it is, and the log says why.
MediaFileStatus refuseDamagedTag(const MediaFileWrapper &file)
{
    const MediaFileStatus status = MediaFileGetIgnoredTagError(file.mediaFileRef());
    if (status != kMediaFileNoErr)
        qWarning("%s: not saved: its tag could not be read whole (%d %s: %s)", qUtf8Printable(file.pathString()),
                 int(status), MediaFileGetStatusName(status), MediaFileGetStatusMessage(status));
    return status;
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

EditTarget ControlWindowController::displayedTarget() const
{
    return {_displayedPlayer, _displayedTrackId, _displayedPath};
}

QLineEdit *ControlWindowController::fieldOf(QObject *control) const
{
    if (control == _comboBoxGenre)
        return _comboBoxGenre->lineEdit();
    return qobject_cast<QLineEdit *>(control);
}

QString ControlWindowController::cachedValueOf(QObject *control) const
{
    if (control == _textFieldTitle)
        return _currentTrackTitleStringRef;
    if (control == _textFieldArtist)
        return _currentTrackArtistStringRef;
    if (control == _textFieldAlbum)
        return _currentTrackAlbumStringRef;
    if (control == _comboBoxGenre)
        return _currentTrackGenreStringRef;
    return {};
}

void ControlWindowController::controlTextDidBeginEditing(QObject *control)
{
    _edits.insert(control, {displayedTarget(), cachedValueOf(control)});
    startTimeToHideDisplayTimer();
}

void ControlWindowController::controlTextDidChange(QObject *)
{
    startTimeToHideDisplayTimer();
}

void ControlWindowController::controlTextDidCancelEditing(QObject *control)
{
    const FieldEdit edit = _edits.take(control);
    if (QLineEdit *field = fieldOf(control))
        field->setText(edit.original.isNull() ? cachedValueOf(control) : edit.original);
}

void ControlWindowController::buttonClickedSubmit()
{
    _editingMonitor->endEditing();
}

void ControlWindowController::controlTextDidEndEditing(QObject *control)
{
    // The track and value the edit began on, whatever the player did since.
    const FieldEdit edit =
        _edits.contains(control) ? _edits.take(control) : FieldEdit{displayedTarget(), cachedValueOf(control)};
    const QString &cached = edit.original;
    // Case matters here: a title whose only change is its case is a change worth writing.
    const bool titleChanged = control == _textFieldTitle && !cached.isNull() &&
                              (_textFieldTitle->text() != cached ||
                               (_comboBoxAlbumTracks && _comboBoxAlbumTracks->currentText() != cached));
    const bool albumChanged = control == _textFieldAlbum && differs(_textFieldAlbum->text(), cached);
    const bool artistChanged = control == _textFieldArtist && differs(_textFieldArtist->text(), cached);
    const bool genreChanged = control == _comboBoxGenre && differs(_comboBoxGenre->currentText(), cached);
    if (!titleChanged && !albumChanged && !artistChanged && !genreChanged)
        return;

    startTimeToHideDisplayTimer();
    EditRequest request{edit.target, {}, false};
    if (albumChanged)
        request.values.append({kMediaFileDataIDAlbum, _textFieldAlbum->text()});
    if (titleChanged) {
        if (_comboBoxAlbumTracks)
            request.values.append({kMediaFileDataIDTitle, _comboBoxAlbumTracks->currentText()});
        else if (!_textFieldTitle->text().isEmpty())
            request.values.append({kMediaFileDataIDTitle, _textFieldTitle->text()});
    }
    if (artistChanged)
        request.values.append({kMediaFileDataIDArtist, _textFieldArtist->text()});
    if (genreChanged)
        request.values.append({kMediaFileDataIDGenre, _comboBoxGenre->currentText()});
    sendEdit(control, request, cached);
}

void ControlWindowController::sendEdit(QObject *control, const EditRequest &request, const QString &original)
{
    QPointer<QObject> field(control);
    _worker->ask<EditResult>(
        [request](player::PlayerConnection &player) { return runEdit(player, request); }, this,
        [this, field, original](const EditResult &result) { editFinished(field, result, original); });
}

void ControlWindowController::editFinished(QObject *control, const EditResult &result, const QString &original)
{
    if (result.outcome == EditResult::Written || result.outcome == EditResult::WriteFailed)
        setJustEdited(true);
    if (!result.genreAfter.isNull())
        _currentTrackGenreStringRef = result.genreAfter;
    if (result.outcome == EditResult::Written) {
        showNote({});
        return;
    }
    showNote(result.message());
    // The field shows the file's value again, unless the user has begun another edit in it.
    QLineEdit *field = control ? fieldOf(control) : nullptr;
    if (!field || _editingMonitor->isEditing(field))
        return;
    if (result.outcome == EditResult::TrackChanged) {
        field->setText(cachedValueOf(control));
    } else if (!original.isNull()) {
        field->setText(original);
    }
}

void ControlWindowController::genreComboBoxChanged(QObject *sender)
{
    EditRequest request{displayedTarget(), {}, true};
    if (sender == _comboBoxGenre && !_currentTrackGenreStringRef.isNull()) {
        const QString genre = _comboBoxGenre->currentText();
        if (genre != _currentTrackGenreStringRef)
            request.values.append({kMediaFileDataIDGenre, genre});
    }
    sendEdit(_comboBoxGenre, request, _currentTrackGenreStringRef);
}

MediaFileStatus ControlWindowController::setArtworkFromFileAtPath(const QString &fileName)
{
    if (fileName.isEmpty() || QFileInfo(fileName).fileName() != fileName)
        return kMediaFileErrBadPath;
    const QString imagePath = QDir::temp().filePath(fileName);
    if (!QFileInfo(imagePath).isFile())
        return kMediaFileErrBadPath;
    // Converted before the file is touched: the wrapper would take an image it cannot decode
    // (a damaged one, or one too large for memory) as a request to remove the artwork.
    QByteArray jpeg;
    if (MediaFileStatus status = jpegArtworkFromImageFile(imagePath, &jpeg))
        return status;
    const QString path = _displayedPath;
    if (path.isEmpty())
        return kMediaFileErrNotFound;
    MediaFileStatus status = kMediaFileErrCantOpen;
    std::optional<MediaFileWrapper> file = MediaFileWrapper::mediaFileWithFileAtPath(path, false, &status, kEditProfile);
    if (!file)
        return status;
    if (MediaFileStatus skipped = refuseDamagedTag(*file))
        return skipped;
    status = file->setMediaFileData(jpeg, kMediaFileDataIDArtwork);
    if (status != 0)
        return status;
    return file->update(kMediaFileFlagKeepTagVersion | kEditProfile);
}

} // namespace kestrabel::app
