// kestrabel-tag now against the fake player on the private bus.
#include "PlayerTestSupport.h"
#include "TestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace kestrabel::test;

TEST(NowCommand, Rows)
{
    if (!privateBusRunning())
        GTEST_SKIP() << "dbus-daemon is not available";
    const auto now = [](const std::string &arguments, std::string *output) {
        return runCommand(shellQuote(cliPath()) + " now " + arguments + " 2>&1", output);
    };
    const auto playerWith = [](const char *identity, const char *status, const QJsonObject &current) {
        return QJsonObject{{"identity", identity}, {"status", status}, {"current", 0}, {"trackList", current.contains("mpris:trackid")},
                           {"tracks", QJsonArray{current}}};
    };
    const struct {
        const char *arguments;
        int status;
        const char *shows; // exactly, when it starts with '{'
    } rows[] = {
        {"--json", 1, "{\"player\": null}\n"}, {"", 1, ""}, {"--player", 2, ""}, {"--loud", 2, ""}, {"--help", 0, "usage: kestrabel-tag now"},
        {"@start", 0, ""},
        {"--json", 0, R"({"player": "Fake Player", "playing": true, "title": "Low \"Tide\"", "artist": "The Gulls, Mara", )"
                      R"("album": "Harbour Lights", "genre": "Shanty", "rating": 60, "path": "/no/such/Low Tide.mp3", )"
                      R"("artworkBytes": 6, "albumTracks": ["Low \"Tide\""]})"},
        {"", 0, "Fake Player (playing)"},
        {"--player alpha", 0, "Alpha (not playing)"},
        {"--player alpha", 0, "Title        : From Alpha"},
        {"--player alpha", 0, "(not a local file)"},
        // A player that stopped answering is left out after a second; asked for by name, it is an error.
        {"@hang", 0, ""},
        {"", 0, "Alpha (not playing)"},
        {"--player fake", 1, "the player org.mpris.MediaPlayer2.fake does not answer"},
    };
    std::optional<FakePlayer> fake, alpha;
    for (const auto &row : rows) {
        if (std::string(row.arguments) == "@start") {
            fake.emplace("fake", playerWith("Fake Player", "Playing",
                                            {{"mpris:trackid", "/t/1"}, {"xesam:title", "Low \"Tide\""}, {"xesam:artist", QJsonArray{"The Gulls", "Mara"}},
                                             {"xesam:album", "Harbour Lights"}, {"xesam:genre", "Shanty"}, {"xesam:userRating", 0.6},
                                             {"xesam:url", "file:///no/such/Low%20Tide.mp3"}, {"mpris:artUrl", "data:image/jpeg;base64,/9j/4AAQ"}}));
            alpha.emplace("alpha", playerWith("Alpha", "Paused", {{"xesam:title", "From Alpha"}, {"xesam:url", "http://stream.invalid/a"}}));
            ASSERT_TRUE(fake->ready() && alpha->ready());
            continue;
        }
        if (std::string(row.arguments) == "@hang") {
            fake->hang();
            continue;
        }
        std::string output;
        EXPECT_EQ(now(row.arguments, &output), row.status) << row.arguments << ": " << output;
        if (row.shows[0] == '{') {
            const QJsonDocument got = QJsonDocument::fromJson(QByteArray::fromStdString(output));
            EXPECT_EQ(got, QJsonDocument::fromJson(row.shows)) << output;
            EXPECT_TRUE(std::string(row.shows).find("null") == std::string::npos || output == row.shows) << output;
        } else {
            EXPECT_NE(output.find(row.shows), std::string::npos) << row.arguments << ": " << output;
        }
    }
    fake->resume();
}
