#include "core/text/TranscriptCorrector.h"

#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <atomic>
#include <unordered_map>
#include <vector>

#include "core/base/Unicode.h"
#include "core/text/GlossaryCorrection.h"

namespace quillon {

namespace {

// A correction matches case-insensitively and never next to a letter or digit. Only the source
// is compiled case-insensitively: closing the huge letter class over case at every compile costs
// milliseconds per rule, and the closed class differs from the plain one by U+0345 alone (the
// combining iota, whose case folding is a letter), so that character is listed instead.
constexpr std::string_view notAfterWordCharacter = "(?<![\\p{L}\\p{N}\\u0345])(?i:";
constexpr std::string_view notBeforeWordCharacter = ")(?![\\p{L}\\p{N}\\u0345])";

bool isAsciiAlphanumeric(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// `source` as a pattern that matches exactly that text: every ASCII character but letters and
// digits is escaped with a backslash (harmless where it has no meaning, required where it has one);
// everything else is literal in ICU patterns already.
std::string literalPattern(std::string_view source) {
    std::string pattern;
    pattern.reserve(source.size() * 2);
    for (char c : source) {
        if (static_cast<unsigned char>(c) < 0x80 && !isAsciiAlphanumeric(c)) pattern.push_back('\\');
        pattern.push_back(c);
    }
    return pattern;
}

// The replacement as an ICU template. "$" followed by a digit names a group and a backslash escapes
// the next character, as users of regular-expression tools expect; a "$" before anything else is
// plain text ("dollars -> $" must work), although ICU would read it as the start of a group name.
icu::UnicodeString replacementTemplate(std::string_view replacement) {
    std::string out;
    out.reserve(replacement.size() + 4);
    for (std::size_t i = 0; i < replacement.size(); ++i) {
        const char c = replacement[i];
        if (c == '\\' && i + 1 < replacement.size()) {
            out.push_back(c);
            out.push_back(replacement[++i]);
        } else if (c == '$' && !(i + 1 < replacement.size() && replacement[i + 1] >= '0' && replacement[i + 1] <= '9')) {
            out.append("\\$");
        } else {
            out.push_back(c);
        }
    }
    return icu::UnicodeString::fromUTF8(out);
}

std::string toUtf8(const icu::UnicodeString& text) {
    std::string out;
    text.toUTF8String(out);
    return out;
}

}  // namespace

struct TranscriptCorrector::CompiledRules {
    struct Rule {
        GlossaryCorrection correction;
        std::shared_ptr<const icu::RegexPattern> pattern;
        icu::UnicodeString replacement;
        icu::UnicodeString foldedSource;  // full case folding, for the quick test below
        // Set when the replacement failed on real text although it passed the check at compile time.
        mutable std::atomic<bool> failed{false};
    };

