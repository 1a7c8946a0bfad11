#include "ObjectsTestSupport.h"

#include <QFile>

#include <cstdlib>

namespace kestrabel::test {
namespace {

// QImage needs no display, but anything that touches the GUI platform must not look for one.
const bool offscreen = [] {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    return true;
}();

} // namespace

std::string unavailableReason(const KindCase &c)
{
    MediaFileRef ref = nullptr;
    MediaFileStatus status = MediaFileOpen(fixturePath(plainFixture(c)).c_str(), &ref, 0);
    if (ref)
        MediaFileClose(ref);
    if (status == kMediaFileErrUnsupported)
        return std::string("the ") + MediaFileGetTypeName(c.kind) + " handler is not built yet";
    return {};
}

const KindCase *firstKind(bool addsArtwork)
{
    for (const KindCase &c : kAudioKinds)
        if ((c.addsArtwork || !addsArtwork) && unavailableReason(c).empty())
            return &c;
    return nullptr;
}

void KindTest::SetUp()
{
    const std::string reason = unavailableReason(GetParam());
    if (!reason.empty())
        GTEST_SKIP() << reason;
}

QString qpath(const std::string &path) { return QString::fromStdString(path); }

QByteArray fileBytes(const std::string &path)
{
    QFile file(qpath(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

MediaFileWrapper openWrapper(const std::string &path)
{
    MediaFileStatus status = -1;
    std::optional<MediaFileWrapper> wrapper = MediaFileWrapper::mediaFileWithFileAtPath(qpath(path), true, &status);
    if (!wrapper)
        throw std::runtime_error("cannot open " + path + ": status " + std::to_string(status));
    return std::move(*wrapper);
}

void editAndSave(const std::string &path, const std::function<void(MediaFileWrapper &)> &edit)
{
    MediaFileWrapper wrapper = openWrapper(path);
    edit(wrapper);
    EXPECT_EQ(wrapper.update(kSaveFlags), kMediaFileNoErr) << path;
}

int32_t integerOf(const MediaFileWrapper &wrapper, MediaFileDataID id)
{
    int32_t value = 0;
    return MediaFileGetInteger(wrapper.mediaFileRef(), id, &value) == kMediaFileNoErr ? value : -1;
}

} // namespace kestrabel::test
