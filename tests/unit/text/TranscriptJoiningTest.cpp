#include "core/text/TranscriptJoining.h"

#include <gtest/gtest.h>

#include <vector>

namespace quillon {
namespace {

struct JoinCase {
    std::string receiver;
    std::string piece;
    std::string expected;
};

TEST(TranscriptJoiningTest, AppendingTranscriptTrimsThePieceAndSpacesItOnce) {
    const std::vector<JoinCase> cases{
        {"Hello", "world", "Hello world"},
        {"Hello", ", world", "Hello, world"},
        {"Hello", "...and", "Hello...and"},
        {"Hello", "(aside)", "Hello (aside)"},
        {"(", "x", "( x"},                    // an opening bracket gets nothing special
        {"Hello ", "world", "Hello world"},   // no second blank after white space
        {"Hello\n", "world", "Hello\nworld"},
        {"", "  bare text \n", "bare text"},
        {"Hello", "   ", "Hello"},
        {"Hello", "", "Hello"},
        {"", "", ""},
        {"Done", "  !", "Done!"},
        {"Wait", "\xE2\x80\xA6 what", "Wait\xE2\x80\xA6 what"},  // the ellipsis character
        {"a", "?b", "a?b"},
        {"a", ";b", "a;b"},
        {"a", ":b", "a:b"},
        {"a", ")b", "a)b"},
        {"a", "-b", "a -b"},
        {"a", "\"b\"", "a \"b\""},
        {"a", ".\xCC\x81x", "a .\xCC\x81x"},  // a full stop carrying an accent is another character
        {"x\xE3\x80\x80", "y", "x\xE3\x80\x80y"},  // ideographic space counts as white space
    };
    for (const auto& c : cases) {
        EXPECT_EQ(appendingTranscript(c.receiver, c.piece), c.expected)
            << "\"" << c.receiver << "\" + \"" << c.piece << "\"";
    }
}

TEST(TranscriptJoiningTest, AppendingSuffixKeepsTheSuffixAsItIs) {
    // Arguments in the order of appendingTranscriptSuffix: suffix first, then the base.
    const std::vector<JoinCase> cases{
        {"Hello", "world", "Hello world"},
        {"Hello", " world ", "Hello world "},  // a leading blank is the suffix's own spacing
        {"Hello", "\nworld", "Hello\nworld"},
        {"Hello ", "world", "Hello world"},
        {"", "  world", "  world"},            // no trimming
        {"Hello", "", "Hello"},
        {"Hello", ", world", "Hello, world"},
        {"Hello", "   ", "Hello   "},          // unlike the trimming rule, blanks are kept
        {"(", "x", "( x"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(appendingTranscriptSuffix(c.piece, c.receiver), c.expected)
            << "\"" << c.receiver << "\" + \"" << c.piece << "\"";
    }
}

}  // namespace
}  // namespace quillon
