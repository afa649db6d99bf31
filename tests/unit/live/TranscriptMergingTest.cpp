#include "core/live/TranscriptMerging.h"

#include <gtest/gtest.h>

namespace quillon {
namespace {

struct Merge {
    const char* name;
    std::string oldSource;
    std::string displayed;
    std::string newSource;
    std::string expected;
};

class TranscriptMerging : public ::testing::TestWithParam<Merge> {};

TEST_P(TranscriptMerging, CarriesTheUsersEditOverOrLetsTheRecogniserWin) {
    const auto& merge = GetParam();
    EXPECT_EQ(mergingUserEdits(merge.oldSource, merge.displayed, merge.newSource), merge.expected);
}

const Merge merges[] = {
    {"NoEditTakesTheNewText", "a b", "a b", "a b c", "a b c"},
    {"TextTypedAtTheEndStandsBeforeTheNextPhrase", "Hello.", "Hello. typed", "Hello. World.",
     "Hello. typed World."},
    {"FixedWordInTheMiddleSurvives", "the quick brown fox", "the quick red fox", "the quick brown fox jumps",
     "the quick red fox jumps"},
    {"DeletingEverythingLeavesOnlyWhatCameSince", "abc", "", "abc def", " def"},
    {"TwoEditsFarApartAreOneRegion", "one two three four", "ONE two three FOUR", "one two three four five",
     "ONE two three FOUR five"},
    {"RecogniserRewritingUnderTheEditWins", "I scream", "Ice cream", "ice cream is cold",
     "ice cream is cold"},
    {"NewSessionStartingOverWins", "old words", "old wordz", "", ""},
    {"EmptySourceKeepsTheDisplayedTextBeforeTheNew", "", "typed", "new words", "typednew words"},
    {"SuffixNeverReachesIntoThePrefix", "aaa", "aaaa", "aaa b", "aaaa b"},
    // e + combining acute is one character: the edit starts before it, not between its parts.
    {"CombiningMarkIsPartOfItsCharacter", "cafe\xCC\x81 ok", "cafe ok", "cafe\xCC\x81 ok more",
     "cafe ok more"},
    // A thumbs-up with a skin tone is one character; removing the tone edits that character.
    {"EmojiModifierIsPartOfItsCharacter", "hi \xF0\x9F\x91\x8D\xF0\x9F\x8F\xBD", "hi \xF0\x9F\x91\x8D",
     "hi \xF0\x9F\x91\x8D\xF0\x9F\x8F\xBD there", "hi \xF0\x9F\x91\x8D there"},
};

INSTANTIATE_TEST_SUITE_P(Table, TranscriptMerging, ::testing::ValuesIn(merges),
                         [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace quillon
