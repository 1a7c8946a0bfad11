// Files as other tools write them, edited once by kestrabel-tag: every value and picture the peers
// (mutagen, ffprobe, ffmpeg, metaflac, vorbiscomment and TagLib where its headers are installed)
// read before is read the same after, but for the fields edited, which they read as set; the
// decoded audio and the validators' verdicts stay the same. One table over every kind; each row
// names the field of the rules records it exercises and runs with the interop profile (the
// default) and with --classic, whose outcome the row documents.
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

using namespace kestrabel::test;

namespace {

// What one command did to a file, in the eyes of the peers and of our own reader: everything read
// before is read after and the edit is seen by every peer; or the save went through but a value
// was lost, changed, hidden or not seen; or the command failed and the file is as it was.
enum Outcome { Keeps, Loses, Refuses };
const char *const kOutcomeNames[] = {"keeps", "loses", "refuses"};

struct InteropRow {
    const char *name;
    const char *rule;    // the field of a rules record the row exercises, "ID3Rules.plainComment"
    const char *fixture; // under tests/data
    std::string command; // kestrabel-tag's command and options before the file; {d}: tests/data
    // Peer lines after the command, as the dump prints them ("mutagen:TIT2=New"). "*:NAME=value":
    // every peer's NAME (any case, after a "format." or "stream0." prefix) reads value, and one at
    // least has it; a value "*" may be anything; no "=": the key is gone; a key ending in "*" names
    // every key it begins.
    std::vector<std::string> changed;
    // What our show prints before the edit: "Name=value", or "Name=" for a value that must be absent.
    std::vector<std::string> shown;
    Outcome interop, classic;
    const char *says = "", *classicSays = ""; // in the command's output under each profile
};

void PrintTo(const InteropRow &row, std::ostream *out) { *out << row.name; }

std::string tag(const std::string &value) { return "set -t " + shellQuote(value); }

const std::string kLongTitle(256, 'T');
// Longer than the padding any of the fixtures below has, so that the save has to grow.
const std::string kLongComment(3000, 'c');

const std::vector<InteropRow> kRows = {
    // MP3 files as ffmpeg and mutagen write them.
    {"V24SynchsafeSizes", "ID3Rules.synchsafeV24Sizes", "interop/v24-cover-sizes.mp3", tag("Title=" + kLongTitle),
     {"mutagen:TIT2=" + kLongTitle, "ffprobe:format.title=" + kLongTitle, "taglib:TITLE=" + kLongTitle}, {}, Keeps, Loses},
    {"V24ExtendedHeader", "ID3Rules.skipV24ExtendedHeader", "interop/v24-ext-header.mp3", tag("Album=New Album"),
     {"mutagen:TALB=New Album", "ffprobe:format.album=New Album", "taglib:ALBUM=New Album"}, {"Title=Behind an extended header", "Artist=Artist"}, Keeps,
     Refuses},
    {"TsseIsNotIsrc", "ID3Rules.canonicalIsLongID", "interop/ffmpeg-tsse.mp3", tag("ISRC=USKES2600001"),
     {"mutagen:TSRC=USKES2600001", "ffprobe:format.tsrc=USKES2600001", "taglib:ISRC=USKES2600001"}, {"ISRC="}, Keeps, Loses},
    {"V24BareNumberGenre", "ID3Rules.bareNumberGenre", "interop/v24-bare-genre.mp3", tag("Title=New Title"),
     {"mutagen:TIT2=New Title", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {"Genre=Pop"}, Keeps, Loses},
    {"CommentWithoutDescription", "ID3Rules.plainComment", "interop/itunes-comments.mp3", tag("Comment=New comment"),
     {"mutagen:COMM::eng=New comment", "ffprobe:format.comment=New comment", "taglib:COMMENT=New comment"}, {"Comment=The real comment"}, Keeps, Loses},
    {"GrowingTagLeavesRoom", "ID3Rules.roomToGrow", "interop/ffmpeg-tsse.mp3", tag("Title=" + kLongTitle),
     {"mutagen:TIT2=" + kLongTitle, "ffprobe:format.title=" + kLongTitle, "taglib:TITLE=" + kLongTitle}, {}, Keeps, Loses},
    // AIFF and WAVE files as mutagen, ffmpeg and sox write them.
    {"Id3ChunkKeepsVersion", "IFFRules.keepID3Version", "interop/aiff-v24-year.aiff", tag("Title=New Title"),
     {"mutagen:TIT2=New Title", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {"Year=2021", "Sort Order=Sort Artist", "ISRC="}, Keeps, Loses},
    {"NewId3ChunkIsV23", "IFFRules.keepID3Version", "no-tags.wav", tag("Title=New Title"),
     {"mutagen:TIT2=New Title", "ffprobe:format.title=New Title", "taglib:TITLE=New Title", "mutagen:id3-version=2.3", "chunks:ids=fmt ,data,ID3 "}, {}, Keeps,
     Loses},
    {"LowercaseId3Chunk", "IFFRules.lowercaseID3Chunk", "id3-lowercase.wav", tag("Title=New Title"),
     {"mutagen:TIT2=New Title", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {"Title=lower case chunk"}, Keeps, Loses},
    // FFmpeg's WAVE reader shows the bext fields and not the ID3 chunk of a file that has both.
    {"Bext602Bytes", "IFFRules.minimumBextSize", "bext-short.wav", tag("Title=New Title"),
     {"mutagen:TIT2=New Title", "taglib:TITLE=New Title", "mutagen:id3-version=2.3", "chunks:ids=fmt ,bext,data,ID3 "}, {"BWF Description=No history"}, Keeps,
     Refuses},
    {"AiffLastPadMissing", "IFFRules.tolerantEnd", "pad-missing.aiff", tag("Title=New Title"),
     {"mutagen:TIT2=New Title", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {"Title=Middle"}, Keeps, Refuses},
    {"WaveStrayBytesAtEnd", "IFFRules.tolerantEnd", "interop/stray-bytes.wav", tag("Title=New Title"),
     {"mutagen:TIT2=New Title", "ffprobe:format.title=New Title", "taglib:TITLE=New Title", "mutagen:id3-version=2.3", "chunks:ids=fmt ,data,ID3 "}, {}, Keeps,
     Refuses},
    {"Id3ChunkLeavesRoom", "IFFRules.id3Room", "id3-middle.aiff", tag("Comment=" + kLongComment),
     {"mutagen:COMM::eng=" + kLongComment, "taglib:COMMENT=" + kLongComment}, {}, Keeps, Loses},
    // MP4 files as ffmpeg and mutagen write them.
    {"Co64Corrected", "MP4Rules.fixCo64", "co64-faststart.m4a", tag("Title=" + kLongTitle),
     {"mutagen:©nam=[" + kLongTitle + "]", "ffprobe:format.title=" + kLongTitle, "taglib:TITLE=" + kLongTitle}, {}, Keeps, Loses},
    {"FragmentOffsetsCorrected", "MP4Rules.checkFragments", "interop/fragmented.m4a", tag("Title=" + kLongTitle),
     {"mutagen:©nam=[" + kLongTitle + "]", "ffprobe:format.title=" + kLongTitle, "taglib:TITLE=" + kLongTitle}, {}, Keeps, Loses},
    {"FragmentUnreadableRefused", "MP4Rules.checkFragments", "interop/fragment-bad-tfhd.m4a", tag("Title=" + kLongTitle), {}, {}, Refuses, Loses,
     "kMediaFileErrMP4FragmentOffsets (-6821): a movie fragment's offsets cannot be corrected"},
    {"LargeSizeAfterType", "MP4Rules.largeSizeAfterType", "interop/mdat-64bit.m4a", tag("Title=New Title"),
     {"mutagen:©nam=[New Title]", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {"Title=Large mdat"}, Keeps, Refuses},
    {"CreatedMetaHasHdlr", "MP4Rules.createHdlr", "no-udta-faststart.m4a", tag("Title=New Title"),
     {"mutagen:©nam=[New Title]", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {}, Keeps, Loses},
    {"FirstDataWins", "MP4Rules.firstDataWins", "interop/two-artists.m4a", tag("Artist=New Artist"),
     {"mutagen:©ART=[New Artist]", "ffprobe:format.artist=New Artist", "taglib:ARTIST=New Artist"}, {"Artist=First"}, Keeps, Loses},
    {"FirstCoverIsCoverArt", "MP4Rules.firstDataWins", "interop/two-covers.m4a", tag("Title=New Title"),
     {"mutagen:©nam=[New Title]", "ffprobe:format.title=New Title", "taglib:TITLE=New Title"}, {"Cover Art=JPEG image, 512 bytes"}, Keeps, Loses},
    {"MoovLeavesRoom", "MP4Rules.roomToGrow", "tagged-faststart.m4a", tag("Comment=" + kLongComment),
     {"*:COMMENT=" + kLongComment, "mutagen:©cmt=[" + kLongComment + "]"}, {}, Keeps, Keeps},
    // Ogg Vorbis, Ogg Opus and FLAC files as vorbiscomment, metaflac, mutagen, opusenc and ffmpeg write them.
    {"OggSetByExactName", "CommentRules.exactNames", "interop-albumartist.ogg", tag("Album=New Album"), {"*:ALBUM=New Album"}, {"Album=Sampler"}, Keeps, Loses},
    {"OggEveryEntryReplaced", "CommentRules.exactNames", "interop-albumartist.ogg", tag("Genre=Rock"), {"*:GENRE=Rock"}, {"Genre=Jazz"}, Keeps, Loses},
    {"FlacSetByExactName", "CommentRules.exactNames", "interop-names.flac", tag("Album=New Album"), {"*:ALBUM=New Album"}, {"Album=Sampler"}, Keeps, Keeps},
    {"OggTotalTracks", "CommentRules.commonNames", "interop-names.ogg", tag("Total Tracks=10"), {"*:TRACKTOTAL=10", "*:TOTALTRACKS"}, {"Total Tracks=12"},
     Keeps, Loses},
    {"OggTotalDisks", "CommentRules.commonNames", "interop-names.ogg", tag("Disks=4"), {"*:DISCTOTAL=4", "*:DISCC"}, {"Disks=3"}, Keeps, Loses},
    {"OggDiskNumber", "CommentRules.commonNames", "interop-names.ogg", tag("Disk Number=5"),
     {"*:DISCNUMBER=5", "ffprobe:stream0.disc=5", "mutagen:DISC", "vorbiscomment:DISC"}, {"Disk Number=2"}, Keeps, Loses},
    {"OggDate", "CommentRules.commonNames", "interop-names.ogg", tag("Year=2020"), {"*:DATE=2020", "*:YEAR"}, {"Year=2019"}, Keeps, Loses},
    {"FlacTotalTracks", "CommentRules.commonNames", "interop-names.flac", tag("Total Tracks=10"), {"*:TRACKTOTAL=10", "*:TOTALTRACKS"}, {"Total Tracks=12"},
     Keeps, Loses},
    {"FlacDiskNumber", "CommentRules.commonNames", "interop-names.flac", tag("Disk Number=5"),
     {"*:DISCNUMBER=5", "ffprobe:format.disc=5", "mutagen:DISC", "metaflac:DISC"}, {"Disk Number=2"}, Keeps, Loses},
    {"FlacDate", "CommentRules.commonNames", "interop-names.flac", tag("Year=2021"), {"*:DATE=2021", "*:YEAR"}, {"Year=2020"}, Keeps, Loses},
    {"OggVendorKept", "CommentRules.keepVendor", "vorbis-ffmpeg.ogg", tag("Genre=Test Tones"), {"*:GENRE=Test Tones"}, {"Encoder=ffmpeg"}, Keeps, Loses},
    // Which pages hold the audio is for VorbisSaveTest to see; the classic save loses ffmpeg's vendor.
    {"OggAudioPagesCopied", "CommentRules.copyAudioPages", "vorbis-small-pages.ogg", tag("Title=Copied Pages"), {"*:TITLE=Copied Pages"}, {"Sample Rate=11025"},
     Keeps, Loses},
    {"OggPicturesKept", "CommentRules.standardPictures", "interop-pictures.ogg", tag("Title=Retitled"), {"*:TITLE=Retitled"},
     {"Cover Art=JPEG image, 223 bytes", "Artwork Back=PNG image, 95 bytes"}, Keeps, Loses},
    {"OggBackCoverRemoved", "CommentRules.standardPictures", "interop-pictures.ogg", "set --remove 'Artwork Back'",
     {"*:picture=3 image/jpeg interop-front.jpg", "ffmpeg:pictures=*", "ffprobe:stream2.comment", "ffprobe:stream2.title"}, {}, Keeps, Refuses},
    {"OggCoverAdded", "CommentRules.standardPictures", "interop-no-picture.ogg", "set --artwork {d}/interop-front.jpg",
     {"*:picture=3 image/jpeg interop-front.jpg", "ffmpeg:pictures=*", "ffprobe:stream1.comment=Cover (front)"}, {"Cover Art="}, Keeps, Refuses},
    {"OpusTitleKeepsCover", "CommentRules.standardPictures", "interop/opus-cover.opus", tag("Title=New Title"), {"*:TITLE=New Title"},
     {"Cover Art=JPEG image, 223 bytes"}, Keeps, Loses},
    {"FlacPicturesKept", "CommentRules.standardPictures", "interop-pictures.flac", tag("Title=Retitled"), {"*:TITLE=Retitled"},
     {"Cover Art=JPEG image, 223 bytes", "Artwork Back=PNG image, 95 bytes"}, Keeps, Loses},
    {"FlacFrontCoverReplaced", "CommentRules.standardPictures", "interop-pictures.flac", "set --artwork {d}/escn-cover.jpg",
     {"*:picture=3 image/jpeg escn-cover.jpg | 4 image/png interop-back.png", "ffmpeg:pictures=*", "ffprobe:stream2.title=*"}, {}, Keeps, Refuses},
    {"FlacCoverAdded", "CommentRules.standardPictures", "interop-no-picture.flac", "set --artwork {d}/interop-front.jpg",
     {"*:picture=3 image/jpeg interop-front.jpg", "ffmpeg:pictures=*", "ffprobe:stream1.comment=Cover (front)"}, {"Cover Art="}, Keeps, Refuses},
    {"FlacEscnKeptInStep", "CommentRules.standardPictures", "interop-escn-and-picture.flac", "set --artwork {d}/interop-front.jpg",
     {"*:picture=3 image/jpeg interop-front.jpg", "mutagen:escn=interop-front.jpg", "ffmpeg:pictures=*", "ffprobe:stream1.title=*"},
     {"Cover Art=JPEG image, 224 bytes"}, Keeps, Loses},
    {"FlacCoverAndEscnRemoved", "CommentRules.standardPictures", "interop-escn-and-picture.flac", "set --remove 'Cover Art'",
     {"*:picture", "mutagen:escn", "ffmpeg:pictures", "ffprobe:stream1.comment", "ffprobe:stream1.title"}, {}, Keeps, Loses},
    {"FlacFirstCommentBlock", "CommentRules.firstCommentBlock", "interop-two-comment-blocks.flac", tag("Artist=New Artist"),
     {"block0:ARTIST=New Artist", "mutagen:ARTIST=New Artist", "metaflac:ARTIST=New Artist", "taglib:ARTIST=New Artist", "ffprobe:format.artist=New Artist"},
     {"Title=First Block"}, Keeps, Loses},
    {"FlacPartlyReadComments", "CommentRules.refusePartlyReadComments", "interop-comment-past-block.flac", tag("Title=Retitled"), {}, {"Title=Readable"},
     Refuses, Loses, "kMediaFileErrPastEnd (-6751)"},
    {"FlacLeavesRoom", "CommentRules.roomToGrow", "flac-tagged.flac", tag("Comment=" + kLongComment), {"*:COMMENT=" + kLongComment, "flac-t:exit=0"}, {},
     Keeps, Keeps},
    {"OggAbsentValue", "CommentRules.absentIsNotFound", "interop-pictures.ogg", "get Comment", {}, {}, Refuses, Refuses, "kMediaFileErrNotFound (-6727)",
     "kOggVorbisErrNoComment (2005)"},
    // Removal leaves no trace any peer sees; these rows exercise no rule of their own.
    {"Mp3CommentsRemoved", "", "two-comm-two-apic.mp3", "set --remove Comment",
     {"mutagen:COMM*", "*:COMMENT", "ffprobe:format.second", "taglib:COMMENT:SECOND"}, {}, Keeps, Keeps},
    {"Mp3CoversRemoved", "", "two-comm-two-apic.mp3", "set --remove 'Cover Art'",
     {"mutagen:APIC*", "taglib:picture*", "ffmpeg:pictures", "ffprobe:stream1.*", "ffprobe:stream2.*"}, {}, Keeps, Keeps},
    {"M4aTrackRemoved", "", "tagged.m4a", "set --remove 'Track Number'", {"mutagen:trkn", "ffprobe:format.track", "taglib:TRACKNUMBER"}, {}, Keeps, Keeps},
    {"M4aCoverRemoved", "", "cover.m4a", "set --remove 'Cover Art'", {"mutagen:covr", "taglib:cover0", "ffmpeg:pictures"}, {}, Keeps, Keeps},
    {"OggYearRemoved", "", "vorbis-tagged.ogg", "set --remove Year", {"*:YEAR", "*:DATE"}, {}, Keeps, Loses},
    {"FlacTrackRemoved", "", "flac-tagged.flac", "set --remove 'Track Number'", {"*:TRACKNUMBER", "ffprobe:format.track"}, {}, Keeps, Keeps},
    {"AiffYearRemoved", "", "interop/aiff-v24-year.aiff", "set --remove Year", {"mutagen:TDRC", "*:DATE"}, {}, Keeps, Loses},
    {"WaveTitleRemoved", "", "id3-lowercase.wav", "set --remove Title", {"mutagen:TIT2", "*:TITLE"}, {}, Keeps, Loses},
};

using Lines = std::map<std::string, std::string>;

// "key=value" lines as a map.
Lines linesOf(const std::string &command, const std::string &separator)
{
    std::string output;
    runCommand(command, &output);
    Lines lines;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);)
        if (const size_t at = line.find(separator); at != std::string::npos)
            lines[separator == "=" ? line.substr(0, at) : line.substr(2, line.find_last_not_of(' ', at - 1) - 1)] = line.substr(at + separator.size());
    return lines;
}

// What the peers read; the images the rows store are named instead of hashed.
Lines peerDump(const std::string &path)
{
    std::string command = shellQuote(KESTRABEL_PEER_DUMP) + " " + shellQuote(path) + " " + shellQuote(KESTRABEL_TAGLIB_PEER);
    for (const char *image : {"interop-front.jpg", "interop-back.png", "escn-cover.jpg"})
        command += " " + shellQuote(fixturePath(image));
    return linesOf(command, "=");
}

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

// Whether a dump key is one a row's "peer:key" names.
bool names(const std::string &pattern, const std::string &key)
{
    if (*KESTRABEL_TAGLIB_PEER == 0 && key.rfind("taglib:", 0) == 0)
        return false;
    if (pattern.back() == '*')
        return key.rfind(pattern.substr(0, pattern.size() - 1), 0) == 0;
    if (pattern.rfind("*:", 0) != 0)
        return pattern == key;
    std::string field = key.substr(key.find(':') + 1);
    for (const std::string prefix : {"format.", "stream0."})
        if (field.rfind(prefix, 0) == 0)
            field = field.substr(prefix.size());
    return upper(field) == upper(pattern.substr(2));
}

// Runs the row and returns what happened; the differences found go to *problems.
Outcome runRow(const InteropRow &row, bool classic, const std::string &path, std::vector<std::string> *problems)
{
    const std::vector<uint8_t> original = readFile(path);
    const Lines before = peerDump(path);
    // "Name : value" for every line our show prints.
    const Lines ours = linesOf(shellQuote(cliPath()) + " show" + (classic ? " --classic " : " ") + shellQuote(path), " : ");
    for (const std::string &expected : row.shown) {
        const std::string name = expected.substr(0, expected.find('=')), value = expected.substr(expected.find('=') + 1);
        const auto found = ours.find(name);
        const std::string shown = found == ours.end() ? "(absent)" : found->second;
        if (shown != (value.empty() ? "(absent)" : value))
            problems->push_back("we show " + name + " as '" + shown + "', not '" + (value.empty() ? "(absent)" : value) + "'");
    }
    std::string command = row.command, output;
    for (size_t at; (at = command.find("{d}")) != std::string::npos;)
        command.replace(at, 3, shellQuote(fixturePath("")));
    if (classic)
        command.insert(command.find(' '), " --classic");
    const int status = runCommand(shellQuote(cliPath()) + " " + command + " " + shellQuote(path), &output, true);
    const std::string says = classic ? row.classicSays : row.says;
    if (output.find(says) == std::string::npos)
        problems->push_back("the command does not say '" + says + "': " + output);
    if (status != 0) {
        problems->push_back("the command failed: " + output);
        if (readFile(path) == original)
            return Refuses;
        problems->push_back("a refused save changed the file");
        return Loses;
    }
    const Lines after = peerDump(path);
    auto changed = [&](const std::string &key) {
        return std::any_of(row.changed.begin(), row.changed.end(), [&](const std::string &line) { return names(line.substr(0, line.find('=')), key); });
    };
    for (const auto &[key, value] : before) {
        const auto found = after.find(key);
        if (!key.ends_with(":error") && !changed(key) && names(key, key) && (found == after.end() || found->second != value))
            problems->push_back(key + " was '" + value + "', is now '" + (found == after.end() ? "(absent)" : found->second) + "'");
    }
    for (const std::string &line : row.changed) {
        const size_t equals = line.find('=');
        const std::string expected = equals == std::string::npos ? "" : line.substr(equals + 1);
        int seen = 0;
        for (const auto &[key, value] : after) {
            if (!names(line.substr(0, equals), key))
                continue;
            ++seen;
            if (equals == std::string::npos)
                problems->push_back(key + " should be gone, reads '" + value + "'");
            else if (expected != "*" && value != expected)
                problems->push_back(key + " should read '" + expected + "', reads '" + value + "'");
        }
        if (equals != std::string::npos && seen == 0 && (*KESTRABEL_TAGLIB_PEER || line.rfind("taglib:", 0) != 0))
            problems->push_back(line + ": absent");
    }
    for (const auto &[key, value] : after)
        if (key.ends_with(":error") && !before.count(key))
            problems->push_back(key + " after the edit: " + value);
    return problems->empty() ? Keeps : Loses;
}

class InteropProfile : public ::testing::TestWithParam<std::tuple<InteropRow, bool>> {};

} // namespace

TEST_P(InteropProfile, OneEditKeepsWhatPeersRead)
{
    const auto &[row, classic] = GetParam();
    for (const char *tool : {"ffprobe", "ffmpeg", "metaflac", "flac", "vorbiscomment", "ogginfo"})
        if (!haveTool(tool))
            GTEST_SKIP() << "needs " << tool;
    if (runCommand("/usr/bin/python3 -c 'import mutagen'") != 0)
        GTEST_SKIP() << "needs mutagen for /usr/bin/python3";
    TempDir dir;
    const std::string name = row.fixture;
    std::vector<std::string> problems;
    const Outcome outcome = runRow(row, classic, dir.copyFixture(row.fixture, "work" + name.substr(name.rfind('.'))), &problems);
    std::string details;
    for (const std::string &problem : problems)
        details += "\n  " + problem;
    EXPECT_STREQ(kOutcomeNames[outcome], kOutcomeNames[classic ? row.classic : row.interop]) << details;
    // What the classic rules did to the row, for the record.
    if (classic && outcome == row.classic)
        std::cout << "classic " << kOutcomeNames[outcome] << ":" << details << "\n";
}

INSTANTIATE_TEST_SUITE_P(Rows, InteropProfile, ::testing::Combine(::testing::ValuesIn(kRows), ::testing::Bool()), [](const auto &info) {
    return std::string(std::get<0>(info.param).name) + (std::get<1>(info.param) ? "_Classic" : "_Interop");
});

// Every field of the rules records is exercised by a row: a rule added without one fails here.
TEST(InteropProfile, EveryRuleHasARow)
{
    const std::pair<const char *, const char *> records[] = {
        {"taglib/id3/ID3Rules.h", "ID3Rules"},
        {"taglib/iff/ChunkFile.h", "IFFRules"},
        {"taglib/mp4/MP4File.h", "MP4Rules"},
        {"taglib/ogg/VorbisCommentNames.h", "CommentRules"},
    };
    std::set<std::string> declared, named;
    for (const auto &[header, record] : records) {
        std::ifstream in(std::string(KESTRABEL_SOURCE_DIR) + "/" + header);
        ASSERT_TRUE(in) << header;
        const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        const size_t start = text.find("struct " + std::string(record) + " {");
        ASSERT_NE(start, std::string::npos) << record << " in " << header;
        const std::string body = text.substr(start, text.find("};", start) - start);
        const std::regex field(R"(\n\s*(?:bool|u?int\d+_t|unsigned|int)\s+(\w+)\s*;)");
        for (std::sregex_iterator it(body.begin(), body.end(), field), end; it != end; ++it)
            declared.insert(std::string(record) + "." + (*it)[1].str());
    }
    for (const InteropRow &row : kRows)
        if (*row.rule)
            named.insert(row.rule);
    EXPECT_EQ(named, declared);
}
