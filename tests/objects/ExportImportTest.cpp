// Export to a property list and import from one: the keys, the target rules, the import rules
// (marker, overwriting, artwork, archives) and a round trip over every kind checked by mutagen.
#include "ArtworkImage.h"
#include "ExportFormat.h"
#include "ObjectsTestSupport.h"
#include "PropertyList.h"

#include <filesystem>
#include <span>

using namespace kestrabel;
using namespace kestrabel::test;
namespace fs = std::filesystem;

namespace {

QString key(const char *name) { return QString::fromLatin1(name); }
QVariantMap exported(const std::string &path) { return openWrapper(path).getDictionaryRepresentation(true).value_or(QVariantMap()); }

} // namespace

// Every key of the tables, named as its data ID's constant; a file without tags exports them all empty.
TEST(Export, EveryKeyOfAFileWithoutTagsAndTheTargetRules)
{
    TempDir dir;
    const std::string movie = dir.file("Clip.Two.mov");
    writeFile(movie, "no tags at all");
    MediaFileWrapper wrapper = openWrapper(movie);
    const QVariantMap dictionary = *wrapper.getDictionaryRepresentation(true);
    EXPECT_EQ(dictionary.value(key(kMediaFileDataExportKey)), QStringLiteral("KESTRABEL MEDIA FILE DATA EXPORT"));
    EXPECT_EQ(dictionary.value(key(kKestrabelVersionKey)), QStringLiteral(KESTRABEL_VERSION));
    for (const auto &[keys, empty] : {std::pair{std::span<const ExportKey>(kExportTextKeys), QVariant("")}, std::pair{std::span<const ExportKey>(kExportIntegerKeys), QVariant(0)}})
        for (const ExportKey &k : keys) {
            EXPECT_STREQ(k.name, MediaFileGetDataIDInfo(k.dataID)->constantName);
            if (k.dataID != kMediaFileDataIDFilename && k.dataID != kMediaFileDataIDFilenameClean) {
                EXPECT_EQ(dictionary.value(key(k.name)), empty) << k.name;
            }
        }
    EXPECT_EQ(dictionary.size(), 2 + std::size(kExportTextKeys) + std::size(kExportIntegerKeys)) << "no artwork key without artwork";
    EXPECT_EQ(dictionary.value("kMediaFileDataIDFilename"), QStringLiteral("Clip.Two.mov"));
    EXPECT_EQ(dictionary.value("kMediaFileDataIDFilenameClean"), QStringLiteral("Clip.Two"));

    EXPECT_EQ(wrapper.saveDictionaryRepresentationToFile(QString(), false, false), kMediaFileErrBadPath);
    writeFile(dir.file("out.plist"), "keep me");
    EXPECT_EQ(wrapper.saveDictionaryRepresentationToFile(qpath(dir.file("out.plist")), false, false), kMediaFileErrExists);
    EXPECT_EQ(fileBytes(dir.file("out.plist")), QByteArray("keep me"));
    EXPECT_EQ(wrapper.saveDictionaryRepresentationToFile(qpath(dir.file("out.plist")), true, false), kMediaFileNoErr);
    EXPECT_EQ(readPropertyListDictionary(qpath(dir.file("out.plist"))), wrapper.getDictionaryRepresentation(false));
    // Beside the media file, the extension after the last "." replaced.
    EXPECT_EQ(wrapper.saveDictionaryRepresentation(false, false), kMediaFileNoErr);
    EXPECT_TRUE(fs::exists(dir.file("Clip.Two.plist")));
    EXPECT_EQ(wrapper.saveDictionaryRepresentation(false, false), kMediaFileErrExists);
    EXPECT_EQ(wrapper.saveDictionaryRepresentation(true, false), kMediaFileNoErr);

    TempDir home;
    const QByteArray oldHome = qgetenv("HOME");
    qputenv("HOME", QByteArray::fromStdString(home.path().string()));
    const MediaFileStatus tilde = wrapper.saveDictionaryRepresentationToFile("~/tags.plist", false, false),
                          homeFolder = wrapper.saveDictionaryRepresentationToFile("~", true, false);
    qputenv("HOME", oldHome);
    EXPECT_TRUE(tilde == kMediaFileNoErr && fs::exists(home.file("tags.plist")));
    EXPECT_EQ(homeFolder, kMediaFileErrBadPath) << "~ alone is the home folder";
}

