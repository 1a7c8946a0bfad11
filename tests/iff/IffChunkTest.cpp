// Chunk files: which containers open, what each kind of damage answers, what the chunks read as;
// and how a save appends, grows or keeps the bext and "ID3 " chunks around the audio, through a new
// file and in place, checked by a chunk walker written apart from the handler's.
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sys/stat.h>

using namespace kestrabel::test;

namespace {

using Bytes = std::vector<uint8_t>;

void putAt(Bytes &b, size_t at, std::string_view text) { std::copy(text.begin(), text.end(), b.begin() + long(at)); }
size_t chunkData(const Bytes &b, std::string_view id) { return size_t(std::search(b.begin() + 12, b.end(), id.begin(), id.end()) - b.begin()) + 8; }

struct OpenCase {
    const char *fixture;
    void (*patch)(Bytes &);
    MediaFileStatus status;
    MediaFileType kind = kMediaFileTypeUnsupported;
    MediaFileDataID id = 0;
    const char *value = nullptr; // nullptr: the ID reads as not found
    MediaFileFlags flags = 0;
};

constexpr MediaFileType WAVE = kMediaFileTypeWAVE, AIFF = kMediaFileTypeAIFF;
constexpr void (*kAsIs)(Bytes &) = nullptr;
void kMisnamed(Bytes &) {}

const OpenCase kOpenCases[] = {
    {"no-tags.wav", kAsIs, kMediaFileNoErr, WAVE, kMediaFileDataIDBWFDescription, nullptr},
    {"bext.wav", kAsIs, kMediaFileNoErr, WAVE, kMediaFileDataIDBWFOriginatorReference, "KESTRABEL0001"},
    {"bext.wav", kAsIs, kMediaFileNoErr, WAVE, kMediaFileDataIDBWFCodingHistory, "A=PCM,F=8000,W=16,M=mono,T=ffmpeg"},
    // The UMID belongs to the ID3 tag, which this file lacks.
    {"bext.wav", kAsIs, kMediaFileNoErr, WAVE, kMediaFileDataIDBWFUMID, nullptr},
    {"id3-middle.aiff", kAsIs, kMediaFileNoErr, AIFF, kMediaFileDataIDTotalTracks, "9"},
    // Only "ID3 " is the tag chunk; mutagen's lower-case "id3 " in WAVE is an ordinary chunk.
    {"id3-lowercase.wav", kAsIs, kMediaFileNoErr, WAVE, kMediaFileDataIDTitle, nullptr},
    // The name decides the kind, the content the byte order.
    {"bext.wav", kMisnamed, kMediaFileNoErr, AIFF, kMediaFileDataIDBWFOriginator, "Kestrabel tests"},
    // The container size is not consulted: a wrong one neither fails the open nor hides chunks.
    {"bext.wav", [](Bytes &b) { putAt(b, 4, std::string_view("\x10\0\0\0", 4)); }, kMediaFileNoErr, WAVE,
     kMediaFileDataIDBWFDescription, "A short test tone"},
    {"bext.wav", [](Bytes &b) { putAt(b, chunkData(b, "bext"), std::string_view("Caf\xE9\0", 5)); }, kMediaFileNoErr, WAVE,
     kMediaFileDataIDBWFDescription, "Caf\xC3\xA9"},
    {"truncated-header.wav", kAsIs, kMediaFileErrShortHeader},
    {"truncated-chunk-header.aiff", kAsIs, kMediaFileErrShortHeader},
    {"data-past-end.wav", kAsIs, kMediaFileErrPastEnd},
    {"data-past-end.wav", kAsIs, kMediaFileErrPastEnd, 0, 0, nullptr, kMediaFileFlagInterop},
    // The last chunk lacks exactly its pad byte: the interop rules forgive that much and no more.
    {"pad-missing.aiff", kAsIs, kMediaFileErrPastEnd},
    {"pad-missing.aiff", kAsIs, kMediaFileNoErr, AIFF, kMediaFileDataIDTitle, "Middle", kMediaFileFlagInterop},
    {"bext-twice.wav", kAsIs, kMediaFileErrDuplicate},
    {"id3-twice.aiff", kAsIs, kMediaFileErrDuplicate},
    // A bext of 602 bytes: too small for the classic rules, enough for the interop ones, 601 for neither.
    {"bext-short.wav", kAsIs, kMediaFileErrTooSmall},
    {"bext-short.wav", kAsIs, kMediaFileNoErr, WAVE, kMediaFileDataIDBWFDescription, "No history", kMediaFileFlagInterop},
    {"bext-short.wav", [](Bytes &b) { b[chunkData(b, "bext") - 4] = 0x59; }, kMediaFileErrTooSmall, 0, 0, nullptr, kMediaFileFlagInterop},
    {"id3-empty.aiff", kAsIs, kMediaFileErrTooSmall},
    {"not-wave.wav", kAsIs, kMediaFileErrUnsupported},
    {"id3-middle.aiff", [](Bytes &b) { b[chunkData(b, "ID3 ")] = 'X'; }, kMediaFileErrShortRead},
    {"no-tags.aiff", [](Bytes &b) { b.clear(); }, kMediaFileErrShortHeader},
    {"no-tags.aiff", [](Bytes &b) { b.resize(11); }, kMediaFileErrShortHeader},
    {"no-tags.wav", [](Bytes &b) { putAt(b, 8, "AIFF"); }, kMediaFileErrUnsupported},
    {"no-tags.wav", [](Bytes &b) { putAt(b, 0, "RIFX"); }, kMediaFileErrUnsupported},
    {"no-tags.aiff", [](Bytes &b) { putAt(b, 8, "8SVX"); }, kMediaFileErrUnsupported},
};


struct Chunk {
    std::string id;
    uint64_t offset; // of the header
    uint32_t size;   // without the pad byte
};

struct Layout {
    std::vector<uint8_t> bytes;
    uint32_t containerSize = 0;
    std::vector<Chunk> chunks;
    bool tilesFile = false; // every chunk and pad byte inside the file, nothing left over

