#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace kestrabel::test;

namespace {

int cli(const std::string &arguments, std::string *output = nullptr, bool mergeStderr = false)
{
    return runCommand(shellQuote(cliPath()) + " " + arguments, output, mergeStderr);
}

// Every line of the output must be one valid JSON object.
bool isJsonLines(const std::string &output)
{
    TempDir dir;
    writeFile(dir.file("out.jsonl"), output);
    return runCommand("/usr/bin/python3 -c 'import json,sys\nfor l in open(sys.argv[1]): json.loads(l)' " + shellQuote(dir.file("out.jsonl"))) == 0;
}

} // namespace

TEST(Cli, ShowJsonOnAnyFileAndFailuresGoOn)
{
    TempDir dir;
    std::filesystem::create_directories(dir.path() / "Album");
    std::string movie = (dir.path() / "Album" / "clip \"one\".mov").string();
    writeFile(movie, "x");
    std::string output;
    int status = cli("show --json " + shellQuote(dir.file("missing.xyz")) + " " + shellQuote(movie), &output);
    EXPECT_EQ(status, 1) << "one file failed";
    EXPECT_TRUE(isJsonLines(output)) << output;
    EXPECT_NE(output.find("\"status\": 2, \"error\": \"ENOENT: "), std::string::npos) << output;
    EXPECT_NE(output.find("\"kind\": \"QuickTime\""), std::string::npos) << output;
    EXPECT_NE(output.find("\"kMediaFileDataIDFilename\": \"clip \\\"one\\\".mov\""), std::string::npos) << output;
    EXPECT_NE(output.find("\"kMediaFileDataIDParent1\": \"Album\""), std::string::npos) << output;
    EXPECT_EQ(cli("show --json " + shellQuote(movie), &output), 0);
}

TEST(Cli, ShowTextNamesTheFileAndStatusOnError)
{
    TempDir dir;
    std::string text = dir.file("notes.txt");
    writeFile(text, "plain text");
    std::string output;
    EXPECT_EQ(cli("show " + shellQuote(text), &output, true), 1);
    EXPECT_NE(output.find(text), std::string::npos);
    EXPECT_NE(output.find("kMediaFileErrUnsupported (-6735)"), std::string::npos) << output;
}

TEST(Cli, UsageErrorsExitWithTwo)
{
    std::string output;
    EXPECT_EQ(cli("", &output, true), 2);
    EXPECT_EQ(cli("frobnicate x", &output, true), 2);
    EXPECT_EQ(cli("show", &output, true), 2);
    EXPECT_EQ(cli("show --bogus x", &output, true), 2);
    EXPECT_EQ(cli("set x.mp3", &output, true), 2) << "nothing to change";
    EXPECT_EQ(cli("set -t Nonsense=1 x.mp3", &output, true), 2);
    EXPECT_NE(output.find("unknown data ID 'Nonsense'"), std::string::npos) << output;
    EXPECT_EQ(cli("set -t Bitrate=1 x.mp3", &output, true), 2);
    EXPECT_EQ(cli("set -t \"Bit Rate=1\" x.mp3", &output, true), 2);
    EXPECT_NE(output.find("read-only"), std::string::npos) << output;
}

TEST(Cli, HelpExplainsEveryCommand)
{
    std::string output;
    ASSERT_EQ(cli("--help", &output), 0);
    EXPECT_NE(output.find("show"), std::string::npos);
    EXPECT_NE(output.find("set"), std::string::npos);
    ASSERT_EQ(cli("show --help", &output), 0);
    EXPECT_NE(output.find("--no-audio-info"), std::string::npos);
    ASSERT_EQ(cli("help set", &output), 0);
    EXPECT_NE(output.find("--id3v2.4"), std::string::npos);
    ASSERT_EQ(cli("names", &output), 0);
    EXPECT_NE(output.find("kMediaFileDataIDBWFOriginatorReference"), std::string::npos);
}

TEST(Cli, SetRefusedOnAKindWithoutTags)
{
    TempDir dir;
    std::string movie = dir.file("clip.mov");
    writeFile(movie, "x");
    std::string output;
    EXPECT_EQ(cli("set -t Title=x " + shellQuote(movie), &output, true), 1);
    EXPECT_NE(output.find("kMediaFileDataIDTitle: kMediaFileErrUnsupported"), std::string::npos) << output;
}

