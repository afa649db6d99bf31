// The signal pieces that need no desktop: FFmpeg's FFT at the scale the meter expects, and WAV
// chunks in the private temporary folder.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <numbers>
#include <vector>

#include "SpeechTestFiles.h"
#include "core/audio/WAVWriter.h"
#include "core/base/ManualScheduler.h"
#include "fakes/TestLog.h"
#include "platform/linux/base/TemporaryFilesPosix.h"
#include "platform/linux/sound/RealFFTAvTx.h"

namespace quillon {
namespace {

TEST(RealFFTAvTx, SquaredMagnitudesHaveThePackedTransformsScale) {
    constexpr std::size_t n = 1024;
    RealFFTAvTx fft(n);
    // A cosine of amplitude 0.5 in bin 37 has |X| = 0.5 * n / 2, so |2X|^2 = (0.5 n)^2; a constant
    // of 0.25 and a Nyquist term of 0.125 pack into bin 0 as (2 * 0.25 n)^2 + (2 * 0.125 n)^2.
    std::vector<float> samples(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double phase = 2.0 * std::numbers::pi * 37.0 * static_cast<double>(i) / n;
        samples[i] = static_cast<float>(0.5 * std::cos(phase) + 0.25 + 0.125 * (i % 2 == 0 ? 1.0 : -1.0));
    }
    std::vector<float> magnitudes(n / 2, -1.0f);
    fft.squaredMagnitudes(samples, magnitudes);
    const float scale = static_cast<float>(n) * static_cast<float>(n);
    EXPECT_NEAR(magnitudes[37] / scale, 0.25f, 1e-4f);
    EXPECT_NEAR(magnitudes[0] / scale, 0.25f + 0.0625f, 1e-4f);
    for (std::size_t k : {1u, 36u, 38u, 200u, 511u}) EXPECT_LT(magnitudes[k] / scale, 1e-8f) << "bin " << k;
}

// A dictation chunk is written through the private folder's file, which must seek back to patch
// the sizes in place (the layout itself is the unit tests' business).
TEST(TemporaryWav, ChunkSizesArePatchedInThePrivateFile) {
    const testing::ScratchDirectory root;
    ManualScheduler logQueue;
    testing::TestLog log{logQueue};
    std::filesystem::create_directory(root / "runtime");
    TemporaryFilesPosix privateFiles((root / "runtime").string(), root.path(), log.logger(LogCategory::audio));
    auto created = privateFiles.createWritable("recording_TEST.wav");
    ASSERT_TRUE(created) << created.error().message();
    WAVWriter writer(std::move(*created));
    const std::vector<std::byte> block(3200, std::byte{0x11});
    ASSERT_TRUE(writer.write(block));
    ASSERT_TRUE(writer.write(block));
    ASSERT_TRUE(writer.finalize());

    const auto bytes = privateFiles.read("recording_TEST.wav");
    ASSERT_TRUE(bytes);
    ASSERT_EQ(bytes->size(), 44u + 6400u);
    const auto u32 = [&](std::size_t at) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < 4; ++i)
            value |= std::uint32_t{static_cast<unsigned char>((*bytes)[at + i])} << (8 * i);
        return value;
    };
    EXPECT_EQ(u32(4), 6436u);
    EXPECT_EQ(u32(40), 6400u);
    EXPECT_EQ(bytes->substr(44, 2), "\x11\x11");
}

}  // namespace
}  // namespace quillon
