#include "platform/linux/speech/PronunciationFlite.h"

#include <array>
#include <cctype>
#include <mutex>

extern "C" {
#include <flite/cst_lexicon.h>
#include <flite/cst_val.h>
// Declared by flite's lexicon library, whose header Debian does not ship.
cst_lexicon* cmu_lex_init(void);
}

namespace quillon {

namespace {

// The phones of the acoustic model; anything else would make the decoder refuse the word.
constexpr std::array<std::string_view, 39> modelPhones{
    "AA", "AE", "AH", "AO", "AW", "AY", "B",  "CH", "D",  "DH", "EH", "ER", "EY",
    "F",  "G",  "HH", "IH", "IY", "JH", "K",  "L",  "M",  "N",  "NG", "OW", "OY",
    "P",  "R",  "S",  "SH", "T",  "TH", "UH", "UW", "V",  "W",  "Y",  "Z",  "ZH"};

// flite's phones that the dictionary spells otherwise.
std::string_view modelSpelling(std::string_view phone) {
    if (phone == "AX") return "AH";
    if (phone == "AXR") return "ER";
    if (phone == "HV") return "HH";
    if (phone == "NX") return "N";
    if (phone == "DX") return "D";
    if (phone == "EL") return "AH L";
    if (phone == "EM") return "AH M";
    if (phone == "EN") return "AH N";
    for (auto known : modelPhones) {
        if (phone == known) return known;
    }
    return {};  // a pause or anything unknown is left out
}

std::mutex lexiconMutex;

}  // namespace

std::string PronunciationFlite::phones(std::string_view word) {
    std::string letters;
    for (const char c : word) {
        if (std::isalpha(static_cast<unsigned char>(c))) letters += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    if (letters.empty()) return {};

    std::string result;
    std::lock_guard lock(lexiconMutex);
    static cst_lexicon* const lexicon = cmu_lex_init();
    cst_val* list = lex_lookup(lexicon, letters.c_str(), nullptr, nullptr);
    for (const cst_val* item = list; item; item = val_cdr(item)) {
        std::string phone = val_string(val_car(item));
        while (!phone.empty() && std::isdigit(static_cast<unsigned char>(phone.back()))) phone.pop_back();
        for (char& c : phone) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        const auto spelled = modelSpelling(phone);
        if (spelled.empty()) continue;
        if (!result.empty()) result += ' ';
        result += spelled;
    }
    delete_val(list);
    return result;
}

}  // namespace quillon
