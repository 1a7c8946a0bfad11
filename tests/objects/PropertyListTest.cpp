// The property-list reader and writer, against themselves and against Python's plistlib.
#include "ExportFormat.h"
#include "ObjectsTestSupport.h"
#include "PropertyList.h"

#include <QDateTime>
#include <QTimeZone>

#include <filesystem>
#include <numeric>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

QVariantMap sample()
{
    return {
        {"text", QStringLiteral("Grüße <&> \"quoted\"")}, {"lines", "one\r\ntwo\rthree\n"}, {"empty", ""},
        {"number", 42}, {"negative", -17}, {"big", qlonglong(1) << 40}, {"bytes", QByteArray("\x00\x01\xFF binary", 10)},
        {"yes", true}, {"no", false}, {"real", 2.5}, {"when", QDateTime(QDate(2004, 5, 6), QTime(7, 8, 9), QTimeZone::utc())},
        {"list", QVariantList{1, "two"}}, {"dict", QVariantMap{{"inner", "value"}, {"n", 7}}},
    };
}

// A dictionary nested `levels` deep below the top one, as a value and as XML.
QVariantMap nestedMap(int levels) { return levels ? QVariantMap{{"d", nestedMap(levels - 1)}} : QVariantMap(); }
QByteArray nestedXml(int levels)
{
    return "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>" + QByteArray("<key>d</key><dict>").repeated(levels)
           + QByteArray("</dict>").repeated(levels + 1) + "</plist>";
}

} // namespace

TEST(PropertyList, EveryTypeRoundTripsAndPlistlibAgrees)
{
    TempDir dir;
    const std::string path = dir.file("sample.plist");
    ASSERT_EQ(writePropertyListAtomically(sample(), qpath(path)), kMediaFileNoErr);
    EXPECT_EQ(readPropertyListDictionary(qpath(path)), sample());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1) << "nothing left beside the target";
    if (runCommand("python3 -c 'import plistlib' 2>/dev/null") != 0)
        GTEST_SKIP() << "no Python with plistlib";
    std::string theirs;
    runCommand("python3 -c 'import plistlib,sys; d = plistlib.load(open(sys.argv[1], \"rb\")); print(sorted((k, repr(v)) for k, v in d.items()))' "
                   + shellQuote(path), &theirs, true);
    EXPECT_EQ(theirs, "[('big', '1099511627776'), ('bytes', \"b'\\\\x00\\\\x01\\\\xff binary'\"), "
                      "('dict', \"{'inner': 'value', 'n': 7}\"), ('empty', \"''\"), ('lines', \"'one\\\\r\\\\ntwo\\\\rthree\\\\n'\"), "
                      "('list', \"[1, 'two']\"), ('negative', '-17'), ('no', 'False'), ('number', '42'), ('real', '2.5'), "
                      "('text', '\\'Grüße <&> \"quoted\"\\''), ('when', 'datetime.datetime(2004, 5, 6, 7, 8, 9)'), "
                      "('yes', 'True')]\n");
    // plistlib's XML is read; its binary form is not.
    for (const std::string format : {"FMT_XML", "FMT_BINARY"}) {
        const std::string made = dir.file(format + ".plist");
        runCommand("python3 -c 'import plistlib,sys; plistlib.dump({\"s\": \"Ünïcode\", \"i\": -3, \"b\": bytes(range(256)), "
                   "\"a\": {\"k\": [1, 2]}}, open(sys.argv[1], \"wb\"), fmt=plistlib." + format + ")' " + shellQuote(made));
        QByteArray all(256, '\0');
        std::iota(all.begin(), all.end(), '\0');
        EXPECT_EQ(readPropertyListDictionary(qpath(made)),
                  format == "FMT_XML" ? std::optional(QVariantMap{{"s", QStringLiteral("Ünïcode")}, {"i", -3}, {"b", all},
                                                                  {"a", QVariantMap{{"k", QVariantList{1, 2}}}}})
                                      : std::nullopt) << format;
    }
}

// Nesting up to the limit is written and read; one level more is refused both ways.
TEST(PropertyList, RefusesWhatItCannotHold)
{
    TempDir dir;
    const std::pair<QVariantMap, MediaFileStatus> writes[] = {
        {{{"image", QImage(2, 2, QImage::Format_RGB32)}}, kMediaFileErrCantCreate}, {nestedMap(kMaxPropertyListDepth), kMediaFileNoErr},
        {nestedMap(kMaxPropertyListDepth + 1), kMediaFileErrCantCreate}, {{{"l", QVariantList{nestedMap(kMaxPropertyListDepth)}}}, kMediaFileErrCantCreate},
    };
    for (const auto &[dictionary, status] : writes) {
        const std::string path = dir.file("written.plist");
        std::filesystem::remove(path);
        EXPECT_EQ(writePropertyListAtomically(dictionary, qpath(path)), status);
        EXPECT_EQ(std::filesystem::exists(path), status == kMediaFileNoErr);
    }
    EXPECT_EQ(writePropertyListAtomically(sample(), qpath(dir.file("no/such/folder/x.plist"))), ENOENT);
    EXPECT_EQ(writePropertyListAtomically(sample(), QString()), kMediaFileErrBadPath);

    const QByteArray good = nestedXml(0).replace("<dict></dict>", "<dict><key>a</key><string>x</string></dict>");
    // libplist aborts on a NUL inside a text when asked for it; it must be refused before that.
    const QByteArray nul = QByteArray(good).replace("<string>x", QByteArray("<string>x\0", 10));
    EXPECT_TRUE(propertyListDictionaryFromData(good) && propertyListDictionaryFromData(nestedXml(kMaxPropertyListDepth)));
    for (const QByteArray &bad : {nul, nestedXml(kMaxPropertyListDepth + 1), QByteArray(), QByteArray("\x00\x01garbage", 9),
                                  QByteArray("<plist><dict><key>x</key>")})
        EXPECT_FALSE(propertyListDictionaryFromData(bad)) << bad.left(60).toStdString();
    for (const std::string &bad : {fixturePath("objects/nul-in-string.plist"), fixturePath("objects/nul-in-key-binary.plist"),
                                   std::string("/dev/zero"), dir.path().string()})
        EXPECT_FALSE(readPropertyListDictionary(qpath(bad))) << bad;
}

TEST(PropertyList, ExportKeysAreWrittenInTableOrder)
{
    TempDir dir;
    writeFile(dir.file("x.mov"), "x");
    QVariantMap dictionary = *openWrapper(dir.file("x.mov")).getDictionaryRepresentation(false);
    dictionary.insert("aaa extra", 1);
    const QByteArray xml = propertyListXml(dictionary, exportKeyOrder());
    EXPECT_TRUE(xml.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>"));
    qsizetype last = -1;
    for (const QString &name : exportKeyOrder()) {
        const qsizetype at = xml.indexOf(("<key>" + name + "</key>").toUtf8());
        if (name != QLatin1String(kArtworkExportKey)) {
            ASSERT_GT(at, last) << name.toStdString();
            last = at;
        }
    }
    EXPECT_GT(xml.indexOf("<key>aaa extra</key>"), last) << "unlisted keys follow";
}
