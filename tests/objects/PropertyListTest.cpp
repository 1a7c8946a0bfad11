#include "ExportFormat.h"
#include "ObjectsTestSupport.h"
#include "PropertyList.h"

#include <QDateTime>
#include <QFile>
#include <QTimeZone>

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

const std::string systemPython = "/usr/bin/python3";

bool havePlistlib() { return runCommand(systemPython + " -c 'import plistlib' 2>/dev/null") == 0; }

QVariantMap sample()
{
    QVariantMap nested{{QStringLiteral("inner"), QStringLiteral("value")}, {QStringLiteral("n"), 7}};
    return {
        {QStringLiteral("text"), QStringLiteral("Grüße <&> \"quoted\"")},
        {QStringLiteral("lines"), QStringLiteral("one\r\ntwo\rthree\n")},
        {QStringLiteral("empty"), QStringLiteral("")},
        {QStringLiteral("number"), 42},
        {QStringLiteral("negative"), -17},
        {QStringLiteral("big"), qlonglong(1) << 40},
        {QStringLiteral("bytes"), QByteArray("\x00\x01\xFF binary", 10)},
        {QStringLiteral("yes"), true},
        {QStringLiteral("real"), 2.5},
        {QStringLiteral("when"), QDateTime(QDate(2004, 5, 6), QTime(7, 8, 9), QTimeZone::utc())},
        {QStringLiteral("list"), QVariantList{1, QStringLiteral("two")}},
        {QStringLiteral("dict"), nested},
    };
}

} // namespace

