#include "PlayerJobs.h"

#include "MediaFileWrapper.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <optional>

namespace kestrabel::app {

namespace {

// Both present and equal ignoring letter case.
bool sameIgnoringCase(const QString &fetched, const QString &cached)
{
    return !fetched.isNull() && !cached.isNull() && fetched.compare(cached, Qt::CaseInsensitive) == 0;
}

// "3:42" from the file's own headers, read here on the player thread so that the window never
// waits for a disk; empty when there is no file or it has no known length.
QString lengthOfFile(const QString &path)
{
    if (path.isEmpty())
        return {};
    std::optional<MediaFileWrapper> file = MediaFileWrapper::mediaFileWithFileAtPath(path, false, nullptr, kEditProfile);
    if (!file)
        return {};
    MediaFileAudioProperties audio{};
    audio.structSize = sizeof audio;
    if (MediaFileGetAudioProperties(file->mediaFileRef(), &audio) != kMediaFileNoErr || audio.durationMs == 0)
        return {};
    const qulonglong seconds = (audio.durationMs + 500) / 1000;
    if (seconds >= 3600)
        return QStringLiteral("%1:%2:%3")
            .arg(seconds / 3600)
            .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
            .arg(seconds % 60, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

TrackSnapshot takeSnapshot(player::PlayerConnection &player, const ShownTrack &shown)
{
    TrackSnapshot snapshot;
    if (!player.isRunning())
        return snapshot;
    snapshot.player = player.currentPlayerId();
    return withPlayer(player, snapshot.player, [&] {
        snapshot.running = true;
        snapshot.trackId = player.copyCurrentTrackId();
        snapshot.artist = player.copyCurrentTrackArtist();
        snapshot.title = player.copyCurrentTrackName();
        snapshot.album = player.copyCurrentTrackAlbum();
        snapshot.genre = player.copyCurrentTrackGenre();
        snapshot.playing = player.isPlaying();
        snapshot.albumChanged = snapshot.album.isNull() || shown.album.isNull() ||
                                snapshot.album.compare(shown.album, Qt::CaseInsensitive) != 0;
        snapshot.changed = snapshot.player != shown.player || snapshot.trackId != shown.trackId ||
                           !sameIgnoringCase(snapshot.title, shown.title) || snapshot.albumChanged ||
                           !sameIgnoringCase(snapshot.artist, shown.artist);
        if (!snapshot.changed)
            return snapshot;
        snapshot.path = player.copyCurrentTrackPath();
        snapshot.length = lengthOfFile(snapshot.path);
        if (snapshot.albumChanged)
            snapshot.albumTracks = player.copyAlbumTrackNames();
        snapshot.artwork = player.copyCurrentTrackArtwork();
        snapshot.canSetRating = player.canSetRating();
        snapshot.rating = player.currentTrackRating();
        snapshot.choice = player.trackChoice();
        return snapshot;
    });
}

QString EditResult::message() const
{
    const QString file = QFileInfo(path).fileName();
    switch (outcome) {
    case Written:
        return {};
    case TrackChanged:
        return QCoreApplication::translate("ControlWindow",
                                           "Not saved: the player moved to another track while you were editing.");
    case NoFile:
        if (path.isEmpty())
            return QCoreApplication::translate("ControlWindow", "Not saved: the track is not a local file.");
        break;
    case WriteFailed:
        break;
    }
    return QCoreApplication::translate("ControlWindow", "Not saved: %1: status %2 (%3): %4")
        .arg(file)
        .arg(status)
        .arg(QString::fromLatin1(MediaFileGetStatusName(status)), QString::fromUtf8(MediaFileGetStatusMessage(status)));
}

EditResult runEdit(player::PlayerConnection &player, const EditRequest &request)
{
    return withPlayer(player, request.target.player, [&] {
        EditResult result;
        result.path = request.target.path;
        if (player.currentPlayerId() != request.target.player) {
            result.outcome = EditResult::TrackChanged;
            return result;
        }
        const bool wasPlaying = request.alwaysPauseAndPlay || player.isPlaying();
        if (wasPlaying)
            player.pause();
        // Asked after the pause: a track that ended meanwhile must not take the edit.
        const QString path = player.copyCurrentTrackPath();
        if (player.copyCurrentTrackId() != request.target.trackId || path != request.target.path) {
            result.outcome = EditResult::TrackChanged;
        } else if (path.isEmpty()) {
            result.outcome = EditResult::NoFile;
        } else {
            MediaFileStatus status = 0;
            std::optional<MediaFileWrapper> file = MediaFileWrapper::mediaFileWithFileAtPath(path, false, &status, kEditProfile);
            if (!file) {
                result.outcome = EditResult::NoFile;
                result.status = status;
            } else if (const MediaFileStatus ignored = MediaFileGetIgnoredTagError(file->mediaFileRef())) {
                // The tag was read only in part; a save would drop the rest, so nothing is saved.
                result.outcome = EditResult::WriteFailed;
                result.status = ignored;
            } else {
                for (const auto &[dataID, text] : request.values)
                    if (const MediaFileStatus set = file->setMediaFileString(text, dataID, true); set != 0 && status == 0)
                        status = set;
                const MediaFileStatus saved = file->update(kMediaFileFlagKeepTagVersion | kEditProfile);
                result.status = saved != 0 ? saved : status;
                result.outcome = result.status == 0 ? EditResult::Written : EditResult::WriteFailed;
            }
        }
        const bool opened = result.outcome == EditResult::Written || result.outcome == EditResult::WriteFailed;
        if (request.alwaysPauseAndPlay && opened && !request.values.isEmpty())
            result.genreAfter = player.copyCurrentTrackGenre();
        // The genre box's rule: without a file to write, the player stays paused.
        const bool resume = request.alwaysPauseAndPlay ? opened : wasPlaying;
        if (resume)
            player.play();
        return result;
    });
}

} // namespace kestrabel::app