// Each row: a fresh plain file given a title, artist, track number and maybe a cover, then one import.
TEST(Import, Rules)
{
    const std::string foreign = fixturePath("objects/export-by-plistlib.plist");
    const std::string archive = fixturePath("objects/archive-by-plistlib.plist");
    const QByteArray cover = fileBytes(fixturePath("objects/cover.jpg"));
    enum class Art { None, Cover, Jpeg24x16 };
    const struct {
        const char *situation;
        std::string source; // a file, or empty for `dictionary`
        QVariantMap dictionary;
        bool fromArchive, overwrite, hasCover;
        const char *fileName;
        MediaFileStatus status;
        const char *title, *album, *artist;
        int track;
        Art art;
    } rows[] = {
        {"overwrite off fills gaps only", foreign, {}, false, false, false, "plain", kMediaFileNoErr, "Mine", "Foreign Album", "Kept", 2, Art::None},
        {"overwrite off keeps a cover", foreign, {}, false, false, true, "plain", kMediaFileNoErr, "Mine", "Foreign Album", "Kept", 2, Art::Cover},
        {"overwrite on replaces; empty texts and file names are not applied", foreign, {}, false, true, true, "plain",
         kMediaFileNoErr, "Written by plistlib", "Foreign Album", "Kept", 5, Art::Jpeg24x16},
        {"artwork that is not an image keeps the cover", "", {{key(kArtworkExportKey), QByteArray("not an image")}}, false,
         true, true, "plain", kMediaFileNoErr, "Mine", "", "Kept", 2, Art::Cover},
        {"no marker is fine", fixturePath("objects/no-marker.plist"), {}, false, true, false, "plain", kMediaFileNoErr,
         "No marker", "Unmarked Album", "Kept", 2, Art::None},
        {"wrong marker", fixturePath("objects/wrong-marker.plist"), {}, false, true, false, "plain", kMediaFileErrBadFormat, "Mine", "", "Kept", 2, Art::None},
        {"numeric marker", "", {{key(kMediaFileDataExportKey), 1}, {"kMediaFileDataIDTitle", "x"}}, false, true, false,
         "plain", kMediaFileErrBadFormat, "Mine", "", "Kept", 2, Art::None},
        {"missing file", "/nonexistent.plist", {}, false, true, false, "plain", kMediaFileErrParam, "Mine", "", "Kept", 2, Art::None},
        {"not a property list", fixturePath("objects/not-an-image.png"), {}, false, true, false, "plain", kMediaFileErrParam, "Mine", "", "Kept", 2, Art::None},
        {"archive entry by clean file name", archive, {}, true, true, false, "plain", kMediaFileNoErr, "Archived plain", "Archive Album", "Kept", 7, Art::None},
        {"archive without the entry", archive, {}, true, true, false, "stranger", kMediaFileErrNotFound, "Mine", "", "Kept", 2, Art::None},
        {"an export is no archive", fixturePath("objects/no-marker.plist"), {}, true, true, false, "kMediaFileDataExportKey",
         kMediaFileErrNotFound, "Mine", "", "Kept", 2, Art::None},
        {"archive that is not a property list", "/nonexistent.plist", {}, true, true, false, "plain", kMediaFileErrParam, "Mine", "", "Kept", 2, Art::None},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.situation);
        TempDir dir;
        const std::string path = dir.copyFixture(plainFixture(kMp3), std::string(row.fileName) + ".mp3");
        MediaFileWrapper w = openWrapper(path);
        ASSERT_EQ(w.setMediaFileString(QStringLiteral("Mine"), kMediaFileDataIDTitle, true) | w.setMediaFileInteger(2, kMediaFileDataIDTrackNumber, true)
                      | w.setMediaFileString(QStringLiteral("Kept"), kMediaFileDataIDArtist, true)
                      | (row.hasCover ? w.setMediaFileData(cover, kMediaFileDataIDArtwork) : kMediaFileNoErr), kMediaFileNoErr);
        const MediaFileStatus status = row.fromArchive ? w.setMediaFileDataFromArchiveAtPath(qpath(row.source), row.overwrite)
                                       : row.source.empty() ? w.setMediaFileDataFromDictionaryRepresentation(row.dictionary, row.overwrite)
                                                            : w.setMediaFileDataFromDictionaryRepresentationAtPath(qpath(row.source), row.overwrite);
        EXPECT_EQ(status, row.status);
        ASSERT_EQ(w.update(kSaveFlags), kMediaFileNoErr);
        const MediaFileWrapper back = openWrapper(path);
        EXPECT_EQ(back.mediaFileStringForID(kMediaFileDataIDTitle).value_or(""), QString::fromUtf8(row.title));
        EXPECT_EQ(back.mediaFileStringForID(kMediaFileDataIDAlbum).value_or(""), QString::fromUtf8(row.album));
        EXPECT_EQ(back.mediaFileStringForID(kMediaFileDataIDArtist).value_or(""), QString::fromUtf8(row.artist));
        EXPECT_EQ(integerOf(back, kMediaFileDataIDTrackNumber), row.track);
        const QByteArray art = back.mediaFileDataForID(kMediaFileDataIDArtwork);
        if (row.art == Art::Jpeg24x16) {
            EXPECT_TRUE(art.startsWith("\xFF\xD8")) << "the PNG of the plist is stored as JPEG";
            EXPECT_EQ(imageFromArtworkData(art).size(), QSize(24, 16));
        } else {
            EXPECT_EQ(art, row.art == Art::Cover ? cover : QByteArray());
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), {}), 1) << "the exported file names never rename the file";
    }
}

