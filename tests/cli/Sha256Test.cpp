#include "Sha256.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

using kestrabel::cli::Sha256Path;
using kestrabel::cli::sha256Hex;

namespace {

std::span<const uint8_t> bytesOf(std::string_view text) { return {reinterpret_cast<const uint8_t *>(text.data()), text.size()}; }

} // namespace

// The published test vectors, through both paths: the one-block, two-block and long messages.
TEST(Sha256, KnownVectors)
{
    const std::string million(1000000, 'a');
    const std::pair<std::string_view, const char *> rows[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu",
         "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
        {million, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (Sha256Path path : {Sha256Path::Portable, Sha256Path::Fastest})
        for (const auto &[message, digest] : rows)
            EXPECT_EQ(sha256Hex(bytesOf(message), path), digest) << "length " << message.size() << ", path " << int(path);
}

// The processor's path against the portable one at every padding boundary: the length field
// alone, in the same block or the next, and whole blocks with nothing left over.
TEST(Sha256, CpuPathMatchesPortable)
{
    if (!kestrabel::cli::sha256HasCpuPath())
        GTEST_SKIP() << "this processor has no SHA instructions; only the portable path runs";
    std::vector<uint8_t> data(1 << 20);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<uint8_t>(i * 131 + (i >> 8));
    for (size_t length : {0, 1, 55, 56, 63, 64, 65, 119, 120, 128, 30000, 1 << 20}) {
        std::span<const uint8_t> part(data.data(), length);
        EXPECT_EQ(sha256Hex(part, Sha256Path::Fastest), sha256Hex(part, Sha256Path::Portable)) << "length " << length;
    }
}
