// The fixed AppleScript texts through which Kestrabel talks to iTunes where the player is driven
// by scripts. They are part of the system and are used byte for byte, tabs included.
#pragma once

#include <QByteArray>
#include <QString>

namespace kestrabel::player::scripts {

extern const char kCurrentTrackName[];
extern const char kCurrentTrackArtist[];
extern const char kCurrentTrackAlbum[];
extern const char kCurrentTrackGenre[];
extern const char kCurrentTrackRating[];
extern const char kCurrentTrackArtwork[];
extern const char kCurrentTrackLocation[];
extern const char kPlayerState[];

extern const char kPlay[];
extern const char kPause[];
extern const char kPlayPause[];
extern const char kStop[];
extern const char kNextTrack[];
extern const char kPreviousTrack[];
// Formats: %d the rating; %@ a track name; %@ a file name in /private/tmp; %ld a database ID.
extern const char kSetCurrentTrackRating[];
extern const char kPlayTrackNamed[];
extern const char kAlbumTrackNames[];
extern const char kSetCurrentTrackArtworkFromFile[];
extern const char kScanLibraryLocations[];
extern const char kRefreshTrackByDatabaseID[];

// The player state iTunes answers while it plays ('kPSP').
inline constexpr quint32 kPlayerStatePlaying = 0x6B505350;

// The texts with their one argument put in. Names go in as they are, quotes and all, exactly as
// the scripts have always received them.
QByteArray setCurrentTrackRatingScript(int rating);
QByteArray playTrackNamedScript(const QString &name);
QByteArray setCurrentTrackArtworkFromFileScript(const QString &fileName);
QByteArray refreshTrackScript(long databaseID);

} // namespace kestrabel::player::scripts
