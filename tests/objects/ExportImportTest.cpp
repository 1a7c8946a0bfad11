#include "ArtworkImage.h"
#include "ExportFormat.h"
#include "ObjectsTestSupport.h"
#include "PropertyList.h"

#include <QFile>

#include <gtest/gtest.h>

#include <filesystem>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

QString key(const char *name) { return QString::fromLatin1(name); }

QByteArray fileBytes(const std::string &path)
{
    QFile file(qpath(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Everything a wrapper exports, artwork included.
QVariantMap exported(const std::string &path)
{
    std::optional<QVariantMap> dictionary = openWrapper(path).getDictionaryRepresentation(true);
    return dictionary.value_or(QVariantMap());
}

bool haveMutagen() { return runCommand("/usr/bin/python3 -c 'import mutagen' 2>/dev/null") == 0; }

const KindCase *firstAvailableKind()
{
    for (const KindCase &c : kAudioKinds)
        if (unavailableReason(c).empty())
            return &c;
    return nullptr;
}

class Import : public ::testing::Test {
protected:
    void SetUp() override
    {
        kind = firstAvailableKind();
        if (!kind)
            GTEST_SKIP() << "no audio handler is built yet";
    }
    TempDir dir;
    const KindCase *kind = nullptr;
};

} // namespace

TEST(Export, EveryKeyOfAFileWithoutTags)
{
    TempDir dir;
    std::string movie = dir.file("Clip Two.mov");
    writeFile(movie, "no tags at all");
    std::optional<QVariantMap> dictionary = openWrapper(movie).getDictionaryRepresentation(true);
    ASSERT_TRUE(dictionary);
    EXPECT_EQ(dictionary->value(key(kMediaFileDataExportKey)), QStringLiteral("KESTRABEL MEDIA FILE DATA EXPORT"));
    EXPECT_EQ(dictionary->value(key(kKestrabelVersionKey)), QStringLiteral(KESTRABEL_VERSION));
    for (const ExportKey &k : kExportTextKeys) {
        SCOPED_TRACE(k.name);
        EXPECT_STREQ(k.name, MediaFileGetDataIDInfo(k.dataID)->constantName);
        ASSERT_TRUE(dictionary->contains(key(k.name)));
        EXPECT_EQ(dictionary->value(key(k.name)).typeId(), QMetaType::QString);
    }
    for (const ExportKey &k : kExportIntegerKeys) {
        SCOPED_TRACE(k.name);
        EXPECT_STREQ(k.name, MediaFileGetDataIDInfo(k.dataID)->constantName);
        EXPECT_EQ(dictionary->value(key(k.name)), QVariant(0));
    }
    EXPECT_EQ(dictionary->size(), 2 + 36 + 9) << "no artwork key without artwork";
    EXPECT_FALSE(dictionary->contains(QStringLiteral("kMediaFileDataIDAuthor")));
    EXPECT_EQ(dictionary->value(QStringLiteral("kMediaFileDataIDTitle")), QStringLiteral(""));
    EXPECT_EQ(dictionary->value(QStringLiteral("kMediaFileDataIDFilename")), QStringLiteral("Clip Two.mov"));
    EXPECT_EQ(dictionary->value(QStringLiteral("kMediaFileDataIDFilenameClean")), QStringLiteral("Clip Two"));
}

TEST(Export, ArtworkOnlyWhenAskedAndPresent)
{
    const KindCase *kind = firstArtworkKind();
    if (!kind)
        GTEST_SKIP() << "no handler that stores artwork is built yet";
    TempDir dir;
    std::string path = dir.copyFixture(plainFixture(*kind));
    {
        MediaFileWrapper wrapper = openWrapper(path);
        EXPECT_FALSE(wrapper.getDictionaryRepresentation(true)->contains(key(kArtworkExportKey)));
        ASSERT_EQ(wrapper.setMediaFileData(fileBytes(fixturePath("objects/cover.jpg")), kMediaFileDataIDArtwork),
                  kMediaFileNoErr);
        ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
    }
    MediaFileWrapper wrapper = openWrapper(path);
    EXPECT_FALSE(wrapper.getDictionaryRepresentation(false)->contains(key(kArtworkExportKey)));
    EXPECT_EQ(wrapper.getDictionaryRepresentation(true)->value(key(kArtworkExportKey)),
              fileBytes(fixturePath("objects/cover.jpg")));
}

TEST(Export, NegativeIntegersExportAsZero)
{
    // The Vorbis-comment kinds read integers from text, so a negative number can be stored.
    for (const KindCase &c : kAudioKinds) {
        if (!unavailableReason(c).empty())
            continue;
        TempDir dir;
        MediaFileWrapper wrapper = openWrapper(dir.copyFixture(plainFixture(c)));
        int32_t back = 0;
        if (MediaFileSetInteger(wrapper.mediaFileRef(), kMediaFileDataIDTrackNumber, -4) != kMediaFileNoErr ||
            MediaFileGetInteger(wrapper.mediaFileRef(), kMediaFileDataIDTrackNumber, &back) != kMediaFileNoErr ||
            back >= 0)
            continue;
        EXPECT_EQ(wrapper.getDictionaryRepresentation(false)->value(QStringLiteral("kMediaFileDataIDTrackNumber")),
                  QVariant(0))
            << c.extension;
        return;
    }
    GTEST_SKIP() << "no built kind keeps a negative track number";
}

TEST(ExportFile, TargetRules)
{
    TempDir dir;
    std::string movie = dir.file("a.b.mov");
    writeFile(movie, "x");
    MediaFileWrapper wrapper = openWrapper(movie);
    EXPECT_EQ(wrapper.saveDictionaryRepresentationToFile(QString(), false, false), kMediaFileErrBadPath);
    EXPECT_EQ(wrapper.saveDictionaryRepresentationToFile(qpath(dir.path().string()), true, false), kMediaFileErrBadPath);

    std::string target = dir.file("out.plist");
    ASSERT_EQ(wrapper.saveDictionaryRepresentationToFile(qpath(target), false, false), kMediaFileNoErr);
    std::optional<QVariantMap> written = readPropertyListDictionary(qpath(target));
    ASSERT_TRUE(written);
    EXPECT_EQ(*written, *wrapper.getDictionaryRepresentation(false));

    writeFile(target, "keep me");
    EXPECT_EQ(wrapper.saveDictionaryRepresentationToFile(qpath(target), false, false), kMediaFileErrExists);
    EXPECT_EQ(fileBytes(target), QByteArray("keep me"));
    EXPECT_EQ(wrapper.saveDictionaryRepresentationToFile(qpath(target), true, false), kMediaFileNoErr);
    EXPECT_TRUE(readPropertyListDictionary(qpath(target)));

    // Beside the media file: the extension after the last "." is replaced.
    EXPECT_EQ(wrapper.saveDictionaryRepresentation(false, false), kMediaFileNoErr);
    EXPECT_TRUE(std::filesystem::exists(dir.file("a.b.plist")));
    EXPECT_EQ(wrapper.saveDictionaryRepresentation(false, false), kMediaFileErrExists);
    EXPECT_EQ(wrapper.saveDictionaryRepresentation(true, false), kMediaFileNoErr);

    // A name whose "extension" is a number for kind detection still loses it here.
    const KindCase *kind = firstAvailableKind();
    if (!kind)
        return;
    std::string bare = dir.copyFixture(plainFixture(*kind), "Track 1.5");
    EXPECT_EQ(openWrapper(bare).saveDictionaryRepresentation(false, false), kMediaFileNoErr);
    EXPECT_TRUE(std::filesystem::exists(dir.file("Track 1.plist")));
}

TEST(ExportFile, TildeIsTheHomeFolder)
{
    TempDir dir;
    TempDir home;
    std::string movie = dir.file("a.mov");
    writeFile(movie, "x");
    const char *oldHome = getenv("HOME");
    std::string saved = oldHome ? oldHome : "";
    setenv("HOME", home.path().c_str(), 1);
    MediaFileStatus status = openWrapper(movie).saveDictionaryRepresentationToFile(QStringLiteral("~/tags.plist"), false, false);
    MediaFileStatus folder = openWrapper(movie).saveDictionaryRepresentationToFile(QStringLiteral("~"), true, false);
    if (oldHome)
        setenv("HOME", saved.c_str(), 1);
    else
        unsetenv("HOME");
    EXPECT_EQ(status, kMediaFileNoErr);
    EXPECT_TRUE(std::filesystem::exists(home.file("tags.plist")));
    EXPECT_EQ(folder, kMediaFileErrBadPath) << "~ alone is the home folder";
}

TEST_F(Import, MarkerRules)
{
    std::string path = dir.copyFixture(plainFixture(*kind));
    MediaFileWrapper wrapper = openWrapper(path);
    QVariantMap before = *wrapper.getDictionaryRepresentation(true);

    EXPECT_EQ(wrapper.setMediaFileDataFromDictionaryRepresentation(std::nullopt, true), kMediaFileErrParam);
    EXPECT_EQ(wrapper.setMediaFileDataFromDictionaryRepresentationAtPath(qpath(fixturePath("objects/wrong-marker.plist")), true),
              kMediaFileErrBadFormat);
    QVariantMap numericMarker{{key(kMediaFileDataExportKey), 1}, {QStringLiteral("kMediaFileDataIDTitle"), QStringLiteral("x")}};
    EXPECT_EQ(wrapper.setMediaFileDataFromDictionaryRepresentation(numericMarker, true), kMediaFileErrBadFormat);
    EXPECT_EQ(*wrapper.getDictionaryRepresentation(true), before) << "a refused import changes nothing";

    EXPECT_EQ(wrapper.setMediaFileDataFromDictionaryRepresentationAtPath(qpath(fixturePath("objects/no-marker.plist")), true),
              kMediaFileNoErr);
    EXPECT_EQ(wrapper.mediaFileStringForID(kMediaFileDataIDTitle), QStringLiteral("No marker"));
    EXPECT_EQ(wrapper.mediaFileStringForID(kMediaFileDataIDAlbum), QStringLiteral("Unmarked Album"));
}

TEST_F(Import, UnreadableSourcesAreParameterErrors)
{
    MediaFileWrapper wrapper = openWrapper(dir.copyFixture(plainFixture(*kind)));
    writeFile(dir.file("garbage.plist"), "<plist><dict><key>x</key>");
    writeFile(dir.file("array.plist"), "<?xml version=\"1.0\"?><plist version=\"1.0\"><array><string>a</string></array></plist>");
    for (const std::string &bad : {dir.file("missing.plist"), dir.file("garbage.plist"), dir.file("array.plist"), std::string()}) {
        SCOPED_TRACE(bad);
        EXPECT_EQ(wrapper.setMediaFileDataFromDictionaryRepresentationAtPath(qpath(bad), true), kMediaFileErrParam);
        EXPECT_EQ(wrapper.setMediaFileDataFromArchiveAtPath(qpath(bad), true), kMediaFileErrParam);
    }
}

TEST_F(Import, OverwriteOffKeepsValuesAndFillsGaps)
{
    std::string path = dir.copyFixture(plainFixture(*kind));
    MediaFileWrapper wrapper = openWrapper(path);
    ASSERT_EQ(wrapper.setMediaFileString(QStringLiteral("Mine"), kMediaFileDataIDTitle, true), kMediaFileNoErr);
    ASSERT_EQ(wrapper.setMediaFileInteger(2, kMediaFileDataIDTrackNumber, true), kMediaFileNoErr);
    ASSERT_EQ(wrapper.setMediaFileDataFromDictionaryRepresentationAtPath(
                  qpath(fixturePath("objects/export-by-plistlib.plist")), false),
              kMediaFileNoErr);
    EXPECT_EQ(wrapper.mediaFileStringForID(kMediaFileDataIDTitle), QStringLiteral("Mine"));
    EXPECT_EQ(wrapper.mediaFileStringForID(kMediaFileDataIDAlbum), QStringLiteral("Foreign Album"));
    EXPECT_EQ(wrapper.mediaFileStringForID(kMediaFileDataIDComment), QStringLiteral("from plistlib"));
    int32_t track = 0, year = 0;
    MediaFileGetInteger(wrapper.mediaFileRef(), kMediaFileDataIDTrackNumber, &track);
    MediaFileGetInteger(wrapper.mediaFileRef(), kMediaFileDataIDYear, &year);
    EXPECT_EQ(track, 2);
    EXPECT_EQ(year, 1999);
    EXPECT_TRUE(wrapper.mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty())
        << "artwork is never imported without overwriting, even into a file without any";
    ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
    EXPECT_EQ(openWrapper(path).mediaFileStringForID(kMediaFileDataIDAlbum), QStringLiteral("Foreign Album"));
}

TEST_F(Import, OverwriteOnReplacesAndConvertsArtwork)
{
    std::string path = dir.copyFixture(plainFixture(*kind));
    MediaFileWrapper wrapper = openWrapper(path);
    ASSERT_EQ(wrapper.setMediaFileString(QStringLiteral("Mine"), kMediaFileDataIDTitle, true), kMediaFileNoErr);
    ASSERT_EQ(wrapper.setMediaFileString(QStringLiteral("Kept Artist"), kMediaFileDataIDArtist, true), kMediaFileNoErr);
    ASSERT_EQ(wrapper.setMediaFileDataFromDictionaryRepresentationAtPath(
                  qpath(fixturePath("objects/export-by-plistlib.plist")), true),
              kMediaFileNoErr);
    EXPECT_EQ(wrapper.mediaFileStringForID(kMediaFileDataIDTitle), QStringLiteral("Written by plistlib"));
    EXPECT_EQ(wrapper.mediaFileStringForID(kMediaFileDataIDArtist), QStringLiteral("Kept Artist"))
        << "an empty exported text is never written";
    int32_t track = 0;
    MediaFileGetInteger(wrapper.mediaFileRef(), kMediaFileDataIDTrackNumber, &track);
    EXPECT_EQ(track, 5);
    if (kind->addsArtwork) {
        QByteArray artwork = wrapper.mediaFileDataForID(kMediaFileDataIDArtwork);
        EXPECT_TRUE(artwork.startsWith("\xFF\xD8")) << "the PNG of the plist is stored as JPEG";
        EXPECT_EQ(imageFromArtworkData(artwork).size(), QSize(24, 16));
    }
    ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
    EXPECT_TRUE(std::filesystem::exists(path)) << "the exported file names never rename the file";
    EXPECT_FALSE(std::filesystem::exists(dir.file("elsewhere.mp3")));
    EXPECT_EQ(openWrapper(path).mediaFileStringForID(kMediaFileDataIDTitle), QStringLiteral("Written by plistlib"));
}

TEST_F(Import, OverwriteOffNeverTouchesExistingArtwork)
{
    const KindCase *artworkKind = firstArtworkKind();
    if (!artworkKind)
        GTEST_SKIP() << "no handler that stores artwork is built yet";
    std::string path = dir.copyFixture(plainFixture(*artworkKind));
    MediaFileWrapper wrapper = openWrapper(path);
    QByteArray cover = fileBytes(fixturePath("objects/cover.jpg"));
    ASSERT_EQ(wrapper.setMediaFileData(cover, kMediaFileDataIDArtwork), kMediaFileNoErr);
    ASSERT_EQ(wrapper.setMediaFileDataFromDictionaryRepresentationAtPath(
                  qpath(fixturePath("objects/export-by-plistlib.plist")), false),
              kMediaFileNoErr);
    EXPECT_EQ(wrapper.mediaFileDataForID(kMediaFileDataIDArtwork), cover);

    // With overwriting, artwork that is not an image is ignored rather than removing the cover.
    QVariantMap notImage{{key(kArtworkExportKey), QByteArray("not an image")}};
    ASSERT_EQ(wrapper.setMediaFileDataFromDictionaryRepresentation(notImage, true), kMediaFileNoErr);
    EXPECT_EQ(wrapper.mediaFileDataForID(kMediaFileDataIDArtwork), cover);
}

TEST_F(Import, ArchiveLookupByCleanFilename)
{
    std::string archive = fixturePath("objects/archive-by-plistlib.plist");
    std::string plain = dir.copyFixture(plainFixture(*kind));
    MediaFileWrapper wrapper = openWrapper(plain);
    ASSERT_EQ(wrapper.setMediaFileDataFromArchiveAtPath(qpath(archive), true), kMediaFileNoErr);
    EXPECT_EQ(wrapper.mediaFileStringForID(kMediaFileDataIDTitle), QStringLiteral("Archived plain"));
    int32_t track = 0;
    MediaFileGetInteger(wrapper.mediaFileRef(), kMediaFileDataIDTrackNumber, &track);
    EXPECT_EQ(track, 7);

    std::string stranger = dir.copyFixture(plainFixture(*kind), std::string("stranger.") + kind->extension);
    MediaFileWrapper other = openWrapper(stranger);
    EXPECT_EQ(other.setMediaFileDataFromArchiveAtPath(qpath(archive), true), kMediaFileErrNotFound);

    // An export dictionary is not an archive: its entries are not dictionaries.
    std::string marker = dir.copyFixture(plainFixture(*kind), std::string("kMediaFileDataExportKey.") + kind->extension);
    EXPECT_EQ(openWrapper(marker).setMediaFileDataFromArchiveAtPath(qpath(fixturePath("objects/no-marker.plist")), true),
              kMediaFileErrNotFound);
    EXPECT_EQ(openWrapper(marker).setMediaFileDataFromArchiveAtPath(qpath(fixturePath("objects/wrong-marker.plist")), true),
              kMediaFileErrParam);
}

class RoundTrip : public ::testing::TestWithParam<KindCase> {
protected:
    void SetUp() override
    {
        std::string reason = unavailableReason(GetParam());
        if (!reason.empty())
            GTEST_SKIP() << reason;
    }

    // Exports tagged.<ext>, imports the file into a copy of plain.<ext> with overwriting, saves,
    // and compares what the two files export.
    void roundTrip(bool withArtwork)
    {
        const KindCase &c = GetParam();
        std::string source = dir.copyFixture(taggedFixture(c));
        std::string target = dir.copyFixture(plainFixture(c), std::string("target.") + c.extension);
        std::string plist = dir.file("tags.plist");
        ASSERT_EQ(openWrapper(source).saveDictionaryRepresentationToFile(qpath(plist), false, withArtwork), kMediaFileNoErr);
        {
            MediaFileWrapper wrapper = openWrapper(target);
            ASSERT_EQ(wrapper.setMediaFileDataFromDictionaryRepresentationAtPath(qpath(plist), true), kMediaFileNoErr);
            ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
        }
        QVariantMap from = exported(source);
        QVariantMap to = exported(target);
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

        QByteArray fromArt = from.value(key(kArtworkExportKey)).toByteArray();
        QByteArray toArt = to.value(key(kArtworkExportKey)).toByteArray();
        EXPECT_EQ(fromArt.isEmpty(), !c.fixtureHasArtwork);
        if (withArtwork && c.fixtureHasArtwork && c.addsArtwork) {
            EXPECT_TRUE(toArt.startsWith("\xFF\xD8"));
            EXPECT_EQ(imageFromArtworkData(toArt).size(), imageFromArtworkData(fromArt).size());
        } else {
            EXPECT_TRUE(toArt.isEmpty());
        }

        // mutagen reads what the import wrote.
        if (c.kind != kMediaFileTypeAIFF && c.kind != kMediaFileTypeWAVE && haveMutagen()) {
            std::string output;
            std::string script = "import mutagen,sys; f = mutagen.File(sys.argv[1], easy=True); "
                                 "print(f['title'][0], f['album'][0], f['tracknumber'][0], sep='|')";
            EXPECT_EQ(runCommand("/usr/bin/python3 -c " + shellQuote(script) + " " + shellQuote(target), &output, true), 0)
                << output;
            EXPECT_EQ(output.substr(0, output.find_last_of('|')), "Kestrel Song|Birds of Prey") << output;
            EXPECT_EQ(output.substr(output.find_last_of('|') + 1, 1), "3") << output;
        }

        std::string before = decodedAudioMd5(fixturePath(plainFixture(c)));
        if (!before.empty()) {
            EXPECT_EQ(decodedAudioMd5(target), before) << "the audio is unchanged";
        }
    }

    TempDir dir;
};

TEST_P(RoundTrip, OverwriteReplacesTheCover)
{
    const KindCase &c = GetParam();
    if (!c.fixtureHasArtwork)
        GTEST_SKIP() << "the tagged fixture of this kind has no cover";
    std::string path = dir.copyFixture(taggedFixture(c));
    QByteArray before = openWrapper(path).mediaFileDataForID(kMediaFileDataIDArtwork);
    ASSERT_FALSE(before.isEmpty());
    {
        MediaFileWrapper wrapper = openWrapper(path);
        ASSERT_EQ(wrapper.setMediaFileDataFromDictionaryRepresentationAtPath(
                      qpath(fixturePath("objects/export-by-plistlib.plist")), true),
                  kMediaFileNoErr);
        ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
    }
    QByteArray after = openWrapper(path).mediaFileDataForID(kMediaFileDataIDArtwork);
    EXPECT_NE(after, before);
    EXPECT_TRUE(after.startsWith("\xFF\xD8"));
    EXPECT_EQ(imageFromArtworkData(after).size(), QSize(24, 16));
    EXPECT_EQ(openWrapper(path).mediaFileStringForID(kMediaFileDataIDTitle), QStringLiteral("Written by plistlib"));
}

TEST_P(RoundTrip, WithArtwork) { roundTrip(true); }
TEST_P(RoundTrip, WithoutArtwork) { roundTrip(false); }

INSTANTIATE_TEST_SUITE_P(Kinds, RoundTrip, ::testing::ValuesIn(kAudioKinds),
                         [](const auto &info) { return std::string(info.param.extension); });

TEST(ExportRead, ExifCameraFields)
{
    MediaFileStatus status = 0;
    std::optional<MediaFileWrapper> wrapper =
        MediaFileWrapper::mediaFileWithFileAtPath(qpath(fixturePath("objects/camera.jpg")), true, &status);
    if (status == kMediaFileErrUnsupported)
        GTEST_SKIP() << "the EXIF handler is not built yet";
    ASSERT_TRUE(wrapper);
    QVariantMap dictionary = *wrapper->getDictionaryRepresentation(true);
    EXPECT_EQ(dictionary.value(QStringLiteral("kMediaFileDataIDMake")), QStringLiteral("Kestrabel Optics"));
    EXPECT_EQ(dictionary.value(QStringLiteral("kMediaFileDataIDModel")), QStringLiteral("Hover 1"));
    // The image is read-only: an import applies nothing and still succeeds.
    EXPECT_EQ(wrapper->setMediaFileDataFromDictionaryRepresentationAtPath(
                  qpath(fixturePath("objects/export-by-plistlib.plist")), true),
              kMediaFileNoErr);
    EXPECT_FALSE(wrapper->mediaFileStringForID(kMediaFileDataIDTitle));
}