    std::string data(const std::string &id) const
    {
        auto c = std::find_if(chunks.begin(), chunks.end(), [&](const Chunk &c) { return c.id == id; });
        return c == chunks.end() ? "" : std::string(bytes.begin() + long(c->offset + 8), bytes.begin() + long(c->offset + 8 + c->size));
    }
};

Layout readLayout(const std::string &path)
{
    Layout layout;
    layout.bytes = readFile(path);
    const std::vector<uint8_t> &b = layout.bytes;
    const bool little = b.size() >= 4 && std::equal(b.begin(), b.begin() + 4, "RIFF");
    auto sizeAt = [&](uint64_t at) {
        return little ? uint32_t(b[at] | b[at + 1] << 8 | b[at + 2] << 16 | uint32_t(b[at + 3]) << 24)
                      : uint32_t(uint32_t(b[at]) << 24 | b[at + 1] << 16 | b[at + 2] << 8 | b[at + 3]);
    };
    layout.containerSize = sizeAt(4);
    uint64_t offset = 12;
    for (; offset + 8 <= b.size(); offset += 8 + uint64_t(layout.chunks.back().size) + (layout.chunks.back().size & 1))
        layout.chunks.push_back({std::string(b.begin() + long(offset), b.begin() + long(offset + 4)), offset, sizeAt(offset + 4)});
    layout.tilesFile = offset == b.size();
    return layout;
}

struct Edit {
    MediaFileDataID id;
    std::string value;
};

// Every edit is tried and the file saved; the first refusal, if any, is the answer.
MediaFileStatus apply(const std::string &path, const std::vector<Edit> &edits, MediaFileFlags flags = 0)
{
    OpenFile file(path);
    MediaFileStatus refused = file.status();
    for (const Edit &e : edits)
        if (MediaFileStatus status = MediaFileSetString(file.ref(), e.id, e.value.c_str()); status && !refused)
            refused = status;
    const MediaFileStatus saved = MediaFileUpdate(file.ref(), flags);
    return refused ? refused : saved;
}

ino_t inodeOf(const std::string &path) { struct stat st {}; return stat(path.c_str(), &st) == 0 ? st.st_ino : 0; }

struct SaveCase {
    const char *name;
    const char *fixture;
    std::vector<Edit> edits;
    std::vector<std::string> appended; // new chunks behind the old end, in this order
    std::vector<std::string> edited;   // chunks that change in place
    uint32_t bextSize;                 // the bext size afterwards; 0: not checked
};

const std::string kHistory = "A=PCM,F=8000,W=16,M=mono,T=ffmpeg\r\nA=PCM,F=8000,W=16,M=mono,T=Kestrabel edit\r\n";

const SaveCase kSaveCases[] = {
    {"NewBextWave", "no-tags.wav", {{kMediaFileDataIDBWFOriginator, "Kestrabel"}}, {"bext"}, {}, 604},
    {"NewBextAifc", "no-tags.aifc", {{kMediaFileDataIDBWFOriginator, "Kestrabel"}}, {"bext"}, {}, 604},
    {"NewTagWave", "no-tags.wav", {{kMediaFileDataIDTitle, "Odd"}}, {"ID3 "}, {}, 0},
    {"NewTagAifc", "no-tags.aifc", {{kMediaFileDataIDTitle, "Even"}}, {"ID3 "}, {}, 0},
    // bext is written before the tag, so two new chunks land in that order.
    {"NewBoth", "no-tags.aiff", {{kMediaFileDataIDArtist, "A"}, {kMediaFileDataIDBWFDescription, "D"}}, {"bext", "ID3 "}, {}, 604},
    // In bext.wav the bext chunk comes before the audio, so a longer history moves the audio.
    {"LongerHistory", "bext.wav", {{kMediaFileDataIDBWFCodingHistory, kHistory}}, {}, {"bext"}, uint32_t(602 + kHistory.size())},
    {"SameSizeField", "bext.wav", {{kMediaFileDataIDBWFOriginator, "Field recorder"}}, {}, {"bext"}, 0},
    {"GrowingTagInTheMiddle", "id3-middle.aiff", {{kMediaFileDataIDTitle, "Middle0123456789"}}, {}, {"ID3 "}, 0},
    {"TagAndBextTogether", "bext.wav", {{kMediaFileDataIDTitle, "T"}, {kMediaFileDataIDBWFOriginator, "Both"}}, {"ID3 "}, {"bext"}, 0},
    {"LowerCaseChunkKept", "id3-lowercase.wav", {{kMediaFileDataIDTitle, "upper case chunk"}}, {"ID3 "}, {}, 0},
};

class IffSave : public ::testing::TestWithParam<SaveCase> {};

} // namespace

