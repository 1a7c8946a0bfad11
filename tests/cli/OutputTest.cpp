#include "Output.h"
#include "Template.h"
#include "TestSupport.h"
#include "Values.h"

#include <gtest/gtest.h>

using namespace kestrabel::cli;

TEST(Output, ReportShapes)
{
    FileReport ok;
    ok.path = "/x/a.mp3";
    ok.kind = kMediaFileTypeMP3;
    ok.entries.push_back({MediaFileGetDataIDInfo(kMediaFileDataIDTitle), std::string("T")});
    ok.entries.push_back({MediaFileGetDataIDInfo(kMediaFileDataIDTrackNumber), int32_t(3)});
    ok.entries.push_back({MediaFileGetDataIDInfo(kMediaFileDataIDArtwork), ByteValue{23456, "ab", "JPEG image, 23 456 bytes"}});
    EXPECT_EQ(reportAsJson(ok), "{\"path\": \"/x/a.mp3\", \"kind\": \"MP3\", \"status\": 0, \"values\": {\"kMediaFileDataIDTitle\": \"T\", "
                                "\"kMediaFileDataIDTrackNumber\": 3, \"kMediaFileDataIDArtwork\": {\"length\": 23456, \"sha256\": \"ab\"}}}");
    std::string text = reportAsText(ok);
    EXPECT_NE(text.find("Track Number : 3"), std::string::npos) << text;
    EXPECT_NE(text.find("Cover Art    : JPEG image, 23 456 bytes"), std::string::npos) << text;

    FileReport failed;
    failed.path = "/x/b.mp3";
    failed.status = kMediaFileErrCantOpen;
    EXPECT_EQ(reportAsJson(failed), "{\"path\": \"/x/b.mp3\", \"status\": -6755, \"error\": \"kMediaFileErrCantOpen: the file cannot be opened\"}");
}