// The audio line and object, and --no-audio-info without them; an Opus file names its codec.
TEST(Cli, ShowAudioProperties)
{
    struct Case {
        const char *arguments;
        const char *expected; // null: must not appear
        const char *absent;
    };
    const std::string aac = shellQuote(fixturePath("props-aac.m4a"));
    const std::string opus = shellQuote(fixturePath("opus-tagged.opus"));
    const Case cases[] = {
        {"show ", "  Audio: AAC, 44.1 kHz, stereo, 63 kbit/s, 0:01\n", nullptr},
        {"show --json ", "\"kind\": \"MP4\", \"audio\": {\"codec\": \"AAC\", \"durationMs\": 500, \"sampleRate\": 44100, "
                         "\"channels\": 2, \"bitsPerSample\": 0, \"bitRate\": 63}",
         nullptr},
        {"show --no-audio-info ", nullptr, "Audio:"},
        {"show --json --no-audio-info ", nullptr, "\"audio\""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.arguments);
        std::string output;
        ASSERT_EQ(cli(c.arguments + aac, &output), 0);
        if (c.expected) {
            EXPECT_NE(output.find(c.expected), std::string::npos) << output;
        }
        if (c.absent) {
            EXPECT_EQ(output.find(c.absent), std::string::npos) << output;
        }
    }
    std::string output;
    ASSERT_EQ(cli("show " + opus, &output), 0);
    EXPECT_NE(output.find("(Ogg Opus)\n  Audio: Opus, 48 kHz, stereo"), std::string::npos) << output;
}

TEST(Cli, EveryFileCommandTakesClassic)
{
    std::string output;
    ASSERT_EQ(cli("--help", &output), 0);
    EXPECT_NE(output.find("interop profile"), std::string::npos) << output;
    EXPECT_NE(output.find("--classic"), std::string::npos) << output;
    // The commands --help lists, from "  name  summary" lines after "Commands:".
    std::istringstream lines(output.substr(output.find("Commands:")));
    int checked = 0;
    for (std::string line; std::getline(lines, line) && (line.empty() || line.rfind("  ", 0) == 0 || checked == 0);) {
        if (line.rfind("  ", 0) != 0)
            continue;
        const std::string command = line.substr(2, line.find(' ', 2) - 2);
        if (command == "now")
            continue; // the player's track, not a file
        std::string help;
        EXPECT_EQ(cli(command + " --classic --help", &help, true), 0) << command << ": " << help;
        EXPECT_NE(help.find("--classic"), std::string::npos) << command;
        ++checked;
    }
    EXPECT_GE(checked, 2);
}

// Qt Gui and D-Bus are loaded only by the commands that use them, so that the others start fast.
TEST(Cli, OnlyTheQtCommandsLoadQt)
{
    struct Case {
        const char *arguments;
        bool loadsQt;
    };
    const Case cases[] = {
        {"show --json {F}", false},
        {"get Title {F}", false},
        {"set -t Title=x {F}", false},
#ifdef KESTRABEL_CLI_OBJECTS
        {"artwork --overwrite -o {O} {F}", true},
        {"set --artwork {I} {F}", true},
#endif
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.arguments);
        TempDir dir;
        std::string file = dir.file("cover.m4a");
        std::filesystem::copy_file(fixturePath("cover.m4a"), file);
        std::string arguments = c.arguments;
        auto put = [&](const std::string &slot, const std::string &value) {
            if (size_t at = arguments.find(slot); at != std::string::npos)
                arguments.replace(at, slot.size(), shellQuote(value));
        };
        put("{O}", dir.file("out.jpg"));
        put("{I}", fixturePath("escn-cover.jpg"));
        put("{F}", file);
        std::string output;
        ASSERT_EQ(runCommand("LD_DEBUG=files " + shellQuote(cliPath()) + " " + arguments, &output, true), 0) << output;
        EXPECT_EQ(output.find("libQt6Gui") != std::string::npos, c.loadsQt);
    }
}
