// The command-line tool's export, import and artwork commands, run as a process:
// one session of commands over one folder, each row checked after it ran.
#include "ArtworkImage.h"
#include "ObjectsTestSupport.h"
#include "PropertyList.h"

#include <filesystem>

using namespace kestrabel;
using namespace kestrabel::test;
namespace fs = std::filesystem;

TEST(CliObjects, Session)
{
    TempDir dir;
    const std::string e = kMp3.extension;
    const auto copy = [&](bool tagged, const std::string &as) {
        fs::create_directories(fs::path(dir.file(as)).parent_path());
        return dir.copyFixture(tagged ? taggedFixture(kMp3) : plainFixture(kMp3), as + "." + e);
    };
    const std::string a = copy(true, "a"), b = copy(false, "b");
    copy(true, "music/first");
    editAndSave(copy(false, "music/disc 2/second"),
                [](MediaFileWrapper &w) { w.setMediaFileString(QStringLiteral("Second Song"), kMediaFileDataIDTitle, true); });
    writeFile(dir.file("music/notes.txt"), "not music, skipped without a word");
    copy(false, "copies/first"), copy(false, "copies/second"), copy(false, "copies/stranger");
    const auto title = [&](const std::string &name) {
        return openWrapper(dir.file(name + "." + e)).mediaFileStringForID(kMediaFileDataIDTitle).value_or("").toStdString();
    };
    const auto plist = [&](const std::string &name, const QString &entry, const char *field) {
        const QVariantMap all = readPropertyListDictionary(qpath(dir.file(name))).value_or(QVariantMap());
        return (entry.isEmpty() ? all : all.value(entry).toMap()).value(QString::fromLatin1(field));
    };
    const QByteArray aArt = openWrapper(a).mediaFileDataForID(kMediaFileDataIDArtwork);
    ASSERT_FALSE(aArt.isEmpty());
    QByteArray aPlist, bBytes;
    const struct {
        std::string args; // {d} is the folder, {e} the extension
        int status;
        const char *shows;
        std::function<void()> check;
    } rows[] = {
        {"export {d}/a.{e} {d}/b.{e}", 0, "", [&] {
             EXPECT_EQ(plist("a.plist", {}, "kMediaFileDataExportKey"), QStringLiteral("KESTRABEL MEDIA FILE DATA EXPORT"));
             EXPECT_EQ(plist("a.plist", {}, "kMediaFileDataIDTitle"), QStringLiteral("Kestrel Song"));
             EXPECT_EQ(plist("a.plist", {}, "kMediaFileDataIDTrackNumber"), QVariant(3));
             EXPECT_FALSE(plist("a.plist", {}, "kMediaFileDataIDArtwork").isValid());
             EXPECT_TRUE(fs::exists(dir.file("b.plist")));
             aPlist = fileBytes(dir.file("a.plist"));
         }},
        {"export --artwork {d}/a.{e}", 1, "a.plist: exists (use --overwrite to replace it): kMediaFileErrExists (-6771)",
         [&] { EXPECT_EQ(fileBytes(dir.file("a.plist")), aPlist); }},
        {"export --artwork --overwrite {d}/a.{e}", 0, "", [&] { EXPECT_EQ(plist("a.plist", {}, "kMediaFileDataIDArtwork"), aArt); }},
        {"export -o {d}/out.plist {d}/a.{e}", 0, "", [&] { EXPECT_EQ(plist("out.plist", {}, "kMediaFileDataIDAlbum"), QStringLiteral("Birds of Prey")); }},
        {"export --archive {d}/archive.plist {d}/music", 1, "is a folder", [&] { EXPECT_FALSE(fs::exists(dir.file("archive.plist"))); }},
        {"export -r --artwork --archive {d}/archive.plist {d}/music", 0, "", [&] {
             EXPECT_EQ(readPropertyListDictionary(qpath(dir.file("archive.plist")))->keys(), (QStringList{"first", "second"}));
             EXPECT_EQ(plist("archive.plist", "first", "kMediaFileDataIDTitle"), QStringLiteral("Kestrel Song"));
         }},
        {"export -r --archive {d}/archive.plist {d}/music", 1, "exists", nullptr},
        {"import -j 2 {d}/archive.plist {d}/copies/first.{e} {d}/copies/second.{e} {d}/copies/stranger.{e}", 1,
         "kMediaFileErrNotFound (-6727)", [&] {
             EXPECT_EQ(title("copies/first"), "Kestrel Song");
             EXPECT_EQ(title("copies/second"), "Second Song");
             EXPECT_EQ(title("copies/stranger"), "");
             EXPECT_TRUE(openWrapper(dir.file("copies/first." + e)).mediaFileDataForID(kMediaFileDataIDArtwork).isEmpty())
                 << "artwork comes only with --overwrite";
         }},
        {"import {d}/archive.plist {d}/copies/stranger.{e}", 1, "stranger.{e}: the archive has no entry 'stranger'", nullptr},
        {"import --overwrite {d}/archive.plist {d}/copies/first.{e}", 0, "", [&] {
             EXPECT_EQ(imageFromArtworkData(openWrapper(dir.file("copies/first." + e)).mediaFileDataForID(kMediaFileDataIDArtwork)).size(), QSize(24, 16));
         }},
        {"set -t Title=Mine {d}/b.{e}", 0, "", nullptr},
        {"import {d}/a.plist {d}/b.{e}", 0, "", [&] {
             EXPECT_EQ(title("b"), "Mine");
             EXPECT_EQ(openWrapper(b).mediaFileStringForID(kMediaFileDataIDAlbum), QStringLiteral("Birds of Prey"));
             bBytes = fileBytes(b);
         }},
        {"import {d}/missing.plist {d}/b.{e}", 1, "", [&] { EXPECT_EQ(fileBytes(b), bBytes) << "refused imports leave the file alone"; }},
        {"artwork {d}/a.{e}", 0, "", [&] { EXPECT_EQ(fileBytes(dir.file("a.jpg")), aArt); }},
        {"artwork {d}/a.{e}", 1, "", nullptr},
        {"artwork -o '{d}/cover out.jpeg' {d}/a.{e}", 0, "", [&] { EXPECT_EQ(fileBytes(dir.file("cover out.jpeg")), aArt); }},
        {"artwork {d}/copies/second.{e}", 1, "", [&] { EXPECT_FALSE(fs::exists(dir.file("copies/second.jpg"))); }},
        {"set --artwork " + fixturePath("objects/cover.gif") + " {d}/copies/second.{e}", 0, "", [&] {
             const QByteArray stored = openWrapper(dir.file("copies/second." + e)).mediaFileDataForID(kMediaFileDataIDArtwork);
             EXPECT_TRUE(stored.startsWith("\xFF\xD8\xFF"));
             EXPECT_EQ(imageFromArtworkData(stored).size(), QSize(24, 16));
             bBytes = fileBytes(dir.file("copies/second." + e));
         }},
        {"set --artwork " + fixturePath("objects/not-an-image.png") + " {d}/copies/second.{e}", 2, "kMediaFileErrNotImage", nullptr},
        {"set --artwork {d}/missing.png {d}/copies/second.{e}", 2, "ENOENT",
         [&] { EXPECT_EQ(fileBytes(dir.file("copies/second." + e)), bBytes); }},
        {"show {d}/music", 1, "is a folder (use -r", nullptr},
    };
    for (const auto &row : rows) {
        std::string args = row.args, shows = row.shows, out;
        for (auto *text : {&args, &shows})
            for (const auto &[from, to] : {std::pair<std::string, std::string>{"{d}", dir.path().string()}, {"{e}", e}})
                for (size_t at; (at = text->find(from)) != std::string::npos;)
                    text->replace(at, from.size(), to);
        EXPECT_EQ(runCommand(shellQuote(cliPath()) + " " + args, &out, true), row.status) << args << "\n" << out;
        EXPECT_NE(out.find(shows), std::string::npos) << args << "\n" << out;
        SCOPED_TRACE(args);
        if (row.check)
            row.check();
    }
}