// How a value is shown: a text line must not be faked by what the value holds, JSON stays valid
// for any bytes, and the audio line gives each figure only where it is known.
TEST(Output, ShownAs)
{
    const uint8_t png[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    auto audio = [](const char *codec, uint32_t ms, uint32_t rate, uint32_t channels, uint32_t bits, uint32_t kbps) {
        return audioSummary({sizeof(MediaFileAudioProperties), codec, ms, rate, channels, bits, kbps});
    };
    const std::pair<std::string, std::string> rows[] = {
        {escapeText("plain ☃"), "plain ☃"},
        {escapeText("one\ntwo"), "one\\ntwo"},
        {escapeText("cr\rtab\t"), "cr\\rtab\\t"},
        {escapeText("\x01\x1b[2J\x7f"), "\\x01\\x1b[2J\\x7f"},
        {escapeText("c1\xC2\x85"), "c1\\u0085"},
        {escapeText("bad\xFF"), "bad\xEF\xBF\xBD"},
        {escapeText("back\\slash"), "back\\slash"},
        {jsonString("a\"b\\c\n\x01"), "\"a\\\"b\\\\c\\n\\u0001\""},
        {jsonString("bad\xFF"), "\"bad\xEF\xBF\xBD\""},
        {describeBytes(png, sizeof png), "PNG image, 8 bytes"},
        {describeBytes(png, 1), "binary data, 1 byte"},
        {groupDigits(1234567), "1 234 567"},
        {groupDigits(999), "999"},
        {audio("AAC", 222000, 44100, 2, 0, 256), "AAC, 44.1 kHz, stereo, 256 kbit/s, 3:42"},
        {audio("FLAC", 3723499, 96000, 1, 24, 2100), "FLAC, 96 kHz, mono, 24-bit, 2100 kbit/s, 1:02:03"},
        {audio("PCM", 500, 22050, 6, 16, 0), "PCM, 22.05 kHz, 6 channels, 16-bit, 0:01"},
        {audio("Opus", 0, 48000, 2, 0, 0), "Opus, 48 kHz, stereo, 0:00"},
    };
    for (size_t row = 0; row < std::size(rows); ++row)
        EXPECT_EQ(rows[row].first, rows[row].second) << "row " << row;
    FileReport report;
    report.path = "/x/a\nb.mp3";
    report.kind = kMediaFileTypeMP3;
    report.entries.push_back({MediaFileGetDataIDInfo(kMediaFileDataIDLyrics), std::string("la\nla\n")});
    EXPECT_EQ(reportAsText(report), "/x/a\\nb.mp3 (MP3)\n  Lyrics : la\\nla\\n\n");
}

TEST(Template, ExpandAndMatch)
{
    struct Row {
        const char *text;
        const char *expanded; // with Title "Hovering", Track Number "7", Artist none; nullptr: refused
        const char *name;     // matched against the template
        const char *fields;   // "field=value;..." as matched; nullptr: no match
    };
    const Row rows[] = {
        {"%{Track Number:02} %{Title}", "07 Hovering", "07 Hovering", "Track Number=07;Title=Hovering;"},
        {"%{Track Number:3}|%{Artist}|%%", "  7||%", "12|Kestrel|%", "Track Number=12;Artist=Kestrel;"},
        {"%{Track Number} - %{Title}", "7 - Hovering", "07 - Night - live", "Track Number=07;Title=Night - live;"},
        {"%{Artist} - %{Title}", " - Hovering", "A - B - C", "Artist=A;Title=B - C;"},
        {"%{*} %{Track Number} %{Title}", " 7 Hovering", "CD1 03 Song", "*=CD1;Track Number=03;Title=Song;"},
        {"%{Track Number}. %{Title}", "7. Hovering", "Intro. Song", nullptr},
        {"%{kMediaFileDataIDTitle}%{title}", "HoveringHovering", "ab", "kMediaFileDataIDTitle=a;title=b;"},
        {"%{Nope}", nullptr, "", nullptr},
        {"%{Title:x}", nullptr, "", nullptr},
        {"50% %{Title}", nullptr, "", nullptr},
        {"%{Title", nullptr, "", nullptr},
        {"%{File ID}", nullptr, "", nullptr},
    };
    for (const Row &row : rows) {
        std::string error;
        std::optional<Template> parsed = Template::parse(row.text, &error);
        ASSERT_EQ(parsed.has_value(), row.expanded != nullptr) << row.text << ": " << error;
        if (!parsed)
            continue;
        auto lookup = [](const TemplateField &field) -> std::optional<std::string> {
            if (field.info && field.info->dataID == kMediaFileDataIDTitle)
                return "Hovering";
            if (field.info && field.info->dataID == kMediaFileDataIDTrackNumber)
                return "7";
            return std::nullopt;
        };
        EXPECT_EQ(parsed->expand(lookup), row.expanded) << row.text;
        std::optional<Template::Match> match = parsed->match(row.name);
        ASSERT_EQ(match.has_value(), row.fields != nullptr) << row.text << " / " << row.name;
        std::string fields;
        for (const auto &[field, value] : match.value_or(Template::Match{}))
            fields += field->name + "=" + value + ";";
        if (row.fields) {
            EXPECT_EQ(fields, row.fields) << row.text << " / " << row.name;
        }
    }
}

// A number is taken whole or not at all (from-name's match gives only digits, so only here).
TEST(Values, WriteTextTakesANumberWholeOrNotAtAll)
{
    kestrabel::test::TempDir dir;
    kestrabel::test::OpenFile file(dir.copyFixture("id3v23-full.mp3"));
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    const MediaFileDataIDInfo *track = MediaFileGetDataIDInfo(kMediaFileDataIDTrackNumber);
    for (const char *junk : {"7x", "99999999999", ""})
        EXPECT_EQ(writeText(file.ref(), track, junk), kMediaFileErrBadFormat) << junk;
    EXPECT_EQ(writeText(file.ref(), track, "7"), kMediaFileNoErr);
}
