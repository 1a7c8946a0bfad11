#include "ObjectsTestSupport.h"

#include <gtest/gtest.h>

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

const KindCase *firstArtworkKind()
{
    for (const KindCase &c : kAudioKinds)
        if (c.addsArtwork && unavailableReason(c).empty())
            return &c;
    return nullptr;
}

QString qpath(const std::string &path) { return QString::fromStdString(path); }

MediaFileWrapper openWrapper(const std::string &path)
{
    MediaFileStatus status = -1;
    std::optional<MediaFileWrapper> wrapper = MediaFileWrapper::mediaFileWithFileAtPath(qpath(path), true, &status);
    if (!wrapper)
        throw std::runtime_error("cannot open " + path + ": status " + std::to_string(status));
    EXPECT_EQ(status, kMediaFileNoErr);
    return std::move(*wrapper);
}

std::string decodedAudioMd5(const std::string &path)
{
    if (!haveTool("ffmpeg"))
        return {};
    std::string output;
    if (runCommand("ffmpeg -hide_banner -loglevel error -i " + shellQuote(path) + " -map 0:a -f md5 -", &output) != 0)
        return {};
    return output;
}

int runCli(const std::string &arguments, std::string *output)
{
    return runCommand(shellQuote(cliPath()) + " " + arguments, output, true);
}

} // namespace kestrabel::test