// The container size matches the file, the chunks tile it in their old order with new ones behind,
// pad bytes are zero, every chunk but the edited ones (the audio among them) holds its old bytes,
// and both save paths (a new file renamed over the old one, and the in-place move) give the same bytes.
TEST_P(IffSave, KeepsEverythingItDoesNotEdit)
{
    const SaveCase &c = GetParam();
    TempDir dir;
    std::vector<std::vector<uint8_t>> results;
    for (MediaFileFlags flags : {MediaFileFlags(0), MediaFileFlags(kMediaFileFlagInPlace)}) {
        SCOPED_TRACE(flags);
        std::string path = dir.copyFixture(c.fixture, flags ? "in-place" : "renamed");
        const Layout before = readLayout(path);
        const ino_t inode = inodeOf(path);
        ASSERT_EQ(apply(path, c.edits, flags), kMediaFileNoErr);
        const Layout after = readLayout(path);
        EXPECT_TRUE(after.tilesFile);
        EXPECT_EQ(uint64_t(after.containerSize), after.bytes.size() - 8);
        ASSERT_EQ(after.chunks.size(), before.chunks.size() + c.appended.size());
        bool moved = false;
        for (size_t i = 0; i < before.chunks.size(); ++i) {
            const std::string &id = before.chunks[i].id;
            EXPECT_EQ(after.chunks[i].id, id);
            moved = moved || after.chunks[i].offset != before.chunks[i].offset;
            EXPECT_TRUE(std::count(c.edited.begin(), c.edited.end(), id) || after.data(id) == before.data(id)) << id;
        }
        for (const Chunk &chunk : after.chunks)
            EXPECT_TRUE(!(chunk.size & 1) || after.bytes.at(chunk.offset + 8 + chunk.size) == 0) << chunk.id << " pad byte";
        EXPECT_EQ(inodeOf(path) == inode, flags != 0 || !moved) << "only a move of the audio needs a new file";
        for (size_t i = 0; i < c.appended.size(); ++i)
            EXPECT_EQ(after.chunks[before.chunks.size() + i].id, c.appended[i]);
        if (c.bextSize) {
            EXPECT_EQ(after.data("bext").size(), c.bextSize);
        }
        const std::string tag = after.data("ID3 ");
        EXPECT_TRUE(tag.empty() || tag.starts_with(std::string("ID3\2", 4))) << "written back as ID3v2.2";
        OpenFile again(path);
        for (const Edit &e : c.edits)
            EXPECT_EQ(again.string(e.id), e.value) << e.id;
        results.push_back(after.bytes);
    }
    EXPECT_EQ(results[0], results[1]);
}

