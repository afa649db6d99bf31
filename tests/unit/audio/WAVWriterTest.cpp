#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "core/audio/WAVWriter.h"
#include "fakes/FakeWritableFile.h"

namespace quillon {
namespace {

using testing::FakeFileContents;
using testing::FakeWritableFile;

std::uint32_t readU32(const std::vector<std::byte>& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value |= std::to_integer<std::uint32_t>(bytes[at + i]) << (8 * i);
    return value;
}

struct WriterWorld {
    std::shared_ptr<FakeFileContents> contents = std::make_shared<FakeFileContents>();
    WAVWriter writer{std::make_unique<FakeWritableFile>(contents)};
};

TEST(WAVWriter, HeaderIsTheCanonicalOneWithSizesPatchedAtTheEnd) {
    WriterWorld world;
    const std::array<std::byte, 2> sample{std::byte{0x34}, std::byte{0x12}};
    ASSERT_TRUE(world.writer.write(sample));
    ASSERT_TRUE(world.writer.finalize());

    const auto& bytes = world.contents->bytes;
    ASSERT_EQ(bytes.size(), 46u);
    const std::array<std::uint8_t, 44> expected{
        'R', 'I', 'F', 'F', 38, 0, 0, 0, 'W', 'A', 'V', 'E', 'f', 'm', 't', ' ', 16, 0, 0, 0, 1, 0, 1, 0,
        0x80, 0x3E, 0, 0, 0x00, 0x7D, 0, 0, 2, 0, 16, 0, 'd', 'a', 't', 'a', 2, 0, 0, 0};
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(std::to_integer<int>(bytes[i]), expected[i]) << "offset " << i;
    EXPECT_EQ(std::to_integer<int>(bytes[44]), 0x34);
    EXPECT_TRUE(world.contents->closed);
}

TEST(WAVWriter, NothingWrittenLeavesAnEmptyFile) {
    WriterWorld world;
    EXPECT_TRUE(world.writer.finalize());
    EXPECT_TRUE(world.contents->bytes.empty());
    EXPECT_FALSE(world.contents->closed);
}

// A failed header is written again with the next block; a failed block counts in no size.
TEST(WAVWriter, SizesCountOnlyWhatWasWrittenInFull) {
    WriterWorld world;
    const std::vector<std::byte> block(4, std::byte{7});
    for (const bool headerWritten : {false, true}) {
        world.contents->failWritesAfter = 0;
        EXPECT_FALSE(world.writer.write(block));
        EXPECT_EQ(world.writer.isHeaderWritten(), headerWritten);
        world.contents->failWritesAfter = -1;
        ASSERT_TRUE(world.writer.write(block));
    }
    ASSERT_TRUE(world.writer.finalize());

    const auto& bytes = world.contents->bytes;
    EXPECT_EQ(world.writer.dataSize(), 8u);
    EXPECT_EQ(bytes.size(), 44u + 8u);
    EXPECT_EQ(readU32(bytes, 4), bytes.size() - 8);
    EXPECT_EQ(readU32(bytes, 40), bytes.size() - 44);
}

struct FinalizeFailure {
    const char* name;
    void (*inject)(FakeFileContents&);
    std::uint32_t dataSizeInHeader;  // what has been patched in already stays
};

class WAVWriterFinalize : public ::testing::TestWithParam<FinalizeFailure> {};

TEST_P(WAVWriterFinalize, StopsAtTheFailingStepAndReportsIt) {
    WriterWorld world;
    const std::vector<std::byte> block(4, std::byte{7});
    ASSERT_TRUE(world.writer.write(block));
    GetParam().inject(*world.contents);
    const auto result = world.writer.finalize();
    ASSERT_FALSE(result);
    EXPECT_FALSE(result.error().empty());
    EXPECT_EQ(readU32(world.contents->bytes, 40), GetParam().dataSizeInHeader);
    EXPECT_FALSE(world.contents->closed);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, WAVWriterFinalize,
    ::testing::Values(FinalizeFailure{"seek", [](FakeFileContents& c) { c.failSeek = true; }, 0},
                      FinalizeFailure{"write", [](FakeFileContents& c) { c.failWritesAfter = 0; }, 0},
                      FinalizeFailure{"close", [](FakeFileContents& c) { c.failClose = true; }, 4}),
    [](const ::testing::TestParamInfo<FinalizeFailure>& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace quillon
