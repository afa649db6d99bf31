#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillon {

// The glossary in the form the decoder takes it. Each term becomes one word of the decoder's own:
// a token ("_grace_hopper") that the dictionary does not have, pronounced as the term's words in a
// row and written back as the user spelled the term ("Grace Hopper"). A term with a word that has
// a number ("COVID-19", "Apollo 11") cannot be spoken to the decoder and is left out.
class PocketSphinxGlossary {
public:
    struct Term {
        std::string token;               // the decoder's word
        std::vector<std::string> words;  // lower case, each to be pronounced
        std::string writtenForm;         // the term as the user wrote it, blanks collapsed
    };

    PocketSphinxGlossary() = default;
    explicit PocketSphinxGlossary(const std::vector<std::string>& terms);

    const std::vector<Term>& terms() const { return terms_; }
    bool empty() const { return terms_.empty(); }
    std::size_t leftOut() const { return leftOut_; }

    // Equal for glossaries that give the decoder the same words.
    const std::string& key() const { return key_; }

    // A hypothesis as text to read: glossary tokens become their terms, and the pronoun "I" and
    // its contractions ("i'm", "i'll", "i've", "i'd") are written as English writes them; the
    // dictionary spells every other word in lower case.
    std::string writtenForm(std::string_view hypothesis) const;

private:
    std::vector<Term> terms_;
    std::size_t leftOut_ = 0;
    std::string key_;
};

}  // namespace quillon