TEST(PropertyList, WriteAndReadBackEveryType)
{
    TempDir dir;
    std::string path = dir.file("sample.plist");
    ASSERT_EQ(writePropertyListAtomically(sample(), qpath(path)), kMediaFileNoErr);
    std::optional<QVariantMap> back = readPropertyListDictionary(qpath(path));
    ASSERT_TRUE(back);
    EXPECT_EQ(*back, sample());
    EXPECT_EQ(back->value(QStringLiteral("lines")).toString(), QStringLiteral("one\r\ntwo\rthree\n"));
    // Nothing is left beside the target.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST(PropertyList, RefusesWhatItCannotHold)
{
    TempDir dir;
    QVariantMap odd{{QStringLiteral("image"), QImage(2, 2, QImage::Format_RGB32)}};
    EXPECT_EQ(writePropertyListAtomically(odd, qpath(dir.file("odd.plist"))), kMediaFileErrCantCreate);
    EXPECT_FALSE(std::filesystem::exists(dir.file("odd.plist")));

    QVariantMap deep;
    for (int i = 0; i < kMaxPropertyListDepth + 2; ++i)
        deep = QVariantMap{{QStringLiteral("d"), deep}};
    EXPECT_EQ(writePropertyListAtomically(deep, qpath(dir.file("deep.plist"))), kMediaFileErrCantCreate);

    std::string deepXml = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>";
    for (int i = 0; i < kMaxPropertyListDepth + 2; ++i)
        deepXml += "<key>d</key><dict>";
    for (int i = 0; i < kMaxPropertyListDepth + 2; ++i)
        deepXml += "</dict>";
    deepXml += "</dict></plist>";
    EXPECT_FALSE(propertyListDictionaryFromData(QByteArray::fromStdString(deepXml)));
    EXPECT_FALSE(propertyListDictionaryFromData(QByteArray()));
    EXPECT_FALSE(readPropertyListDictionary(QStringLiteral("/dev/zero"))) << "not read at all";
    EXPECT_FALSE(readPropertyListDictionary(qpath(dir.path().string())));
    EXPECT_FALSE(propertyListDictionaryFromData(QByteArray("\x00\x01garbage", 9)));

    EXPECT_EQ(writePropertyListAtomically(sample(), qpath(dir.file("no/such/folder/x.plist"))), ENOENT);
    EXPECT_EQ(writePropertyListAtomically(sample(), QString()), kMediaFileErrBadPath);
}

TEST(PropertyList, ExportKeysAreWrittenInTableOrder)
{
    TempDir dir;
    std::string movie = dir.file("x.mov");
    writeFile(movie, "x");
    QVariantMap dictionary = *openWrapper(movie).getDictionaryRepresentation(false);
    dictionary.insert(QStringLiteral("aaa extra"), 1);
    QByteArray xml = propertyListXml(dictionary, exportKeyOrder());
    qsizetype last = -1;
    for (const QString &name : exportKeyOrder()) {
        qsizetype at = xml.indexOf(("<key>" + name + "</key>").toUtf8());
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

TEST(PropertyList, PlistlibReadsWhatWeWrite)
{
    if (!havePlistlib())
        GTEST_SKIP() << "no Python with plistlib at " << systemPython;
    TempDir dir;
    std::string path = dir.file("sample.plist");
    ASSERT_EQ(writePropertyListAtomically(sample(), qpath(path)), kMediaFileNoErr);
    std::string script = R"(
import plistlib, sys, datetime
d = plistlib.load(open(sys.argv[1], "rb"))
assert d["text"] == "Grüße <&> \"quoted\"", d["text"]
assert d["lines"] == "one\r\ntwo\rthree\n", repr(d["lines"])
assert d["empty"] == ""
assert d["number"] == 42 and d["negative"] == -17 and d["big"] == 1 << 40
assert d["bytes"] == b"\x00\x01\xff binary", d["bytes"]
assert d["yes"] is True and d["real"] == 2.5
assert d["when"] == datetime.datetime(2004, 5, 6, 7, 8, 9), d["when"]
assert d["list"] == [1, "two"]
assert d["dict"] == {"inner": "value", "n": 7}
assert len(d) == 12
print("ok")
)";
    writeFile(dir.file("check.py"), script);
    std::string output;
    EXPECT_EQ(runCommand(systemPython + " " + shellQuote(dir.file("check.py")) + " " + shellQuote(path), &output, true), 0)
        << output;
}

TEST(PropertyList, WeReadPlistlibXmlAndRefuseBinary)
{
    if (!havePlistlib())
        GTEST_SKIP() << "no Python with plistlib at " << systemPython;
    TempDir dir;
    for (const char *format : {"FMT_XML", "FMT_BINARY"}) {
        SCOPED_TRACE(format);
        std::string path = dir.file(std::string(format) + ".plist");
        std::string command = systemPython + " -c 'import plistlib,sys; plistlib.dump({\"s\": \"Ünïcode\", \"i\": -3, "
                              "\"b\": bytes(range(256)), \"a\": {\"k\": [1, 2]}}, open(sys.argv[1], \"wb\"), fmt=plistlib." +
                              format + ")' " + shellQuote(path);
        ASSERT_EQ(runCommand(command), 0);
        std::optional<QVariantMap> read = readPropertyListDictionary(qpath(path));
        if (std::string(format) == "FMT_BINARY") {
            EXPECT_FALSE(read) << "only XML property lists are read";
            continue;
        }
        ASSERT_TRUE(read);
        EXPECT_EQ(read->value(QStringLiteral("s")), QStringLiteral("Ünïcode"));
        EXPECT_EQ(read->value(QStringLiteral("i")), QVariant(-3));
        QByteArray all(256, '\0');
        for (int i = 0; i < 256; ++i)
            all[i] = char(i);
        EXPECT_EQ(read->value(QStringLiteral("b")), all);
        QVariantMap inner{{QStringLiteral("k"), QVariantList{1, 2}}};
        EXPECT_EQ(read->value(QStringLiteral("a")), inner);
    }
}

TEST(PropertyList, NulInsideATextIsRefusedNotFatal)
{
    // libplist aborts on these when asked for the text; they must be refused before that.
    for (const char *name : {"objects/nul-in-string.plist", "objects/nul-in-key-binary.plist"}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(readPropertyListDictionary(qpath(fixturePath(name))));
    }
    QByteArray xml = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>a</key><string>x</string></dict></plist>";
    EXPECT_TRUE(propertyListDictionaryFromData(xml));
    xml.replace("<string>x", QByteArray("<string>x\0", 10));
    EXPECT_FALSE(propertyListDictionaryFromData(xml));
}

TEST(PropertyList, ExportReadByPlistlibHasTheSameKeysAndValues)
{
    if (!havePlistlib())
        GTEST_SKIP() << "no Python with plistlib at " << systemPython;
    TempDir dir;
    std::string media;
    for (const KindCase &c : kAudioKinds)
        if (c.fixtureHasArtwork && unavailableReason(c).empty()) {
            media = dir.copyFixture(taggedFixture(c));
            break;
        }
    if (media.empty()) {
        media = dir.file("clip.mov");
        writeFile(media, "x");
    }
    MediaFileWrapper wrapper = openWrapper(media);
    QVariantMap ours = *wrapper.getDictionaryRepresentation(true);
    ASSERT_EQ(wrapper.saveDictionaryRepresentation(false, true), kMediaFileNoErr);
    std::string plist = (std::filesystem::path(media).replace_extension(".plist")).string();

    // plistlib prints every key with its type and value, data as hex; we print ours the same way.
    std::string script = R"(
import plistlib, sys
d = plistlib.load(open(sys.argv[1], "rb"))
for k in sorted(d):
    v = d[k]
    kind = "data" if isinstance(v, bytes) else "int" if isinstance(v, int) else "str"
    print(k, kind, v.hex() if isinstance(v, bytes) else v, sep="\t")
)";
    writeFile(dir.file("dump.py"), script);
    std::string theirs;
    ASSERT_EQ(runCommand(systemPython + " " + shellQuote(dir.file("dump.py")) + " " + shellQuote(plist), &theirs, true), 0)
        << theirs;
    std::string expected;
    for (auto it = ours.constBegin(); it != ours.constEnd(); ++it) {
        const QVariant &v = it.value();
        std::string kind = v.typeId() == QMetaType::QByteArray ? "data" : v.typeId() == QMetaType::Int ? "int" : "str";
        std::string value = kind == "data" ? v.toByteArray().toHex().toStdString() : v.toString().toStdString();
        expected += it.key().toStdString() + "\t" + kind + "\t" + value + "\n";
    }
    EXPECT_EQ(theirs, expected);
    EXPECT_NE(theirs.find("kMediaFileDataExportKey\tstr\tKESTRABEL MEDIA FILE DATA EXPORT\n"), std::string::npos);
}
