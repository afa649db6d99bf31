#pragma once

#include <string>
#include <string_view>

namespace quillon {

// Pronunciations of English words in the phone set of the CMU dictionary ("K W IH L AH N"), from
// flite's US English lexicon and, for a word it lacks, its letter-to-sound rules. Stress marks are
// dropped and flite's few extra phones are mapped onto the dictionary's.
//
// Thread-safe: flite's lexicon is one static object, used under a lock of its own.
class PronunciationFlite {
public:
    // The phones of one word of lower-case letters (an apostrophe is allowed); empty when the word
    // has no letter to pronounce.
    static std::string phones(std::string_view word);
};

}  // namespace quillon
