#include "core/text/TranscriptJoining.h"

#include <gtest/gtest.h>

#include <vector>

namespace quillon {
namespace {

struct JoinCase {
    std::string receiver;
    std::string piece;
    std::string joined;  // by appendingTranscript
    std::string joinedAsSuffix;
};

TEST(TranscriptJoiningTest, OneBlankSeparatesPiecesUnlessWhiteSpaceOrClosingPunctuationIsThere) {
    const std::vector<JoinCase> cases{
        {"Hello", "world", "Hello world", "Hello world"},
        {"Hello ", "world", "Hello world", "Hello world"},
        {"x\xE3\x80\x80", "y", "x\xE3\x80\x80y", "x\xE3\x80\x80y"},     // ideographic space is white space
        {"Hello", " world ", "Hello world", "Hello world "},              // a suffix keeps its own spacing
        {"Hello", "   ", "Hello", "Hello   "},
        {"", "  bare text \n", "bare text", "  bare text \n"},
        {"Done", "  !", "Done!", "Done  !"},
        {"(", "x", "( x", "( x"},                                         // an opening bracket gets nothing special
        {"a", "-b", "a -b", "a -b"},
        {"a", "\"b\"", "a \"b\"", "a \"b\""},
        {"a", ".\xCC\x81x", "a .\xCC\x81x", "a .\xCC\x81x"},              // a full stop with an accent is another character
    };
    for (const auto& c : cases) {
        EXPECT_EQ(appendingTranscript(c.receiver, c.piece), c.joined) << "\"" << c.receiver << "\" + \"" << c.piece << "\"";
        EXPECT_EQ(appendingTranscriptSuffix(c.piece, c.receiver), c.joinedAsSuffix) << c.receiver << " + " << c.piece;
    }
    for (std::string mark : {",", ".", "...", "!", "?", ";", ":", ")", "\xE2\x80\xA6"}) {
        EXPECT_EQ(appendingTranscript("a", mark + "b"), "a" + mark + "b") << mark;
        EXPECT_EQ(appendingTranscriptSuffix(mark + "b", "a"), "a" + mark + "b") << mark;
    }
}

}  // namespace
}  // namespace quillon
