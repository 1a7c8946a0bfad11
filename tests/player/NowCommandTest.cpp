// kestrabel-tag now against the fake player on the private bus.
#include "PlayerTestSupport.h"
#include "TestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace kestrabel::test;

namespace {

class NowCommandTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!privateBusRunning())
            GTEST_SKIP() << "dbus-daemon is not available";
    }

    static int now(const std::string &arguments, std::string *output)
    {
        return runCommand(shellQuote(cliPath()) + " now " + arguments, output);
    }
};

TEST_F(NowCommandTest, PrintsTheCurrentTrackAsJson)
{
    const QJsonObject current{{"mpris:trackid", "/t/1"},
                              {"xesam:title", "Low \"Tide\""},
                              {"xesam:artist", QJsonArray{"The Gulls", "Mara"}},
                              {"xesam:album", "Harbour Lights"},
                              {"xesam:genre", "Shanty"},
                              {"xesam:userRating", 0.6},
                              {"xesam:url", "file:///no/such/Low%20Tide.mp3"},
                              {"mpris:artUrl", "data:image/jpeg;base64,/9j/4AAQ"}};
    FakePlayer player("fake", {{"identity", "Fake Player"}, {"status", "Playing"}, {"current", 0},
                               {"trackList", true}, {"tracks", QJsonArray{current}}});
    ASSERT_TRUE(player.ready());
    std::string output;
    ASSERT_EQ(now("--json", &output), 0) << output;
    QJsonParseError error{};
    const QJsonObject now = QJsonDocument::fromJson(QByteArray::fromStdString(output), &error).object();
    ASSERT_EQ(error.error, QJsonParseError::NoError) << output;
    EXPECT_EQ(now.value("player").toString(), "Fake Player");
    EXPECT_TRUE(now.value("playing").toBool());
    EXPECT_EQ(now.value("title").toString(), "Low \"Tide\"");
    EXPECT_EQ(now.value("artist").toString(), "The Gulls, Mara");
    EXPECT_EQ(now.value("album").toString(), "Harbour Lights");
    EXPECT_EQ(now.value("genre").toString(), "Shanty");
    EXPECT_EQ(now.value("rating").toInt(), 60);
    EXPECT_EQ(now.value("path").toString(), "/no/such/Low Tide.mp3");
    EXPECT_EQ(now.value("artworkBytes").toInt(), 6);
    EXPECT_EQ(now.value("albumTracks").toArray(), QJsonArray{"Low \"Tide\""});
}

TEST_F(NowCommandTest, PrintsTextAndPrefersTheNamedPlayer)
{
    FakePlayer alpha("alpha", {{"identity", "Alpha"}, {"status", "Paused"}, {"current", 0},
                               {"tracks", QJsonArray{QJsonObject{{"xesam:title", "From Alpha"},
                                                                 {"xesam:url", "http://stream.invalid/a"}}}}});
    FakePlayer beta("beta", {{"identity", "Beta"}, {"status", "Playing"}, {"current", 0},
                             {"tracks", QJsonArray{QJsonObject{{"xesam:title", "From Beta"}}}}});
    ASSERT_TRUE(alpha.ready() && beta.ready());
    std::string output;
    ASSERT_EQ(now("", &output), 0);
    EXPECT_NE(output.find("Beta (playing)"), std::string::npos) << output;
    EXPECT_NE(output.find("From Beta"), std::string::npos) << output;
    ASSERT_EQ(now("--player alpha", &output), 0);
    EXPECT_NE(output.find("Alpha (not playing)"), std::string::npos) << output;
    EXPECT_NE(output.find("Title        : From Alpha"), std::string::npos) << output;
    EXPECT_NE(output.find("(not a local file)"), std::string::npos) << output;
}

// A player that stopped answering is left out after a second; asked for by name, it is an error.
TEST_F(NowCommandTest, HungPlayerIsLeftOutOrNamed)
{
    const auto playing = [](const char *title) {
        return QJsonObject{{"identity", title}, {"status", "Playing"}, {"current", 0},
                           {"tracks", QJsonArray{QJsonObject{{"xesam:title", title}}}}};
    };
    FakePlayer alpha("alpha", playing("Alpha"));
    FakePlayer beta("beta", playing("Beta"));
    ASSERT_TRUE(alpha.ready() && beta.ready());
    beta.hang();
    const struct {
        const char *arguments;
        int status;
        const char *shown;
    } rows[] = {
        {"", 0, "Alpha (playing)"},
        {"--player alpha", 0, "Alpha (playing)"},
        {"--player beta", 1, "the player org.mpris.MediaPlayer2.beta does not answer"},
    };
    for (const auto &row : rows) {
        std::string output;
        EXPECT_EQ(now(std::string(row.arguments) + " 2>&1", &output), row.status) << row.arguments;
        EXPECT_NE(output.find(row.shown), std::string::npos) << row.arguments << ": " << output;
    }
    beta.resume();
}

TEST_F(NowCommandTest, NoPlayerAndUsageErrors)
{
    std::string output;
    EXPECT_EQ(now("--json", &output), 1);
    EXPECT_EQ(output, "{\"player\": null}\n");
    EXPECT_EQ(now("", &output), 1);
    EXPECT_EQ(now("--player", &output), 2);
    EXPECT_EQ(now("--loud", &output), 2);
    EXPECT_EQ(now("--help", &output), 0);
    EXPECT_NE(output.find("usage: kestrabel-tag now"), std::string::npos);
}

} // namespace
