#include "platform/linux/speech/PocketSphinxGlossary.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace quillon {

PocketSphinxGlossary::PocketSphinxGlossary(const std::vector<std::string>& terms) {
    for (const auto& term : terms) {
        Term entry;
        std::string word;
        bool pronounceable = true;
        const auto endWord = [&] {
            if (word.empty()) return;
            // Apostrophes alone are no word.
            if (std::ranges::any_of(word, [](char c) { return c != '\''; })) entry.words.push_back(std::move(word));
            word.clear();
        };
        for (const char c : term) {
            const auto u = static_cast<unsigned char>(c);
            if (std::isalpha(u)) {
                word += static_cast<char>(std::tolower(u));
            } else if (c == '\'') {
                word += c;
            } else if (std::isdigit(u)) {
                pronounceable = false;  // a number has no letters to say it by
            } else if (u < 0x80) {
                endWord();  // blanks, hyphens and other signs part words
            }
            // Letters outside ASCII are dropped: the term is said by its other letters.
        }
        endWord();
        std::istringstream blanks(term);
        for (std::string part; blanks >> part;) {
            if (!entry.writtenForm.empty()) entry.writtenForm += ' ';
            entry.writtenForm += part;
        }
        if (!pronounceable || entry.words.empty()) {
            if (!entry.writtenForm.empty()) ++leftOut_;
            continue;
        }
        entry.token.push_back('_');  // no dictionary word starts so
        for (std::size_t i = 0; i < entry.words.size(); ++i) {
            if (i) entry.token += '_';
            entry.token += entry.words[i];
        }
        if (std::ranges::any_of(terms_, [&](const Term& t) { return t.token == entry.token; })) continue;
        key_ += entry.token + '\n';
        terms_.push_back(std::move(entry));
    }
}

std::string PocketSphinxGlossary::writtenForm(std::string_view hypothesis) const {
    std::string text;
    std::size_t at = 0;
    while (at < hypothesis.size()) {
        const std::size_t end = std::min(hypothesis.find(' ', at), hypothesis.size());
        std::string word(hypothesis.substr(at, end - at));
        at = end + 1;
        if (word.empty()) continue;
        if (word.front() == '_') {
            const auto term = std::ranges::find(terms_, word, &Term::token);
            if (term != terms_.end()) word = term->writtenForm;
        } else if (word == "i" || word.starts_with("i'")) {
            word.front() = 'I';
        }
        if (!text.empty()) text += ' ';
        text += word;
    }
    return text;
}

}  // namespace quillon
