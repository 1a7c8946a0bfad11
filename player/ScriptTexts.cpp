#include "ScriptTexts.h"

namespace kestrabel::player::scripts {

const char kCurrentTrackName[] = "tell application \"iTunes\" to get name of current track";
const char kCurrentTrackArtist[] = "tell application \"iTunes\" to get artist of current track";
const char kCurrentTrackAlbum[] = "tell application \"iTunes\" to get album of current track";
const char kCurrentTrackGenre[] = "tell application \"iTunes\" to get genre of current track";
const char kCurrentTrackRating[] = "tell application \"iTunes\" to get the rating of the current track";
const char kCurrentTrackArtwork[] = "tell application \"iTunes\" to get (data of artwork 1 of current track) as picture";
const char kCurrentTrackLocation[] = "tell application \"iTunes\" to get location of current track";
const char kPlayerState[] = "tell application \"iTunes\" to get player state";

const char kPlay[] = "tell application \"iTunes\" to play";
const char kPause[] = "tell application \"iTunes\" to pause";
const char kPlayPause[] = "tell application \"iTunes\" to playpause";
const char kStop[] = "tell application \"iTunes\" to stop";
const char kNextTrack[] = "tell application \"iTunes\" to next track";
const char kPreviousTrack[] = "tell application \"iTunes\" to previous track";
const char kSetCurrentTrackRating[] = "tell application \"iTunes\" to set the rating of the current track to %d";

// The tabs are the scripts' own and stay, every one.
const char kPlayTrackNamed[] =
    "tell application \"iTunes\"" "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "set the matching_tracks to (every track of current playlist whose name is \"%@\") as list" "\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "set my_track to item 1 of matching_tracks" "\t\t\t\t\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "play my_track" "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "end tell";

const char kAlbumTrackNames[] =
    "tell application \"iTunes\"" "\t\t\t\t\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t" "set foundTracks to {}" "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t" "set theAlbumID to (album of (current track))" "\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t" "set theArtistID to (artist of (current track))" "\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t" "set albumTrackIDs to (every track in current playlist whose (album is theAlbumID and artist is theArtistID))" "\t" "\n"
    "\t\t\t\t" "repeat with i from 1 to count of albumTrackIDs" "\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t" "set theTrack to (name of item i of albumTrackIDs)" "\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t" "copy (name of item i of albumTrackIDs) to end of foundTracks" "\t\t\t\t\t" "\n"
    "\t\t\t\t" "end repeat" "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t" "end tell" "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t" "set result to foundTracks" "\n";

// pictFile is never set and the first Image Events block is never closed: kept as it always was.
const char kSetCurrentTrackArtworkFromFile[] =
    "set theArtFilename to \"/private/tmp/%@\"" "\t\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "set theFile to (POSIX file theArtFilename)" "\t\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "tell application \"Image Events\"" "\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "set myImage to open (theFile as file)" "\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "save myImage as PICT in (file \":private:tmp:artwork.pict\")" "\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "close myImage" "\t\t\t\t\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "tell application \"iTunes\"" "\t\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t\t" "set myTrack to current track" "\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t\t" "set artworkCount to count of artwork of myTrack" "\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t\t" "set myArt to read file pictFile from 513 as picture" "\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t\t" "set data of artwork 1 of current track to myArt" "\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "end tell" "\t\t\t\t\t\t\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "tell application \"Image Events\"" "\t\t\t\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t\t" "delete (file \":private:tmp:artwork.pict\")" "\t\t\t\t\t" "\n"
    "\t\t\t\t\t\t\t\t\t\t" "end tell";

const char kScanLibraryLocations[] =
    "tell app \"iTunes\" to get { location, database ID } of every file track of library playlist 1";
const char kRefreshTrackByDatabaseID[] =
    "tell app \"iTunes\" to refresh (every file track of library playlist 1 whose database ID is %ld)";

namespace {

QByteArray withArgument(const char *text, const char *placeholder, const QByteArray &value)
{
    QByteArray script(text);
    const qsizetype at = script.indexOf(placeholder);
    if (at >= 0)
        script.replace(at, qsizetype(qstrlen(placeholder)), value);
    return script;
}

} // namespace

QByteArray setCurrentTrackRatingScript(int rating)
{
    return withArgument(kSetCurrentTrackRating, "%d", QByteArray::number(rating));
}

QByteArray playTrackNamedScript(const QString &name) { return withArgument(kPlayTrackNamed, "%@", name.toUtf8()); }

QByteArray setCurrentTrackArtworkFromFileScript(const QString &fileName)
{
    return withArgument(kSetCurrentTrackArtworkFromFile, "%@", fileName.toUtf8());
}

QByteArray refreshTrackScript(long databaseID)
{
    return withArgument(kRefreshTrackByDatabaseID, "%ld", QByteArray::number(qlonglong(databaseID)));
}

} // namespace kestrabel::player::scripts
