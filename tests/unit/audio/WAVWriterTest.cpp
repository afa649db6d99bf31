#include <gtest/gtest.h>

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

// The header's layout and sizes in a real file are the sound integration test's; here the failures.
TEST(WAVWriter, FinalizeStopsAtTheFailingStepAndReportsIt) {
    struct Case {
        const char* name;
        void (*inject)(FakeFileContents&);
        std::uint32_t dataSizeInHeader;  // what has been patched in already stays
    };
    for (const auto& c : {Case{"seek", [](FakeFileContents& f) { f.failSeek = true; }, 0},
                          Case{"write", [](FakeFileContents& f) { f.failWritesAfter = 0; }, 0},
                          Case{"close", [](FakeFileContents& f) { f.failClose = true; }, 4}}) {
        SCOPED_TRACE(c.name);
        WriterWorld world;
        ASSERT_TRUE(world.writer.write(std::vector<std::byte>(4, std::byte{7})));
        c.inject(*world.contents);
        const auto result = world.writer.finalize();
        ASSERT_FALSE(result);
        EXPECT_FALSE(result.error().empty());
        EXPECT_EQ(readU32(world.contents->bytes, 40), c.dataSizeInHeader);
        EXPECT_FALSE(world.contents->closed);
    }
}

}  // namespace
}  // namespace quillon
