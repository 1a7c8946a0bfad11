// Every row of the Vorbis-comment names tables, set on an Ogg and a FLAC file under both rule
// sets: the peer lists exactly that entry, the library reads it back; the guard finds rows without a case.
#include "VorbisTestSupport.h"

#include "ogg/VorbisCommentNames.h"
#include "ogg/VorbisPicture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

struct NameCase {
    MediaFileDataID id;
    const char *value, *ogg, *flac, *interop; // the names written: classic Ogg, classic FLAC, interop (both kinds)
};

// Written by hand from the formats' conventions, not from the tables under test.
const NameCase kNameCases[] = {
    {kMediaFileDataIDAlbum, "An Album", "ALBUM", "ALBUM", "ALBUM"}, {kMediaFileDataIDArtist, "An Artist", "ARTIST", "ARTIST", "ARTIST"},
    {kMediaFileDataIDBPM, "96", "BPM", "BPM", "BPM"}, {kMediaFileDataIDComment, "A comment", "COMMENT", "COMMENT", "COMMENT"},
    {kMediaFileDataIDCompilation, "1", "COMPILATION", "COMPILATION", "COMPILATION"}, {kMediaFileDataIDComposer, "A Composer", "COMPOSER", "COMPOSER", "COMPOSER"},
    {kMediaFileDataIDDiskNumber, "4", "DISC", "DISC", "DISCNUMBER"}, {kMediaFileDataIDGenre, "A Genre", "GENRE", "GENRE", "GENRE"},
    {kMediaFileDataIDTitle, "A Title", "TITLE", "TITLE", "TITLE"}, {kMediaFileDataIDTotalDisks, "5", "DISCC", "DISCC", "DISCTOTAL"},
    {kMediaFileDataIDTotalTracks, "11", "TRACKTOTAL", "TOTALTRACKS", "TRACKTOTAL"}, {kMediaFileDataIDTrackNumber, "7", "TRACKNUMBER", "TRACKNUMBER", "TRACKNUMBER"},
    {kMediaFileDataIDYear, "1987", "YEAR", "YEAR", "DATE"}, {kMediaFileDataIDISRC, "USRC17607839", "ISRC", "ISRC", "ISRC"},
    {kMediaFileDataIDLocation, "A Location", "LOCATION", "LOCATION", "LOCATION"}, {kMediaFileDataIDContact, "A Contact", "CONTACT", "CONTACT", "CONTACT"},
    {kMediaFileDataIDDate, "2001-02-03", "DATE", "DATE", "DATE"}, {kMediaFileDataIDOrganization, "An Organization", "ORGANIZATION", "ORGANIZATION", "ORGANIZATION"},
    {kMediaFileDataIDPerformer, "A Performer", "PERFORMER", "PERFORMER", "PERFORMER"}, {kMediaFileDataIDCopyright, "A Copyright", "COPYRIGHT", "COPYRIGHT", "COPYRIGHT"},
    {kMediaFileDataIDDescription, "A Description", "DESCRIPTION", "DESCRIPTION", "DESCRIPTION"}, {kMediaFileDataIDLicense, "A License", "LICENSE", "LICENSE", "LICENSE"},
    {kMediaFileDataIDEnsemble, "An Ensemble", "ENSEMBLE", "ENSEMBLE", "ENSEMBLE"}, {kMediaFileDataIDLyricist, "A Lyricist", "LYRICIST", "LYRICIST", "LYRICIST"},
    {kMediaFileDataIDArranger, "An Arranger", "ARRANGER", "ARRANGER", "ARRANGER"}, {kMediaFileDataIDAuthor, "An Author", "AUTHOR", "AUTHOR", "AUTHOR"},
};