using RoundTrip = KindTest;

// Export tagged.<ext>, import into plain.<ext> with overwriting, save: both export the same, and the
// cover is the tagged file's. Peers reading the result and the audio staying the same are checked
// for every kind by the interop tables and the contract suite.
TEST_P(RoundTrip, ExportThenImportIntoAPlainFile)
{
    const KindCase &c = GetParam();
    const std::string source = dir.copyFixture(taggedFixture(c));
    const std::string target = dir.copyFixture(plainFixture(c), std::string("target.") + c.extension);
    ASSERT_EQ(openWrapper(source).saveDictionaryRepresentationToFile(qpath(dir.file("tags.plist")), false, true), kMediaFileNoErr);
    editAndSave(target, [&](MediaFileWrapper &w) {
        EXPECT_EQ(w.setMediaFileDataFromDictionaryRepresentationAtPath(qpath(dir.file("tags.plist")), true), kMediaFileNoErr);
    });
    const QVariantMap from = exported(source), to = exported(target);
    int compared = 0;
    for (const ExportKey &k : kExportTextKeys) {
        QString text = from.value(key(k.name)).toString();
        if (!isImportedTextKey(k) || text.isEmpty())
            continue;
        // A coding history is stored with a closing CR LF.
        if (k.dataID == kMediaFileDataIDBWFCodingHistory && !text.endsWith(QLatin1String("\r\n")))
            text += QLatin1String("\r\n");
        EXPECT_EQ(to.value(key(k.name)).toString(), text) << k.name;
        ++compared;
    }
    for (const ExportKey &k : kExportIntegerKeys)
        EXPECT_EQ(to.value(key(k.name)), from.value(key(k.name))) << k.name;
    EXPECT_GE(compared, 3) << "the tagged fixture's values were read";
    const QByteArray fromArt = from.value(key(kArtworkExportKey)).toByteArray(), toArt = to.value(key(kArtworkExportKey)).toByteArray();
    EXPECT_EQ(fromArt.isEmpty(), !c.fixtureHasArtwork);
    EXPECT_EQ(imageFromArtworkData(toArt).size(), c.fixtureHasArtwork && c.addsArtwork ? imageFromArtworkData(fromArt).size() : QSize(0, 0));

    // Without artwork in the export, the cover stays off; an import with overwriting replaces a cover.
    ASSERT_EQ(openWrapper(source).saveDictionaryRepresentationToFile(qpath(dir.file("bare.plist")), false, false), kMediaFileNoErr);
    EXPECT_FALSE(readPropertyListDictionary(qpath(dir.file("bare.plist")))->contains(key(kArtworkExportKey)));
    if (c.fixtureHasArtwork) {
        editAndSave(source, [](MediaFileWrapper &w) {
            EXPECT_EQ(w.setMediaFileDataFromDictionaryRepresentationAtPath(qpath(fixturePath("objects/export-by-plistlib.plist")), true),
                      kMediaFileNoErr);
        });
        EXPECT_EQ(imageFromArtworkData(openWrapper(source).mediaFileDataForID(kMediaFileDataIDArtwork)).size(), QSize(24, 16));
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, RoundTrip, ::testing::ValuesIn(kAudioKinds), kindName);

// Negative numbers (which the Vorbis-comment kinds can hold, as text) export as zero; a camera
// image exports its EXIF fields and takes no import.
TEST(Export, NegativeIntegersAndCameraImages)
{
    for (const KindCase &c : kAudioKinds) {
        TempDir dir;
        MediaFileWrapper w = openWrapper(dir.copyFixture(plainFixture(c)));
        if (MediaFileSetInteger(w.mediaFileRef(), kMediaFileDataIDTrackNumber, -4) == kMediaFileNoErr && integerOf(w, kMediaFileDataIDTrackNumber) == -4) {
            EXPECT_EQ(w.getDictionaryRepresentation(false)->value("kMediaFileDataIDTrackNumber"), QVariant(0)) << c.extension;
        }
    }
    MediaFileWrapper camera = openWrapper(fixturePath("objects/camera.jpg"));
    const QVariantMap dictionary = *camera.getDictionaryRepresentation(true);
    EXPECT_EQ(QStringList({dictionary.value("kMediaFileDataIDMake").toString(), dictionary.value("kMediaFileDataIDModel").toString()}),
              QStringList({"Kestrabel Optics", "Hover 1"}));
    EXPECT_EQ(camera.setMediaFileDataFromDictionaryRepresentationAtPath(qpath(fixturePath("objects/export-by-plistlib.plist")), true),
              kMediaFileNoErr);
    EXPECT_FALSE(camera.mediaFileStringForID(kMediaFileDataIDTitle));
}
