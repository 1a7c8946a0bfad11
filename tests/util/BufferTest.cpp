#include "util/Buffer.h"
#include "util/CFStringUtilities.h"

#include <cstdlib>
#include <gtest/gtest.h>

using namespace kestrabel::util;

TEST(Buffer, CapacityRule)
{
    EXPECT_EQ(Buffer::capacityFor(0), 256u);
    EXPECT_EQ(Buffer::capacityFor(255), 256u);
    EXPECT_EQ(Buffer::capacityFor(256), 4096u);
    EXPECT_EQ(Buffer::capacityFor(4095), 4096u);
    EXPECT_EQ(Buffer::capacityFor(4096), 32768u);
    EXPECT_EQ(Buffer::capacityFor(32769), 65536u);
}

TEST(Buffer, CreateSetAppendDetach)
{
    Buffer buffer;
    ASSERT_EQ(buffer.create(Buffer::zeros(), 10), 0);
    EXPECT_EQ(buffer.size(), 10u);
    EXPECT_EQ(buffer.capacity(), 256u);
    EXPECT_EQ(buffer.data()[9], 0);
    ASSERT_EQ(buffer.append(Buffer::copy("abc"), 3), 0);
    EXPECT_EQ(buffer.size(), 13u);
    EXPECT_EQ(buffer.data()[10], 'a');
    ASSERT_EQ(buffer.append(Buffer::leave(), 300), 0) << "null source reserves";
    EXPECT_EQ(buffer.capacity(), 4096u);
    ASSERT_EQ(buffer.set(Buffer::copy("xy"), 2), 0);
    EXPECT_EQ(buffer.capacity(), 256u) << "set shrinks to the rule's capacity";
    ASSERT_EQ(buffer.appendExact(Buffer::zeros(), 5000), 0);
    EXPECT_EQ(buffer.capacity(), 32768u);
    uint8_t *data = nullptr;
    uint32_t length = 0;
    buffer.detach(&data, &length);
    EXPECT_EQ(length, 5002u);
    EXPECT_EQ(data[0], 'x');
    EXPECT_EQ(buffer.size(), 0u);
    std::free(data);
}

TEST(CFStringUtilities, BuildsListsAndReleases)
{
    EXPECT_EQ(CFStringUtilitiesGet(), nullptr);
    ASSERT_EQ(CFStringUtilitiesInitialize(), 0);
    const auto *sets = CFStringUtilitiesGet();
    ASSERT_NE(sets, nullptr);
    EXPECT_EQ(sets->smallWords.size(), 27u);
    EXPECT_EQ(sets->capitalWords.size(), 5u);
    EXPECT_EQ(sets->forbiddenInFileNames.size(), 9u);
    EXPECT_TRUE(sets->isWhitespaceOrNewline(U'\n'));
    EXPECT_FALSE(sets->isLetter(U'1'));
    CFStringUtilitiesRelease();
    EXPECT_EQ(CFStringUtilitiesGet(), nullptr);
}
