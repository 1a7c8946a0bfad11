#include "ControlWindowController.h"

#include "CustomWindow.h"
#include "GenreComboBox.h"
#include "Images.h"
#include "RatingControl.h"

#include "ArtworkImage.h"
#include "FieldEditingMonitor.h"
#include "MediaFileWrapper.h"
#include "PlayerWorker.h"
#include "Preferences.h"

#include <QComboBox>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>

#include <optional>

namespace kestrabel::app {

namespace {

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
    if (_snapshotInFlight) {
        _snapshotAgain = true;
        _snapshotAgainFast = _snapshotAgainFast || fast;
        return;
    }
    _snapshotInFlight = true;
    const ShownTrack shown{_displayedPlayer, _displayedTrackId, _currentTrackTitleStringRef,
                           _currentTrackArtistStringRef, _currentTrackAlbumStringRef};
    _worker->ask<TrackSnapshot>(
        [shown](player::PlayerConnection &player) { return takeSnapshot(player, shown); }, this,
        [this, fast](const TrackSnapshot &snapshot) {
            _snapshotInFlight = false;
            showSnapshot(snapshot, fast);
            if (_snapshotAgain) {
                const bool again = _snapshotAgainFast;
                _snapshotAgain = _snapshotAgainFast = false;
                updateDisplayFromiTunes(again);
            }
        });
}

void ControlWindowController::showSnapshot(const TrackSnapshot &snapshot, bool fast)
{
    _playerPlaying = snapshot.playing;
    if (!snapshot.running) {
        clearDisplay();
        // A player that comes back with the same track must fill the display again.
        forgetCurrentTrack();
        updateButtonStates();
        emit displayUpdated();
        return;
    }
    if (!snapshot.changed) {
        updateButtonStates();
        return;
    }

    const QString &title = snapshot.title;
    const QString &album = snapshot.album;
    _currentTrackArtistStringRef = snapshot.artist;
    _currentTrackTitleStringRef = title;
    _currentTrackAlbumStringRef = album;
    _currentTrackGenreStringRef = snapshot.genre;
    _currentAlbumSongArrayRef.clear();
    _displayedPlayer = snapshot.player;
    _displayedTrackId = snapshot.trackId;
    _displayedPath = snapshot.path;

    if (!isWindowVisible())
        startWindowMovingIntoView(fast);
    if (UserDefaults::boolForKey(QLatin1String(kNotifyOnTrackChangeKey)))
        notifyTrackChange(shown(title, kUnknownTitle), shown(snapshot.artist, kUnknownArtist));

    // A field the user is typing in keeps the typing; the edit still goes to the track it
    // began on.
    const auto show = [this](QLineEdit *field, const QString &text) {
        if (!_editingMonitor->isEditing(field))
            field->setText(text);
    };
    const bool typingTitle = _editingMonitor->isEditing(_textFieldTitle);
    const QString titleText = shown(title, kUnknownTitle);
    show(_textFieldTitle, titleText);
    if (album.isNull())
        show(_textFieldAlbum, QString::fromLatin1(kUnknownAlbum));
    else if (snapshot.albumChanged)
        show(_textFieldAlbum, shown(album, kUnknownAlbum));
    const QString typed = _textFieldTitle->text();
    fillTrackChoosers(title, album, snapshot.albumChanged, snapshot.albumTracks);
    _textFieldTitle->setText(typingTitle ? typed : titleText);
    _textFieldLength->setText(snapshot.length);

    show(_textFieldArtist, shown(snapshot.artist, kUnknownArtist));
    if (!_editingMonitor->isEditing(_comboBoxGenre->lineEdit()))
        _comboBoxGenre->setStringValue(shown(snapshot.genre, kUnknownGenre));

    showArtwork(snapshot.artwork);
    _indicatorRating->setReadOnly(!snapshot.canSetRating);
    _indicatorRating->setValue(snapshot.rating);

    _textFieldAlbum->setEnabled(true);
    _textFieldTitle->setEnabled(true);
    _textFieldArtist->setEnabled(true);
    _comboBoxAlbumTracks->setEnabled(true);
    _buttonSubmit->setEnabled(true);
    setTrackChoice(snapshot.choice);
    updateButtonStates();
    startTimeToHideDisplayTimer();
    emit displayUpdated();
}

void ControlWindowController::notifyTrackChange(const QString &title, const QString &artist)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    // Replaces the previous notification instead of piling them up.
    call << QStringLiteral("Kestrabel") << _lastNotification << QStringLiteral("kestrabel") << title << artist
         << QStringList() << QVariantMap() << kNotificationMilliseconds;
    // Sent without waiting: a notification server that hangs must not hold up the window.
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<uint> reply = *watcher;
        if (!reply.isError())
            _lastNotification = reply.value();
    });
}

void ControlWindowController::setTrackChoice(const player::TrackChoice &choice)
{
    _trackChoice = choice;
    const bool available = choice.kind != player::TrackChoice::Unavailable;
    _popUpButtonAlbumTracks->setEnabled(available);
    _popUpButtonAlbumTracks->setToolTip(available ? tr("Play another track of this album") : choice.reason);
}

void ControlWindowController::fillTrackChoosers(const QString &title, const QString &album, bool albumChanged,
                                                QStringList titles)
{
    if (!album.isNull() && !albumChanged) {
        selectTitle(_popUpButtonAlbumTracks, title);
        selectTitle(_comboBoxAlbumTracks, title);
        return;
    }
    if (albumChanged) {
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
    // Through the object layer's reader: its size limit, and no image library chatter.
    QImage picture;
    if (!artwork.isNull())
        picture = imageFromArtworkData(artwork);
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
    _textFieldLength->clear();
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
    _displayedPlayer = QString();
    _displayedTrackId = QString();
    _displayedPath = QString();
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
    const QString image = _playerPlaying ? QStringLiteral("pause_button") : QStringLiteral("play_button");
    if (_buttonPlayPause->property("imageName").toString() == image)
        return;
    _buttonPlayPause->setIcon(iconNamed(image));
    _buttonPlayPause->setProperty("imageName", image);
}

} // namespace kestrabel::app