    std::string setting;
    std::vector<std::unique_ptr<Rule>> rules;
    // Patterns by source, so that an edit compiles only the lines that changed.
    std::unordered_map<std::string, std::shared_ptr<const icu::RegexPattern>> patterns;
};

TranscriptCorrector::TranscriptCorrector(const SettingsManager& settings, Logger logger)
    : settings_(settings), logger_(std::move(logger)) {}

TranscriptCorrector::~TranscriptCorrector() = default;

// Compiling is the costly part, and the setting changes only when the user edits it, so the rules
// of the last setting text seen are kept. A correction whose replacement ICU rejects (a group
// that does not exist, such as "$1") is left out and reported once, when its setting is compiled.
std::shared_ptr<const TranscriptCorrector::CompiledRules> TranscriptCorrector::rules(const std::string& setting) const {
    std::lock_guard lock(mutex_);
    if (cached_ && cached_->setting == setting) return cached_;

    auto compiled = std::make_shared<CompiledRules>();
    compiled->setting = setting;
    for (std::string_view line : splitSettingLines(setting)) {
        auto correction = GlossaryCorrection::parse(line);
        if (!correction) continue;
        const std::string describe = "\"" + correction->source + " → " + correction->replacement + "\"";

        std::shared_ptr<const icu::RegexPattern> pattern;
        if (cached_) {
            if (auto found = cached_->patterns.find(correction->source); found != cached_->patterns.end()) {
                pattern = found->second;
            }
        }
        UErrorCode status = U_ZERO_ERROR;
        if (!pattern) {
            std::string patternText;
            patternText.append(notAfterWordCharacter)
                .append(literalPattern(correction->source))
                .append(notBeforeWordCharacter);
            UParseError parseError{};
            pattern.reset(icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(patternText), 0, parseError, status));
        }
        if (U_FAILURE(status) || !pattern) {
            logger_.error("Skipping correction " + describe + ": its source cannot be matched (" +
                          u_errorName(status) + ")");
            continue;
        }

        // The source always matches itself, so replacing in it proves the template.
        icu::UnicodeString replacement = replacementTemplate(correction->replacement);
        const icu::UnicodeString sample = icu::UnicodeString::fromUTF8(correction->source);
        std::unique_ptr<icu::RegexMatcher> probe(pattern->matcher(sample, status));
        if (U_SUCCESS(status) && probe) probe->replaceAll(replacement, status);
        if (U_FAILURE(status)) {
            logger_.error("Skipping correction " + describe + ": the replacement refers to a group that does not exist (" +
                          u_errorName(status) + ")");
            continue;
        }

        compiled->patterns.emplace(correction->source, pattern);
        auto rule = std::make_unique<CompiledRules::Rule>();
        rule->correction = std::move(*correction);
        rule->pattern = std::move(pattern);
        rule->replacement = std::move(replacement);
        rule->foldedSource = sample;
        rule->foldedSource.foldCase();
        compiled->rules.push_back(std::move(rule));
    }
    cached_ = compiled;
    return compiled;
}

std::string TranscriptCorrector::applyingCorrections(std::string_view text) const {
    const auto compiled = rules(settings_.transcriptionCorrections());
    if (compiled->rules.empty() || text.empty()) return std::string(text);

    // Most rules do not occur in a given phrase, and a pattern that opens with a look-behind is
    // tried at every position. Case-insensitive matching compares full case foldings, so a rule can
    // match only where its folded source occurs in the folded text: that substring test skips the
    // rest cheaply.
    icu::UnicodeString current = icu::UnicodeString::fromUTF8(text);
    icu::UnicodeString folded = current;
    folded.foldCase();
    bool changed = false;
    for (const auto& rule : compiled->rules) {
        if (rule->failed.load(std::memory_order_relaxed)) continue;
        if (folded.indexOf(rule->foldedSource) < 0) continue;
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::RegexMatcher> matcher(rule->pattern->matcher(current, status));
        if (U_FAILURE(status) || !matcher) continue;
        if (!matcher->find()) continue;
        matcher->reset();
        icu::UnicodeString replaced = matcher->replaceAll(rule->replacement, status);
        if (U_FAILURE(status)) {
            // The text stays as it was; the rule is left out from now on.
            if (!rule->failed.exchange(true)) {
                logger_.error("Skipping correction \"" + rule->correction.source + " → " +
                              rule->correction.replacement + "\": " + u_errorName(status));
            }
            continue;
        }
        matcher.reset();  // it still refers to `current`
        current = std::move(replaced);
        folded = current;
        folded.foldCase();
        changed = true;
    }
    return changed ? toUtf8(current) : std::string(text);
}

std::string TranscriptCorrector::normalize(std::string_view text) const {
    // Every run of white space (Unicode White_Space, as "\s" in ICU patterns) becomes one blank.
    std::string collapsed;
    collapsed.reserve(text.size());
    bool inWhitespace = false;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<std::int32_t>(text.size());
    for (std::int32_t i = 0; i < length;) {
        const std::int32_t start = i;
        UChar32 c;
        U8_NEXT(bytes, i, length, c);
        if (c >= 0 && u_isUWhiteSpace(c)) {
            if (!inWhitespace) collapsed.push_back(' ');
            inWhitespace = true;
        } else {
            collapsed.append(text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(i - start)));
            inWhitespace = false;
        }
    }
    return applyingCorrections(unicode::trimmed(collapsed));
}

}  // namespace quillon
