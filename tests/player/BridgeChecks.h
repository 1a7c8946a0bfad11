// Checks every player connection must pass, whatever talks to the player.
#pragma once

#include "PlayerConnection.h"

#include <gtest/gtest.h>

namespace kestrabel::test {

// Title, artist, album, genre and path, for comparing in one line.
inline QStringList trackFields(player::PlayerConnection &c)
{
    return {c.copyCurrentTrackName(), c.copyCurrentTrackArtist(), c.copyCurrentTrackAlbum(), c.copyCurrentTrackGenre(),
            c.copyCurrentTrackPath()};
}

// Without a player every query is empty and every command fails.
inline void expectNoPlayer(player::PlayerConnection &c)
{
    const QStringList texts = trackFields(c) << c.playerIdentity();
    for (const QString &text : texts)
        EXPECT_TRUE(text.isNull()) << text.toStdString();
    EXPECT_TRUE(c.copyCurrentTrackArtwork().isNull() && c.copyAlbumTrackNames().isEmpty() && c.currentTrackRating() == 0);
    EXPECT_FALSE(c.isPlaying() || c.play() || c.pause() || c.playPause() || c.stop() || c.nextTrack() || c.previousTrack()
                 || c.setCurrentTrackRating(40) || c.playTrackNamed("Any"));
}

} // namespace kestrabel::test
