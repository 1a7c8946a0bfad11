// kestrabel-tag now: the music player's current track as the player bridge sees it.
#include "Commands.h"
#include "Output.h"
#include "PlayerConnection.h"

#include <QCoreApplication>

#include <cstdio>
#include <optional>

namespace kestrabel::cli {

const char kNowHelp[] =
    "usage: kestrabel-tag now [--json] [--player PLAYER]\n\n"
    "Prints the track the music player is playing now, as the control window sees it: the\n"
    "player, whether it plays, title, artist, album, genre, rating (0-100), the file's path,\n"
    "the size of the artwork and the titles of the album's tracks. Where the track is a local\n"
    "file, title, artist, album and genre are read from the file itself.\n\n"
    "The player is found on the D-Bus session bus (MPRIS 2): the one named by --player when it\n"
    "runs (\"vlc\", \"mpv\", \"strawberry\"), else the one that started playing last, else the one\n"
    "seen last. A player that does not answer within a second is left out.\n\n"
    "Options:\n"
    "  --json         one JSON object instead of text\n"
    "  --player PLAYER  prefer this player\n\n"
    "Exit status: 0 a player runs, 1 none runs or the named one does not answer, 2 usage error.\n";

namespace {

struct NowPlaying {
    std::string player;
    bool playing = false;
    std::string title;
    std::string artist;
    std::string album;
    std::string genre;
    int rating = 0;
    std::optional<std::string> path;
    qsizetype artworkBytes = 0;
    std::vector<std::string> albumTracks;
};

std::string text(const QString &value) { return value.toStdString(); }

NowPlaying ask(player::PlayerConnection &connection)
{
    NowPlaying now;
    now.player = text(connection.playerIdentity());
    now.playing = connection.isPlaying();
    now.title = text(connection.copyCurrentTrackName());
    now.artist = text(connection.copyCurrentTrackArtist());
    now.album = text(connection.copyCurrentTrackAlbum());
    now.genre = text(connection.copyCurrentTrackGenre());
    now.rating = connection.currentTrackRating();
    if (const QString path = connection.copyCurrentTrackPath(); !path.isNull())
        now.path = text(path);
    now.artworkBytes = connection.copyCurrentTrackArtwork().size();
    for (const QString &title : connection.copyAlbumTrackNames())
        now.albumTracks.push_back(text(title));
    return now;
}

std::string asJson(const NowPlaying &now)
{
    std::string out = "{\"player\": " + jsonString(now.player);
    out += std::string(", \"playing\": ") + (now.playing ? "true" : "false");
    out += ", \"title\": " + jsonString(now.title);
    out += ", \"artist\": " + jsonString(now.artist);
    out += ", \"album\": " + jsonString(now.album);
    out += ", \"genre\": " + jsonString(now.genre);
    out += ", \"rating\": " + std::to_string(now.rating);
    out += ", \"path\": " + (now.path ? jsonString(*now.path) : std::string("null"));
    out += ", \"artworkBytes\": " + std::to_string(now.artworkBytes);
    out += ", \"albumTracks\": [";
    for (size_t i = 0; i < now.albumTracks.size(); ++i)
        out += (i ? ", " : "") + jsonString(now.albumTracks[i]);
    return out + "]}\n";
}

std::string asText(const NowPlaying &now)
{
    std::string out;
    const auto line = [&](const char *name, const std::string &value) {
        char label[24];
        std::snprintf(label, sizeof label, "  %-13s: ", name);
        out += label + escapeText(value) + "\n";
    };
    out += escapeText(now.player) + (now.playing ? " (playing)\n" : " (not playing)\n");
    line("Title", now.title);
    line("Artist", now.artist);
    line("Album", now.album);
    line("Genre", now.genre);
    line("Rating", std::to_string(now.rating));
    line("Path", now.path ? *now.path : std::string("(not a local file)"));
    line("Artwork", now.artworkBytes ? std::to_string(now.artworkBytes) + " bytes" : std::string("none"));
    std::string titles;
    for (size_t i = 0; i < now.albumTracks.size(); ++i)
        titles += (i ? "; " : "") + now.albumTracks[i];
    line("Album tracks", titles);
    return out;
}

} // namespace

int runNow(const Args &args)
{
    bool json = false;
    QString preferred;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "-h" || args[i] == "--help") {
            std::fputs(kNowHelp, stdout);
            return 0;
        }
        if (args[i] == "--json") {
            json = true;
        } else if (args[i] == "--player") {
            if (++i == args.size())
                return usageError("now", "--player needs a name");
            preferred = QString::fromStdString(args[i]);
        } else {
            return usageError("now", "unknown argument '" + args[i] + "'");
        }
    }
    // Qt's D-Bus needs an application object; another command may have made one already.
    std::optional<QCoreApplication> app;
    static int argc = 1;
    static char name[] = "kestrabel-tag";
    static char *argv[] = {name, nullptr};
    if (!QCoreApplication::instance())
        app.emplace(argc, argv);

    const std::unique_ptr<player::PlayerConnection> connection = player::createPlayerConnection(preferred);
    // Every question goes to the one player chosen now, even if another starts meanwhile.
    const QString chosen = connection->currentPlayerId();
    connection->pinPlayer(chosen);
    std::optional<NowPlaying> now;
    if (connection->isRunning())
        now = ask(*connection);
    if (const QString hung = connection->unansweredPreferredPlayer(); !hung.isNull()) {
        printError("now: the player " + hung.toStdString() +
                   " does not answer on the D-Bus session bus (no reply within a second)");
        return 1;
    }
    if (!now || !connection->isRunning()) {
        if (json)
            std::fputs("{\"player\": null}\n", stdout);
        else
            printError("now: no music player is running (none answers on the D-Bus session bus)");
        return 1;
    }
    const std::string out = json ? asJson(*now) : asText(*now);
    std::fwrite(out.data(), 1, out.size(), stdout);
    return 0;
}

} // namespace kestrabel::cli
