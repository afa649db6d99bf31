#include <gtest/gtest.h>

#include "platform/linux/speech/PocketSphinxGlossary.h"
#include "platform/linux/speech/PronunciationFlite.h"

namespace quillon {
namespace {

TEST(PronunciationFliteTest, WordsTheDictionaryLacksGetTheModelsPhones) {
    const std::vector<std::pair<const char*, const char*>> cases{
        {"quillon", "K W IH L AH N"},           // flite's schwa "ax" is the dictionary's "AH"
        {"kubernetes", "K AH B ER N IY T S"},   // letter-to-sound rules, stress marks dropped
        {"hopper", "HH AA P ER"},              // flite's own lexicon
        {"O'Brien", "OW B R AY AH N"},         // case and apostrophe do not change the word
        {"nguyen", "N UW Y EH N"},
        {"'", ""},
        {"", ""},
    };
    for (const auto& [word, phones] : cases) EXPECT_EQ(PronunciationFlite::phones(word), phones) << word;
}

TEST(PocketSphinxGlossaryTest, TermsBecomeTokensThatAreWrittenBackAsTheUserSpelledThem) {
    const PocketSphinxGlossary glossary({"Grace  Hopper ", "Kubernetes", "grace hopper", "COVID-19", "Zoë", "T-Rex", "—"});
    std::vector<std::pair<std::string, std::string>> terms;
    for (const auto& term : glossary.terms()) terms.emplace_back(term.token, term.writtenForm);
    const std::vector<std::pair<std::string, std::string>> expected{
        {"_grace_hopper", "Grace Hopper"}, {"_kubernetes", "Kubernetes"}, {"_zo", "Zoë"}, {"_t_rex", "T-Rex"}};
    EXPECT_EQ(terms, expected) << "a repeated term is kept once; a number cannot be said; a sign alone is no term";
    EXPECT_EQ(glossary.leftOut(), 2u);
    EXPECT_EQ(glossary.terms()[0].words, (std::vector<std::string>{"grace", "hopper"}));
    EXPECT_EQ(glossary.writtenForm("i met _grace_hopper and i'm sure _kubernetes is _unknown"),
              "I met Grace Hopper and I'm sure Kubernetes is _unknown");
    EXPECT_EQ(PocketSphinxGlossary({"Kubernetes"}).key(), PocketSphinxGlossary({" Kubernetes", ""}).key());
    EXPECT_NE(PocketSphinxGlossary({"Kubernetes"}).key(), PocketSphinxGlossary().key());
}

}  // namespace
}  // namespace quillon
