// The property-list reader and writer, against themselves and against Python's plistlib.
#include "ExportFormat.h"
#include "ObjectsTestSupport.h"
#include "PropertyList.h"

#include <QDateTime>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <filesystem>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

const std::string kPython = "/usr/bin/python3";

QVariantMap sample()
{
    return {
        {"text", QStringLiteral("Grüße <&> \"quoted\"")}, {"lines", "one\r\ntwo\rthree\n"}, {"empty", ""},
        {"number", 42}, {"negative", -17}, {"big", qlonglong(1) << 40}, {"bytes", QByteArray("\x00\x01\xFF binary", 10)},
        {"yes", true}, {"real", 2.5}, {"when", QDateTime(QDate(2004, 5, 6), QTime(7, 8, 9), QTimeZone::utc())},
        {"list", QVariantList{1, "two"}}, {"dict", QVariantMap{{"inner", "value"}, {"n", 7}}},
    };
}

// Runs a Python script on args; skips without Python's plistlib.
std::string python(const std::string &script, const std::string &args)
{
    std::string output;
    if (runCommand(kPython + " -c 'import plistlib' 2>/dev/null") != 0)
        return "no plistlib";
    runCommand(kPython + " -c " + shellQuote(script) + " " + args, &output, true);
    return output;
}

} // namespace

TEST(PropertyList, EveryTypeRoundTripsAndPlistlibAgrees)
{
    TempDir dir;
    const std::string path = dir.file("sample.plist");
    ASSERT_EQ(writePropertyListAtomically(sample(), qpath(path)), kMediaFileNoErr);
    EXPECT_EQ(readPropertyListDictionary(qpath(path)), sample());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1) << "nothing left beside the target";
    const std::string theirs = python("import plistlib,sys; d = plistlib.load(open(sys.argv[1], 'rb')); "
                                      "print(sorted((k, repr(v)) for k, v in d.items()))", shellQuote(path));
    if (theirs == "no plistlib")
        GTEST_SKIP() << "no Python with plistlib at " << kPython;
    EXPECT_EQ(theirs, "[('big', '1099511627776'), ('bytes', \"b'\\\\x00\\\\x01\\\\xff binary'\"), "
                      "('dict', \"{'inner': 'value', 'n': 7}\"), ('empty', \"''\"), ('lines', \"'one\\\\r\\\\ntwo\\\\rthree\\\\n'\"), "
                      "('list', \"[1, 'two']\"), ('negative', '-17'), ('number', '42'), ('real', '2.5'), "
                      "('text', '\\'Grüße <&> \"quoted\"\\''), ('when', 'datetime.datetime(2004, 5, 6, 7, 8, 9)'), "
                      "('yes', 'True')]\n");

    // plistlib's XML is read; its binary form is not.
    for (const char *format : {"FMT_XML", "FMT_BINARY"}) {
        const std::string made = dir.file(std::string(format) + ".plist");
        python(std::string("import plistlib,sys; plistlib.dump({'s': 'Ünïcode', 'i': -3, 'b': bytes(range(256)), "
                           "'a': {'k': [1, 2]}}, open(sys.argv[1], 'wb'), fmt=plistlib.") + format + ")", shellQuote(made));
        const std::optional<QVariantMap> read = readPropertyListDictionary(qpath(made));
        EXPECT_EQ(read.has_value(), std::string(format) == "FMT_XML") << format;
        if (!read)
            continue;
        QByteArray all(256, '\0');
        for (int i = 0; i < 256; ++i)
            all[i] = char(i);
        EXPECT_EQ(*read, (QVariantMap{{"s", QStringLiteral("Ünïcode")}, {"i", -3}, {"b", all}, {"a", QVariantMap{{"k", QVariantList{1, 2}}}}}));
    }
}

TEST(PropertyList, RefusesWhatItCannotHold)
{
    TempDir dir;
    EXPECT_EQ(writePropertyListAtomically({{"image", QImage(2, 2, QImage::Format_RGB32)}}, qpath(dir.file("odd.plist"))),
              kMediaFileErrCantCreate);
    EXPECT_FALSE(std::filesystem::exists(dir.file("odd.plist")));
    QVariantMap deep;
    for (int i = 0; i < kMaxPropertyListDepth + 2; ++i)
        deep = QVariantMap{{"d", deep}};
    EXPECT_EQ(writePropertyListAtomically(deep, qpath(dir.file("deep.plist"))), kMediaFileErrCantCreate);
    EXPECT_EQ(writePropertyListAtomically(sample(), qpath(dir.file("no/such/folder/x.plist"))), ENOENT);
    EXPECT_EQ(writePropertyListAtomically(sample(), QString()), kMediaFileErrBadPath);

    const QByteArray head = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>";
    const QByteArray good = head + "<key>a</key><string>x</string></dict></plist>";
    EXPECT_TRUE(propertyListDictionaryFromData(good));
    // libplist aborts on a NUL inside a text when asked for it; it must be refused before that.
    QByteArray nul = good;
    nul.replace("<string>x", QByteArray("<string>x\0", 10));
    // Nesting up to the limit is read; one level more is refused.
    const auto nested = [&](int levels) {
        return head + QByteArray("<key>d</key><dict>").repeated(levels) + QByteArray("</dict>").repeated(levels + 1) + "</plist>";
    };
    EXPECT_TRUE(propertyListDictionaryFromData(nested(kMaxPropertyListDepth)));
    const QByteArray tooDeep = nested(kMaxPropertyListDepth + 1);
    for (const QByteArray &bad : {nul, tooDeep, QByteArray(), QByteArray("\x00\x01garbage", 9), QByteArray("<plist><dict><key>x</key>")})
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
    qsizetype last = -1;
    for (const QString &name : exportKeyOrder()) {
        const qsizetype at = xml.indexOf(("<key>" + name + "</key>").toUtf8());
        if (name == QLatin1String(kArtworkExportKey)) {
            EXPECT_EQ(at, -1);
            continue;
        }
        ASSERT_GT(at, last) << name.toStdString();
        last = at;
    }
    EXPECT_GT(xml.indexOf("<key>aaa extra</key>"), last) << "unlisted keys follow";
    EXPECT_TRUE(xml.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>"));
}
