#include "ScriptConnection.h"

#include "ScriptTexts.h"

namespace kestrabel::player {

namespace {

constexpr int kPictHeaderBytes = 512;

} // namespace

void LibraryLocationCache::replace(const QList<LibraryLocation> &locations)
{
    ids_.clear();
    // The first of equal locations wins, as a search from the front would find it.
    for (const LibraryLocation &entry : locations)
        if (!ids_.contains(entry.location))
            ids_.insert(entry.location, entry.databaseID);
    exists_ = true;
}

std::optional<qint32> LibraryLocationCache::databaseID(const QString &location) const
{
    const auto found = ids_.constFind(location);
    if (found == ids_.cend())
        return std::nullopt;
    return *found;
}

QString libraryLocationForPath(const QString &path)
{
    QString location = path;
    if (location.startsWith(QLatin1String("/Volumes/")))
        location.remove(0, 9);
    location.replace(QLatin1Char('/'), QLatin1Char(':'));
    return location;
}

ScriptConnection::ScriptConnection(std::unique_ptr<ScriptRunner> runner) : runner_(std::move(runner)) {}

QString ScriptConnection::query(const char *script)
{
    if (!runner_->isPlayerRunning())
        return {};
    QString result = runner_->resultAsString(script);
    return result.isNull() ? QStringLiteral("") : result;
}

QString ScriptConnection::copyCurrentTrackName() { return query(scripts::kCurrentTrackName); }
QString ScriptConnection::copyCurrentTrackArtist() { return query(scripts::kCurrentTrackArtist); }
QString ScriptConnection::copyCurrentTrackAlbum() { return query(scripts::kCurrentTrackAlbum); }
QString ScriptConnection::copyCurrentTrackGenre() { return query(scripts::kCurrentTrackGenre); }

int ScriptConnection::currentTrackRating()
{
    if (!runner_->isPlayerRunning())
        return 0;
    return runner_->resultAsLong(scripts::kCurrentTrackRating);
}

QByteArray ScriptConnection::copyCurrentTrackArtwork()
{
    if (!runner_->isPlayerRunning())
        return {};
    QByteArray picture = runner_->resultAsData(scripts::kCurrentTrackArtwork, kPictHeaderBytes);
    return picture.size() > kPictHeaderBytes ? picture : QByteArray();
}

QString ScriptConnection::copyCurrentTrackPath()
{
    if (!runner_->isPlayerRunning())
        return {};
    return runner_->resultAsAliasPath(scripts::kCurrentTrackLocation);
}

bool ScriptConnection::isPlaying()
{
    if (!runner_->isPlayerRunning())
        return false;
    return runner_->resultAsEnum(scripts::kPlayerState) == scripts::kPlayerStatePlaying;
}

bool ScriptConnection::isRunning() { return runner_->isPlayerRunning(); }

// Transport commands go out whether or not the player runs; a stopped player makes them fail.
bool ScriptConnection::play() { return runner_->run(scripts::kPlay) == 0; }
bool ScriptConnection::pause() { return runner_->run(scripts::kPause) == 0; }
bool ScriptConnection::playPause() { return runner_->run(scripts::kPlayPause) == 0; }
bool ScriptConnection::stop() { return runner_->run(scripts::kStop) == 0; }
bool ScriptConnection::nextTrack() { return runner_->run(scripts::kNextTrack) == 0; }
bool ScriptConnection::previousTrack() { return runner_->run(scripts::kPreviousTrack) == 0; }

bool ScriptConnection::canSetRating() { return runner_->isPlayerRunning(); }

bool ScriptConnection::setCurrentTrackRating(int rating)
{
    if (!runner_->isPlayerRunning())
        return false;
    return runner_->run(scripts::setCurrentTrackRatingScript(rating)) == 0;
}

bool ScriptConnection::playTrackNamed(const QString &name)
{
    return runner_->run(scripts::playTrackNamedScript(name)) == 0;
}

QStringList ScriptConnection::copyAlbumTrackNames()
{
    if (!runner_->isPlayerRunning())
        return {};
    return runner_->resultAsStringList(scripts::kAlbumTrackNames).value_or(QStringList());
}

bool ScriptConnection::launch() { return runner_->isPlayerRunning() || runner_->launchPlayer(); }

void ScriptConnection::scanLibraryLocations(bool force)
{
    if (!runner_->isPlayerRunning())
        return;
    if (!force && cache_.exists())
        return;
    // A failed scan leaves an empty cache that is not scanned again unless forced.
    cache_.replace(runner_->resultAsLibraryLocations(scripts::kScanLibraryLocations));
}

void ScriptConnection::refreshTrackAtPath(const QString &path)
{
    if (!runner_->isPlayerRunning())
        return;
    const QString location = libraryLocationForPath(path);
    // Scanned once: a track added to the library later is not found, as it never was.
    if (!cache_.exists())
        scanLibraryLocations(true);
    if (const auto id = cache_.databaseID(location))
        runner_->runQuietly(scripts::refreshTrackScript(*id));
}

void ScriptConnection::setPreferredPlayer(const QString &) {}

QString ScriptConnection::playerIdentity()
{
    return runner_->isPlayerRunning() ? QStringLiteral("iTunes") : QString();
}

int ScriptConnection::setCurrentTrackArtworkFromFile(const QString &fileName)
{
    return runner_->run(scripts::setCurrentTrackArtworkFromFileScript(fileName));
}

} // namespace kestrabel::player
