#include "ControlWindowController.h"

#include "CustomWindow.h"
#include "GenreComboBox.h"
#include "Images.h"
#include "RatingControl.h"

#include "PlayerConnection.h"

#include <QComboBox>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>

namespace kestrabel::app {

namespace {

// Both present and equal ignoring letter case.
bool sameIgnoringCase(const QString &fetched, const QString &cached)
{
    return !fetched.isNull() && !cached.isNull() && fetched.compare(cached, Qt::CaseInsensitive) == 0;
}

// Players leave out what a track does not have; an empty field shows its placeholder too.
QString shown(const QString &value, const char *placeholder)
{
    return value.isEmpty() ? QString::fromLatin1(placeholder) : value;
}

void selectTitle(QComboBox *chooser, const QString &title)
{
    if (!chooser)
        return;
    const int index = chooser->findText(title, Qt::MatchExactly);
    if (index >= 0)
        chooser->setCurrentIndex(index);
}

void replaceItems(QComboBox *chooser, const QStringList &items)
{
    if (!chooser)
        return;
    chooser->clear();
    chooser->addItems(items);
}

} // namespace

void ControlWindowController::startDisplayUpdateTimer()
{
    _updateTimer.stop();
    _updateTimer.start();
}

void ControlWindowController::timerUpdateDisplayFromiTunes()
{
    updateDisplayFromiTunes(false);
}

void ControlWindowController::updateDisplayFromiTunes(bool fast)
{
    if (!_updateTimer.isActive())
        startDisplayUpdateTimer();
    if (!_player.isRunning()) {
        clearDisplay();
        // A player that comes back with the same track must fill the display again.
        forgetCurrentTrack();
        emit displayUpdated();
        return;
    }

    const QString artist = _player.copyCurrentTrackArtist();
    const QString title = _player.copyCurrentTrackName();
    const QString album = _player.copyCurrentTrackAlbum();
    const QString genre = _player.copyCurrentTrackGenre();

    const bool albumChanged = album.isNull() || _currentTrackAlbumStringRef.isNull() ||
                              album.compare(_currentTrackAlbumStringRef, Qt::CaseInsensitive) != 0;
    if (sameIgnoringCase(title, _currentTrackTitleStringRef) && !albumChanged &&
        sameIgnoringCase(artist, _currentTrackArtistStringRef))
        return;

    _currentTrackArtistStringRef = artist;
    _currentTrackTitleStringRef = title;
    _currentTrackAlbumStringRef = album;
    _currentTrackGenreStringRef = genre;
    _currentAlbumSongArrayRef.clear();

    if (!isWindowVisible())
        startWindowMovingIntoView(fast);

    const QString titleText = shown(title, kUnknownTitle);
    _textFieldTitle->setText(titleText);
    if (album.isNull())
        _textFieldAlbum->setText(QString::fromLatin1(kUnknownAlbum));
    else if (albumChanged)
        _textFieldAlbum->setText(shown(album, kUnknownAlbum));
    fillTrackChoosers(title, album, albumChanged);
    _textFieldTitle->setText(titleText);

    _textFieldArtist->setText(shown(artist, kUnknownArtist));
    _comboBoxGenre->setStringValue(shown(genre, kUnknownGenre));

    showArtwork(_player.copyCurrentTrackArtwork());
    _indicatorRating->setReadOnly(!_player.canSetRating());
    _indicatorRating->setValue(_player.currentTrackRating());

    _textFieldAlbum->setEnabled(true);
    _textFieldTitle->setEnabled(true);
    _textFieldArtist->setEnabled(true);
    _popUpButtonAlbumTracks->setEnabled(true);
    _comboBoxAlbumTracks->setEnabled(true);
    _buttonSubmit->setEnabled(true);
    updateButtonStates();
    startTimeToHideDisplayTimer();
    emit displayUpdated();
}

void ControlWindowController::fillTrackChoosers(const QString &title, const QString &album, bool albumChanged)
{
    if (!album.isNull() && !albumChanged) {
        selectTitle(_popUpButtonAlbumTracks, title);
        selectTitle(_comboBoxAlbumTracks, title);
        return;
    }
    if (albumChanged) {
        QStringList titles = _player.copyAlbumTrackNames();
        if (!titles.isEmpty()) {
            if (!titles.contains(title))
                titles.prepend(title);
            replaceItems(_popUpButtonAlbumTracks, titles);
            replaceItems(_comboBoxAlbumTracks, titles);
            selectTitle(_popUpButtonAlbumTracks, title);
            selectTitle(_comboBoxAlbumTracks, title);
            _currentAlbumSongArrayRef = titles;
            return;
        }
    }
    if (!title.isNull()) {
        replaceItems(_popUpButtonAlbumTracks, {title});
        replaceItems(_comboBoxAlbumTracks, {title});
        selectTitle(_popUpButtonAlbumTracks, title);
        selectTitle(_comboBoxAlbumTracks, title);
    }
}

void ControlWindowController::showArtwork(const QByteArray &artwork)
{
    QImage picture;
    if (!artwork.isNull())
        picture.loadFromData(artwork);
    if (!picture.isNull()) {
        const qreal ratio = _imageView->devicePixelRatioF();
        QPixmap pixmap = QPixmap::fromImage(picture.scaled(_imageView->size() * ratio, Qt::KeepAspectRatio,
                                                           Qt::SmoothTransformation));
        pixmap.setDevicePixelRatio(ratio);
        _imageView->setFrameStyle(QFrame::NoFrame);
        _imageView->setPixmap(pixmap);
        _imageView->setProperty("imageName", QString());
        return;
    }
    _imageView->setFrameStyle(QFrame::Panel | QFrame::Sunken);
    _imageView->setLineWidth(2);
    _imageView->setPixmap(imageNamed(QStringLiteral("missingArt"), _imageView->size()));
    _imageView->setProperty("imageName", QStringLiteral("missingArt"));
}

void ControlWindowController::clearDisplay()
{
    _imageView->setFrameStyle(QFrame::NoFrame);
    _imageView->setPixmap(imageNamed(QStringLiteral("notplaying"), _imageView->size()));
    _imageView->setProperty("imageName", QStringLiteral("notplaying"));

    _textFieldAlbum->clear();
    _textFieldAlbum->setEnabled(false);
    _textFieldArtist->clear();
    _textFieldArtist->setEnabled(false);
    _comboBoxAlbumTracks->clear();
    _comboBoxAlbumTracks->clearEditText();
    _textFieldTitle->clear();
    _textFieldTitle->setEnabled(false);
    _comboBoxAlbumTracks->setEnabled(false);
    _popUpButtonAlbumTracks->clear();
    _popUpButtonAlbumTracks->setEnabled(false);
    _buttonSubmit->setEnabled(false);
}

void ControlWindowController::forgetCurrentTrack()
{
    _currentTrackArtistStringRef = QString();
    _currentTrackTitleStringRef = QString();
    _currentTrackAlbumStringRef = QString();
    _currentTrackGenreStringRef = QString();
    _currentAlbumSongArrayRef.clear();
}

QStringList ControlWindowController::shownTrack() const
{
    return {_textFieldTitle->text(), _textFieldArtist->text(), _textFieldAlbum->text(), _comboBoxGenre->currentText()};
}

void ControlWindowController::updateButtonStates()
{
    const QString image = _player.isPlaying() ? QStringLiteral("pause_button") : QStringLiteral("play_button");
    if (_buttonPlayPause->property("imageName").toString() == image)
        return;
    _buttonPlayPause->setIcon(iconNamed(image));
    _buttonPlayPause->setProperty("imageName", image);
}

} // namespace kestrabel::app