INSTANTIATE_TEST_SUITE_P(AiffAndWave, IffSave, ::testing::ValuesIn(kSaveCases),
                         [](const auto &info) { return std::string(info.param.name); });

// A set the tag refuses must not leave an empty tag behind to be written as a new chunk; a
// streaming writer's "to the end" container size must not wrap when the file grows.
TEST(IffChunks, RefusedSetsAndStreamingSizesChangeNothingElse)
{
    TempDir dir;
    std::string path = dir.copyFixture("no-tags.wav");
    Bytes before = readFile(path);
    ASSERT_EQ(apply(path, {{kMediaFileDataIDParent0, "x"}}), kMediaFileErrUnsupported);
    EXPECT_EQ(readFile(path), before);
    std::fill(before.begin() + 4, before.begin() + 8, 0xFF);
    writeFile(path, before);
    ASSERT_EQ(apply(path, {{kMediaFileDataIDTitle, "streamed"}}), kMediaFileNoErr);
    const Layout after = readLayout(path);
    EXPECT_EQ(after.containerSize, 0xFFFFFFFFu);
    EXPECT_EQ(after.chunks.back().id, "ID3 ");
}

// A file that fails says so with its own status, a probe open says the same, and the file is left
// exactly as it was.
TEST(IffOpen, EveryCase)
{
    TempDir dir;
    int row = 0;
    for (const OpenCase &c : kOpenCases) {
        SCOPED_TRACE(testing::Message() << "row " << row++ << " " << c.fixture);
        std::string name = c.fixture;
        std::string path = dir.copyFixture(name, c.patch == kMisnamed ? "misnamed.aif" : "patched" + name.substr(name.find('.')));
        if (c.patch) {
            Bytes bytes = readFile(path);
            c.patch(bytes);
            writeFile(path, bytes);
        }
        Bytes before = readFile(path);
        EXPECT_EQ(MediaFileOpen(path.c_str(), nullptr, c.flags), c.status);
        OpenFile file(path, c.flags);
        ASSERT_EQ(file.status(), c.status);
        EXPECT_EQ(readFile(path), before);
        if (c.status == kMediaFileNoErr) {
            MediaFileType kind = kMediaFileTypeUnsupported;
            MediaFileGetType(file.ref(), &kind);
            EXPECT_EQ(kind, c.kind);
            MediaFileStatus status = kMediaFileNoErr;
            EXPECT_EQ(file.string(c.id, &status), c.value ? c.value : "");
            EXPECT_EQ(status, c.value ? kMediaFileNoErr : kMediaFileErrNotFound);
        }
    }
    EXPECT_EQ(MediaFileOpen(dir.file("absent.wav").c_str(), nullptr, 0), kMediaFileErrCantOpen);
}
