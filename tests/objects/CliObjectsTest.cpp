// The command-line tool's export, import and artwork commands, and -r / -j, run as a process.
#include "ArtworkImage.h"
#include "ObjectsTestSupport.h"
#include "PropertyList.h"

#include <QFile>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

using namespace kestrabel;
using namespace kestrabel::test;
namespace fs = std::filesystem;

namespace {

std::string q(const std::string &text) { return shellQuote(text); }

QByteArray fileBytes(const std::string &path)
{
    QFile file(qpath(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

QString title(const std::string &path) { return openWrapper(path).mediaFileStringForID(kMediaFileDataIDTitle).value_or(QString()); }

class CliObjects : public ::testing::Test {
protected:
    void SetUp() override
    {
        kind = firstArtworkKind();
        if (!kind)
            GTEST_SKIP() << "no handler that stores artwork is built yet";
        ext = kind->extension;
    }
    std::string tagged(const std::string &as) { return dir.copyFixture(taggedFixture(*kind), as + "." + ext); }
    std::string plain(const std::string &as) { return dir.copyFixture(plainFixture(*kind), as + "." + ext); }

    TempDir dir;
    const KindCase *kind = nullptr;
    std::string ext;
    std::string out;
};

} // namespace

TEST_F(CliObjects, ExportBesideEachFileAndTheOverwriteRule)
{
    std::string a = tagged("a");
    std::string b = plain("b");
    ASSERT_EQ(runCli("export " + q(a) + " " + q(b), &out), 0) << out;
    std::optional<QVariantMap> exported = readPropertyListDictionary(qpath(dir.file("a.plist")));
    ASSERT_TRUE(exported);
    EXPECT_EQ(exported->value(QStringLiteral("kMediaFileDataExportKey")), QStringLiteral("KESTRABEL MEDIA FILE DATA EXPORT"));
    EXPECT_EQ(exported->value(QStringLiteral("kMediaFileDataIDTitle")), QStringLiteral("Kestrel Song"));
    EXPECT_EQ(exported->value(QStringLiteral("kMediaFileDataIDTrackNumber")), QVariant(3));
    EXPECT_FALSE(exported->contains(QStringLiteral("kMediaFileDataIDArtwork")));
    EXPECT_TRUE(fs::exists(dir.file("b.plist")));

    QByteArray before = fileBytes(dir.file("a.plist"));
    EXPECT_EQ(runCli("export --artwork " + q(a), &out), 1);
    EXPECT_TRUE(contains(out, "a.plist: exists (use --overwrite")) << out;
    EXPECT_TRUE(contains(out, "kMediaFileErrExists (-6771)")) << out;
    EXPECT_EQ(fileBytes(dir.file("a.plist")), before);
    EXPECT_EQ(runCli("export --artwork --overwrite " + q(a), &out), 0) << out;
    exported = readPropertyListDictionary(qpath(dir.file("a.plist")));
    ASSERT_TRUE(exported);
    EXPECT_EQ(exported->value(QStringLiteral("kMediaFileDataIDArtwork")).toByteArray(),
              openWrapper(a).mediaFileDataForID(kMediaFileDataIDArtwork));
}

TEST_F(CliObjects, ExportToOneFile)
{
    std::string a = tagged("a");
    std::string target = dir.file("sub dir/out.plist");
    fs::create_directories(dir.path() / "sub dir");
    ASSERT_EQ(runCli("export -o " + q(target) + " " + q(a), &out), 0) << out;
    EXPECT_EQ(readPropertyListDictionary(qpath(target))->value(QStringLiteral("kMediaFileDataIDAlbum")),
              QStringLiteral("Birds of Prey"));
    EXPECT_EQ(runCli("export -o " + q(target) + " " + q(a) + " " + q(plain("b")), &out), 2) << "one file only";
    EXPECT_EQ(runCli("export -o x.plist --archive y.plist " + q(a), &out), 2);
    EXPECT_EQ(runCli("export --bogus " + q(a), &out), 2);
    EXPECT_EQ(runCli("export", &out), 2);
    EXPECT_EQ(runCli("export " + q(dir.file("missing." + ext)), &out), 1);
}

TEST_F(CliObjects, ArchiveOfAFolderImportedIntoOtherFiles)
{
    fs::create_directories(dir.path() / "music" / "disc 2");
    std::string first = dir.copyFixture(taggedFixture(*kind), "music/first." + ext);
    std::string second = dir.copyFixture(plainFixture(*kind), "music/disc 2/second." + ext);
    {
        MediaFileWrapper wrapper = openWrapper(second);
        ASSERT_EQ(wrapper.setMediaFileString(QStringLiteral("Second Song"), kMediaFileDataIDTitle, true), kMediaFileNoErr);
        ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
    }
    writeFile(dir.file("music/notes.txt"), "not music, skipped without a word");
    std::string archive = dir.file("archive.plist");

    EXPECT_EQ(runCli("export --archive " + q(archive) + " " + q(dir.file("music")), &out), 1) << "a folder needs -r";
    EXPECT_TRUE(contains(out, "is a folder")) << out;
    EXPECT_FALSE(fs::exists(archive)) << "nothing exported, nothing written";
    ASSERT_EQ(runCli("export -r --artwork --archive " + q(archive) + " " + q(dir.file("music")), &out), 0) << out;
    EXPECT_FALSE(contains(out, "notes.txt")) << out;
    std::optional<QVariantMap> read = readPropertyListDictionary(qpath(archive));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->keys(), (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
    EXPECT_EQ(read->value(QStringLiteral("first")).toMap().value(QStringLiteral("kMediaFileDataIDTitle")),
              QStringLiteral("Kestrel Song"));
    EXPECT_EQ(runCli("export -r --archive " + q(archive) + " " + q(dir.file("music")), &out), 1) << "exists";

    // Import into fresh files of the same names, elsewhere; a third name has no entry.
    fs::create_directories(dir.path() / "copies");
    std::string copyFirst = dir.copyFixture(plainFixture(*kind), "copies/first." + ext);
    std::string copySecond = dir.copyFixture(plainFixture(*kind), "copies/second." + ext);
    std::string stranger = dir.copyFixture(plainFixture(*kind), "copies/stranger." + ext);
    EXPECT_EQ(runCli("import -j 2 " + q(archive) + " " + q(copyFirst) + " " + q(copySecond) + " " + q(stranger), &out), 1);
    EXPECT_TRUE(contains(out, "stranger." + ext + ": the archive has no entry 'stranger'")) << out;
    EXPECT_TRUE(contains(out, "kMediaFileErrNotFound (-6727)")) << out;
    EXPECT_EQ(title(copyFirst), QStringLiteral("Kestrel Song"));
    EXPECT_EQ(title(copySecond), QStringLiteral("Second Song"));
    EXPECT_EQ(title(stranger), QString());
    EXPECT_TRUE(openWrapper(copyFirst).mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty())
        << "artwork comes only with --overwrite";
    ASSERT_EQ(runCli("import --overwrite " + q(archive) + " " + q(copyFirst), &out), 0) << out;
    EXPECT_TRUE(imageFromArtworkData(openWrapper(copyFirst).mediaFileDataForID(kMediaFileDataIDArtwork)).size() ==
                QSize(24, 16));
}

TEST_F(CliObjects, ArchiveRefusesTwoFilesOfOneName)
{
    fs::create_directories(dir.path() / "x");
    fs::create_directories(dir.path() / "y");
    std::string one = dir.copyFixture(taggedFixture(*kind), "x/same." + ext);
    std::string two = dir.copyFixture(plainFixture(*kind), "y/same." + ext);
    EXPECT_EQ(runCli("export --archive " + q(dir.file("a.plist")) + " " + q(one) + " " + q(two), &out), 1);
    EXPECT_TRUE(contains(out, "'same', is already the key of")) << out;
    std::optional<QVariantMap> read = readPropertyListDictionary(qpath(dir.file("a.plist")));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->value(QStringLiteral("same")).toMap().value(QStringLiteral("kMediaFileDataIDTitle")),
              QStringLiteral("Kestrel Song"))
        << "the first file keeps the name";
}

TEST_F(CliObjects, ImportDictionaryRules)
{
    std::string source = tagged("source");
    ASSERT_EQ(runCli("export " + q(source), &out), 0) << out;
    std::string target = plain("target");
    {
        MediaFileWrapper wrapper = openWrapper(target);
        ASSERT_EQ(wrapper.setMediaFileString(QStringLiteral("Mine"), kMediaFileDataIDTitle, true), kMediaFileNoErr);
        ASSERT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr);
    }
    ASSERT_EQ(runCli("import " + q(dir.file("source.plist")) + " " + q(target), &out), 0) << out;
    MediaFileWrapper result = openWrapper(target);
    EXPECT_EQ(result.mediaFileStringForID(kMediaFileDataIDTitle), QStringLiteral("Mine"));
    EXPECT_EQ(result.mediaFileStringForID(kMediaFileDataIDAlbum), QStringLiteral("Birds of Prey"));

    QByteArray before = fileBytes(target);
    EXPECT_EQ(runCli("import " + q(fixturePath("objects/wrong-marker.plist")) + " " + q(target), &out), 1);
    EXPECT_TRUE(contains(out, "kMediaFileErrBadFormat (-6717)")) << out;
    EXPECT_EQ(runCli("import " + q(fixturePath("objects/not-an-image.png")) + " " + q(target), &out), 1);
    EXPECT_EQ(runCli("import " + q(dir.file("missing.plist")) + " " + q(target), &out), 1);
    EXPECT_EQ(fileBytes(target), before) << "refused imports leave the file alone";
    EXPECT_EQ(runCli("import " + q(dir.file("source.plist")), &out), 2) << "no FILE";
    EXPECT_EQ(runCli("import --overwrite --bogus x y", &out), 2);
}

TEST_F(CliObjects, ArtworkWrittenOutAsStored)
{
    std::string a = tagged("a");
    QByteArray stored = openWrapper(a).mediaFileDataForID(kMediaFileDataIDArtwork);
    ASSERT_FALSE(stored.isEmpty());
    ASSERT_EQ(runCli("artwork " + q(a), &out), 0) << out;
    EXPECT_EQ(fileBytes(dir.file("a.jpg")), stored);
    EXPECT_EQ(runCli("artwork " + q(a), &out), 1) << "the image exists";
    EXPECT_EQ(runCli("artwork --overwrite " + q(a), &out), 0) << out;
    ASSERT_EQ(runCli("artwork -o " + q(dir.file("cover out.jpeg")) + " " + q(a), &out), 0) << out;
    EXPECT_EQ(fileBytes(dir.file("cover out.jpeg")), stored);

    std::string b = plain("b");
    EXPECT_EQ(runCli("artwork " + q(b), &out), 1);
    EXPECT_FALSE(fs::exists(dir.file("b.jpg")));
    EXPECT_EQ(runCli("artwork -o x.jpg " + q(a) + " " + q(b), &out), 2);
}

TEST_F(CliObjects, SetArtworkConvertsToJpeg)
{
    std::string a = plain("a");
    ASSERT_EQ(runCli("set --artwork " + q(fixturePath("objects/cover.gif")) + " " + q(a), &out), 0) << out;
    QByteArray stored = openWrapper(a).mediaFileDataForID(kMediaFileDataIDArtwork);
    EXPECT_TRUE(stored.startsWith("\xFF\xD8\xFF"));
    EXPECT_EQ(imageFromArtworkData(stored).size(), QSize(24, 16));

    QByteArray before = fileBytes(a);
    EXPECT_EQ(runCli("set --artwork " + q(fixturePath("objects/not-an-image.png")) + " " + q(a), &out), 2);
    EXPECT_TRUE(contains(out, "kMediaFileErrNotImage")) << out;
    EXPECT_EQ(runCli("set --artwork " + q(dir.file("missing.png")) + " " + q(a), &out), 2);
    EXPECT_TRUE(contains(out, "ENOENT")) << out;
    EXPECT_EQ(fileBytes(a), before);
}

TEST_F(CliObjects, RecursiveAndParallelKeepTheOrder)
{
    // Twelve files in nested folders, some of them not media files at all.
    std::vector<std::string> files;
    for (int i = 0; i < 12; ++i) {
        std::string folder = "tree/" + std::string(1, char('a' + i % 3)) + "/";
        fs::create_directories(dir.path() / folder);
        files.push_back(dir.copyFixture(plainFixture(*kind), folder + "song" + std::to_string(10 + i) + "." + ext));
    }
    writeFile(dir.file("tree/a/cover.txt"), "text");
    writeFile(dir.file("tree/readme"), "text");
    std::sort(files.begin(), files.end());

    ASSERT_EQ(runCli("set -r -j 4 -t Album=Parallel -t 'Track Number=9' " + q(dir.file("tree")), &out), 0) << out;
    std::string serial, parallel;
    ASSERT_EQ(runCommand(q(cliPath()) + " show --json --no-audio-info -r " + q(dir.file("tree")), &serial), 0);
    ASSERT_EQ(runCommand(q(cliPath()) + " show --json --no-audio-info -r -j3 " + q(dir.file("tree")), &parallel), 0);
    EXPECT_EQ(parallel, serial);
    size_t at = 0;
    for (const std::string &path : files) {
        size_t found = serial.find("\"path\": " + std::string("\"") + path + "\"", at);
        ASSERT_NE(found, std::string::npos) << path << " in order";
        at = found;
        EXPECT_EQ(openWrapper(path).mediaFileStringForID(kMediaFileDataIDAlbum), QStringLiteral("Parallel"));
    }
    EXPECT_FALSE(contains(serial, "cover.txt"));
    EXPECT_FALSE(contains(serial, "readme"));

    std::string text;
    EXPECT_EQ(runCommand(q(cliPath()) + " show -j 2 " + q(files[0]) + " " + q(files[1]), &text), 0);
    EXPECT_EQ(text.find("\n\n"), text.rfind("\n\n")) << "one blank line between the two reports";

    EXPECT_EQ(runCli("show -j x " + q(files[0]), &out), 2);
    EXPECT_EQ(runCli("show -j 1000 " + q(files[0]), &out), 2);
    EXPECT_EQ(runCli("show " + q(dir.file("tree")), &out), 1);
    EXPECT_TRUE(contains(out, "is a folder (use -r")) << out;
}

TEST_F(CliObjects, ProgressBarOnlyOnATerminal)
{
    for (int i = 0; i < 10; ++i)
        tagged("t" + std::to_string(i));
    std::string arguments = " show --json --no-audio-info -j 2 " + q(dir.path().string()) + " -r";
    std::string err;
    ASSERT_EQ(runCommand(q(cliPath()) + arguments + " 2>&1 >/dev/null", &err), 0);
    EXPECT_EQ(err, "") << "no bar when standard error is not a terminal";
    if (!haveTool("script"))
        GTEST_SKIP() << "no 'script' to give the tool a terminal";
    std::string terminal;
    std::string command = "script -qec " + q(q(cliPath()) + arguments + " >/dev/null") + " /dev/null";
    ASSERT_EQ(runCommand(command, &terminal), 0) << terminal;
    EXPECT_TRUE(contains(terminal, "10/10 files")) << terminal;
    EXPECT_TRUE(contains(terminal, "\r")) << terminal;
}