// The picture type mutagen reads for each slot, and the image set.
const std::tuple<MediaFileDataID, const char *, const char *> kPictureCases[] = {
    {kMediaFileDataIDArtwork, "interop-front.jpg", "3 image/jpeg"},
    {kMediaFileDataIDArtworkBack, "interop-back.png", "4 image/png"},
    {kMediaFileDataIDArtworkMisc, "interop-front.jpg", "19 image/jpeg"},
};

// Each alias as another tagger writes it: read under the interop profile, replaced by the common name.
const std::tuple<const char *, MediaFileDataID, const char *> kAliasCases[] = {
    {"DISC", kMediaFileDataIDDiskNumber, "DISCNUMBER"},      {"DISCC", kMediaFileDataIDTotalDisks, "DISCTOTAL"},
    {"TOTALDISCS", kMediaFileDataIDTotalDisks, "DISCTOTAL"}, {"TOTALTRACKS", kMediaFileDataIDTotalTracks, "TRACKTOTAL"},
    {"YEAR", kMediaFileDataIDYear, "DATE"},
};

bool hasCase(MediaFileDataID id)
{
    return std::any_of(std::begin(kNameCases), std::end(kNameCases), [&](const NameCase &entry) { return entry.id == id; }) ||
           std::any_of(std::begin(kPictureCases), std::end(kPictureCases), [&](const auto &entry) { return std::get<0>(entry) == id; });
}

// On a copy of the fixture (after a peer's command that writes the value 3, when given), one value
// set and saved: the entries the peer then lists (mutagen's pictures as "type mime"), and the
// value read back.
void expectSaved(const char *fixture, MediaFileFlags flags, MediaFileDataID id, const std::string &value, const std::vector<std::string> &listed,
                 const std::string &command = "")
{
    SCOPED_TRACE(std::string(fixture) + " " + MediaFileGetDataIDName(id) + (flags ? " interop " : " classic ") + command);
    TempDir dir;
    std::string path = dir.copyFixture(fixture);
    const bool picture = MediaFileGetDataIDInfo(id)->valueType == 'D';
    if (!command.empty()) {
        ASSERT_EQ(runCommand(command + " " + shellQuote(path)), 0);
        EXPECT_EQ(OpenFile(path, flags).string(id), "3");
    }
    ASSERT_EQ(saveEdits(path, {{id, value}}, flags), 0);
    EXPECT_EQ(!picture ? peerEntries(path)
                       : toolLines("/usr/bin/python3 -c \"import sys, base64, mutagen.flac; f = mutagen.File(sys.argv[1]); "
                                   "ps = getattr(f, 'pictures', []) or [mutagen.flac.Picture(base64.b64decode(v)) for v in f.get('metadata_block_picture', [])]; "
                                   "print('\\n'.join('%d %s' % (p.type, p.mime) for p in ps))\" " + shellQuote(path)),
              listed);
    OpenFile file(path, flags);
    const Bytes data = file.data(id);
    EXPECT_EQ(picture ? std::string(data.begin(), data.end()) : file.string(id), value);
    for (const auto &[other, image, type] : kPictureCases) // the front cover's slot alone takes another type's picture as its stand-in
        EXPECT_TRUE(!picture || other == id || file.data(other) == (other == kMediaFileDataIDArtwork ? data : Bytes())) << MediaFileGetDataIDName(other);
}

} // namespace

TEST(VorbisCommentNames, EveryTableRowHasACase)
{
    for (const vorbis::FieldName &row : vorbis::kSharedFieldNames)
        EXPECT_TRUE(hasCase(row.id)) << row.field << " has no case";
    for (const vorbis::PictureSlot &row : vorbis::kPictureSlots)
        EXPECT_TRUE(hasCase(row.id)) << MediaFileGetDataIDName(row.id) << " has no case";
    for (const vorbis::CommonName &row : vorbis::kCommonNames)
        for (const char *alias : row.aliases) {
            EXPECT_TRUE(hasCase(row.id)) << row.field << " has no case";
            EXPECT_TRUE(!alias || std::any_of(std::begin(kAliasCases), std::end(kAliasCases), [&](const auto &c) {
                return std::string(std::get<0>(c)) == alias && std::get<1>(c) == row.id;
            })) << alias << " has no case";
        }
}

// A picture block read back gives the fields it was written with; the size comes from the
// image's own header (8 x 4).
TEST(VorbisCommentNames, PictureBlockReadAsWritten)
{
    const Bytes png = readFile(fixturePath("interop-back.png"));
    const vorbis::Picture picture = vorbis::pictureFromImage(4, png);
    EXPECT_EQ(std::tuple(picture.mime, picture.width, picture.height), std::tuple(std::string("image/png"), 8u, 4u));
    Bytes block = vorbis::renderPicture(picture);
    std::optional<vorbis::Picture> back = vorbis::parsePicture(block);
    ASSERT_TRUE(back);
    EXPECT_EQ(std::tuple(back->type, back->mime, back->width, back->height, back->depth, back->data),
              std::tuple(4u, picture.mime, 8u, 4u, picture.depth, png));
    block.pop_back();
    EXPECT_FALSE(vorbis::parsePicture(block)) << "the image runs past the end";
}

TEST(VorbisCommentNames, EachIdSlotAndAliasIsWrittenAsThePeersExpect)
{
    if (!haveTool("metaflac") || !haveTool("vorbiscomment") || runCommand("/usr/bin/python3 -c 'import mutagen' 2>/dev/null") != 0)
        GTEST_SKIP() << "needs metaflac, vorbiscomment and mutagen";
    for (const auto &[fixture, flac] : {std::pair{"vorbis-no-comments.ogg", false}, {"flac-no-tags.flac", true}}) {
        for (MediaFileFlags flags : {MediaFileFlags(0), MediaFileFlags(kMediaFileFlagInterop)})
            for (const NameCase &entry : kNameCases)
                expectSaved(fixture, flags, entry.id, entry.value, {std::string(flags ? entry.interop : flac ? entry.flac : entry.ogg) + "=" + entry.value});
        for (const auto &[id, image, type] : kPictureCases) {
            Bytes bytes = readFile(fixturePath(image));
            expectSaved(fixture, kMediaFileFlagInterop, id, std::string(bytes.begin(), bytes.end()), {type});
        }
    }
    for (const auto &[alias, id, common] : kAliasCases)
        expectSaved("flac-no-tags.flac", kMediaFileFlagInterop, id, "4", {std::string(common) + "=4"}, "metaflac --set-tag=" + std::string(alias) + "=3");
}

// METADATA_BLOCK_PICTURE text: white space passed over, padding only at the end, anything
// outside the alphabet refused; every byte value (so every letter of the alphabet) round-trips.
TEST(VorbisPicture, Base64Decode)
{
    using std::string_view_literals::operator""sv;
    const std::pair<std::string_view, std::optional<std::string_view>> rows[] = {
        {"", ""},           {"TWFu", "Man"},          {"TWE=", "Ma"},        {"TQ==", "M"},         {" TW\nF u\r\t", "Man"},
        {"TWFu=", "Man"},   {"TW=Fu", std::nullopt}, {"TW*u", std::nullopt}, {"TW\0u"sv, std::nullopt}, {"TW\xC3u", std::nullopt},
        {"TWFuTWE=", "ManMa"}, {"T\nWFuTWFu", "ManMan"}, {"TWFuTW*u", std::nullopt},
    };
    for (const auto &[text, expected] : rows) {
        std::optional<std::vector<uint8_t>> decoded = vorbis::base64Decode(text);
        EXPECT_EQ(decoded ? std::optional<std::string>(std::string(decoded->begin(), decoded->end())) : std::nullopt, expected) << text;
    }
    std::vector<uint8_t> every(256);
    std::iota(every.begin(), every.end(), 0);
    EXPECT_EQ(vorbis::base64Decode(vorbis::base64Encode(every)), every);
}
