#include "platform/linux/speech/PocketSphinxDecoderPool.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include <sphinxbase/ckd_alloc.h>
#include <sphinxbase/cmn.h>
#include <sphinxbase/err.h>
#include <sphinxbase/feat.h>

#include "platform/linux/speech/PronunciationFlite.h"

namespace quillon {

namespace {

// Idle decoders kept per preset beyond the one in use; each holds some 60 MB.
constexpr std::size_t maximumIdle = 2;

}  // namespace

PocketSphinxDecoderPool::ModelPaths PocketSphinxDecoderPool::ModelPaths::debianEnglish(
    const std::filesystem::path& root) {
    return {root / "en-us", root / "en-us.lm.bin", root / "cmudict-en-us.dict"};
}

std::vector<std::filesystem::path> PocketSphinxDecoderPool::ModelPaths::requiredFiles() const {
    std::vector<std::filesystem::path> files;
    for (const char* name : {"mdef", "means", "variances", "transition_matrices", "sendump", "feat.params", "noisedict"}) {
        files.push_back(acousticModel / name);
    }
    files.push_back(languageModel);
    files.push_back(dictionary);
    return files;
}

PocketSphinxDecoderPool::Lease& PocketSphinxDecoderPool::Lease::operator=(Lease&& other) noexcept {
    if (this != &other) {
        reset();
        pool_ = std::exchange(other.pool_, nullptr);
        kind_ = std::move(other.kind_);
        decoder_ = std::exchange(other.decoder_, nullptr);
    }
    return *this;
}

void PocketSphinxDecoderPool::Lease::reset() {
    if (pool_ && decoder_) pool_->release(kind_, decoder_);
    pool_ = nullptr;
    decoder_ = nullptr;
}

PocketSphinxDecoderPool::PocketSphinxDecoderPool(ModelPaths paths, Logger logger, bool prepareSpares, Tuning tuning)
    : paths_(std::move(paths)), logger_(std::move(logger)), tuning_(std::move(tuning)), prepareSpares_(prepareSpares) {
    // The library's own chatter would mix with the command line's output; our log says what matters.
    err_set_logfp(nullptr);
}

PocketSphinxDecoderPool::~PocketSphinxDecoderPool() {
    loader_.reset();  // waits for a decoder being made; drops what was still to come
    std::lock_guard lock(mutex_);
    idle_.clear();
    initialCmn_.clear();
}

PocketSphinxDecoderPool::Lease PocketSphinxDecoderPool::acquire(TranscriberPreset preset,
                                                                const PocketSphinxGlossary& glossary) {
    Kind kind{preset, glossary.key()};
    Decoder decoder;
    bool poolRanDry = false;
    {
        std::lock_guard lock(mutex_);
        auto& idle = idle_[kind];
        if (!idle.empty()) {
            decoder = std::move(idle.back());
            idle.pop_back();
        } else {
            decoder = makeDecoder(preset, glossary);
        }
        poolRanDry = decoder && idle_[kind].empty();
    }
    if (poolRanDry && prepareSpares_) loader_->post([this, preset, glossary] { topUp(preset, glossary); });
    return decoder ? Lease(this, std::move(kind), decoder.release()) : Lease();
}

void PocketSphinxDecoderPool::warmUp(TranscriberPreset preset, PocketSphinxGlossary glossary) {
    loader_->post([this, preset, glossary = std::move(glossary)] {
        // Asked afterwards, the idle count would be zero when a dictation took the decoder meanwhile.
        logger_.info(topUp(preset, glossary) ? "Speech recognition is ready"
                                             : "Speech recognition could not be prepared in advance");
    });
}

std::size_t PocketSphinxDecoderPool::idleCount(TranscriberPreset preset, const PocketSphinxGlossary& glossary) const {
    std::lock_guard lock(mutex_);
    auto found = idle_.find(Kind{preset, glossary.key()});
    return found == idle_.end() ? 0 : found->second.size();
}

bool PocketSphinxDecoderPool::topUp(TranscriberPreset preset, const PocketSphinxGlossary& glossary) {
    std::lock_guard lock(mutex_);
    if (!idle_[Kind{preset, glossary.key()}].empty()) return true;
    // Made first: a new glossary drops the idle decoders of the previous one on the way.
    auto decoder = makeDecoder(preset, glossary);
    if (!decoder) return false;
    idle_[Kind{preset, glossary.key()}].push_back(std::move(decoder));
    return true;
}

void PocketSphinxDecoderPool::release(const Kind& kind, ps_decoder_t* raw) {
    Decoder decoder(raw);
    std::lock_guard lock(mutex_);
    auto& idle = idle_[kind];
    // A decoder of a glossary that has since been replaced is not kept.
    if (idle.size() < maximumIdle && models_.contains(kind.second)) {
        restoreInitialState(raw);
        idle.push_back(std::move(decoder));
    } else {
        initialCmn_.erase(raw);
        decoder.reset();  // freed here, under the lock
    }
}

void PocketSphinxDecoderPool::restoreInitialState(ps_decoder_t* decoder) {
    // As a fresh decoder: the model's initial means, and no frames heard yet, so that the first
    // utterance's own frames set the means at its end, as they do for the engine's own decoder.
    auto found = initialCmn_.find(decoder);
    feat_t* features = ps_get_feat(decoder);
    if (found == initialCmn_.end() || !features || !features->cmn_struct) return;
    cmn_t* cmn = features->cmn_struct;
    std::ranges::copy(found->second, cmn->cmn_mean);
    std::fill_n(cmn->sum, cmn->veclen, mfcc_t{});
    cmn->nframe = 0;
}

PocketSphinxDecoderPool::Decoder PocketSphinxDecoderPool::makeDecoder(TranscriberPreset preset,
                                                                      const PocketSphinxGlossary& glossary) {
    if (loadFailed_) return nullptr;
    const auto started = std::chrono::steady_clock::now();
    const std::string hmm = paths_.acousticModel.string();
    const std::string dict = paths_.dictionary.string();
    const std::string postspeech = std::to_string(endpointSilenceFrames);

    // Both presets decode with the engine's own search settings: the tree search, the flat second
    // pass and the lattice's best path, with its default beams. Narrower settings were measurably
    // less accurate on voices other than the one they were chosen on.
    (void)preset;
    std::vector<std::string> arguments{"-hmm", hmm, "-dict", dict, "-vad_postspeech", postspeech, "-logfn", "/dev/null"};
    for (const auto& [name, value] : tuning_.decoderArguments) {
        arguments.push_back(name);
        arguments.push_back(value);
    }
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    cmd_ln_t* config = cmd_ln_parse_r(nullptr, ps_args(), static_cast<int32>(argv.size()), argv.data(), TRUE);
    if (!config) {
        logger_.error("PocketSphinx rejected its configuration");
        loadFailed_ = true;
        return nullptr;
    }
    Decoder decoder(ps_init(config));
    cmd_ln_free_r(config);
    if (!decoder) {
        logger_.error("PocketSphinx could not load the acoustic model or dictionary from " + paths_.acousticModel.string() +
                      "; reinstall the Debian package pocketsphinx-en-us");
        loadFailed_ = true;
        return nullptr;
    }
    const GlossaryModel& model = glossaryModel(decoder.get(), glossary);
    // The glossary's words enter the dictionary before the search is made, so that the search
    // sees them.
    for (const auto& [token, phones] : model.words) {
        if (ps_add_word(decoder.get(), token.c_str(), phones.c_str(), FALSE) < 0) {
            logger_.error("PocketSphinx refused a glossary word's pronunciation");
        }
    }
    // Each decoder reads its own language model: sphinxbase's trie keeps the last lookup's history
    // inside the model, so decoders sharing one on two threads corrupt each other's scores.
    ngram_model_t* languageModel = ngram_model_read(ps_get_config(decoder.get()), paths_.languageModel.string().c_str(),
                                                    NGRAM_AUTO, ps_get_logmath(decoder.get()));
    if (!languageModel) {
        logger_.error("PocketSphinx could not read the language model " + paths_.languageModel.string() +
                      "; reinstall the Debian package pocketsphinx-en-us");
        loadFailed_ = true;
        return nullptr;
    }
    addGlossaryClass(languageModel, model);
    const bool attached = ps_set_lm(decoder.get(), "language", languageModel) >= 0 &&
                          ps_set_search(decoder.get(), "language") >= 0;
    ngram_model_free(languageModel);  // the decoder holds its own reference
    if (!attached) {
        logger_.error("PocketSphinx could not attach the language model");
        return nullptr;
    }
    if (feat_t* features = ps_get_feat(decoder.get()); features && features->cmn_struct) {
        std::vector<mfcc_t> means(static_cast<std::size_t>(features->cmn_struct->veclen));
        cmn_live_get(features->cmn_struct, means.data());
        initialCmn_[decoder.get()] = std::move(means);
    }
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);
    logger_.debug("PocketSphinx decoder ready in " + std::to_string(elapsed.count()) + " ms");
    return decoder;
}

const PocketSphinxDecoderPool::GlossaryModel& PocketSphinxDecoderPool::glossaryModel(
    ps_decoder_t* decoder, const PocketSphinxGlossary& glossary) {
    if (auto found = models_.find(glossary.key()); found != models_.end()) return found->second;

    GlossaryModel model;
    std::size_t unpronounced = glossary.leftOut();
    for (const auto& term : glossary.terms()) {
        std::string phones = pronunciation(decoder, term);
        if (phones.empty()) {
            ++unpronounced;
            continue;
        }
        model.words.emplace_back(term.token, std::move(phones));
    }
    if (!glossary.empty() || unpronounced) {
        logger_.info("The recogniser knows " + std::to_string(model.words.size()) + " glossary terms; " +
                     std::to_string(unpronounced) + " could not be pronounced and only reach the text through corrections");
    }

    // One glossary at a time: the previous one's idle decoders go. Decoders still on loan are
    // freed when they come back.
    for (auto it = idle_.begin(); it != idle_.end();) {
        if (it->first.second == glossary.key()) {
            ++it;
            continue;
        }
        for (auto& idle : it->second) initialCmn_.erase(idle.get());
        it = idle_.erase(it);
    }
    models_.clear();
    return models_.emplace(glossary.key(), std::move(model)).first->second;
}

void PocketSphinxDecoderPool::addGlossaryClass(ngram_model_t* languageModel, const GlossaryModel& model) const {
    if (model.words.empty()) return;
    // The terms are a class of their own, entered as one word of the model: a term scores as that
    // word times its share of the class, the same for every term. Weighting the class by the number
    // of terms keeps each term's weight whatever the glossary's size.
    std::vector<std::string> tokens;
    for (const auto& [token, phones] : model.words) tokens.push_back(token);
    std::vector<char*> words;
    for (auto& token : tokens) words.push_back(token.data());
    const std::vector<float32> shares(words.size(), 1.0f);
    const auto weight = tuning_.glossaryWeight * static_cast<float32>(words.size());
    if (ngram_model_add_class(languageModel, "[glossary]", weight, words.data(), shares.data(),
                              static_cast<int32>(words.size())) < 0) {
        logger_.error("PocketSphinx could not add the glossary to the language model");
    }
}

std::string PocketSphinxDecoderPool::pronunciation(ps_decoder_t* decoder, const PocketSphinxGlossary::Term& term) const {
    // A word the dictionary has keeps its pronunciation there; the rules say the others.
    std::string phones;
    for (const auto& word : term.words) {
        std::string said;
        if (char* known = ps_lookup_word(decoder, word.c_str())) {
            said = known;
            ckd_free(known);
        } else {
            said = PronunciationFlite::phones(word);
        }
        if (said.empty()) return {};
        if (!phones.empty()) phones += ' ';
        phones += said;
    }
    return phones;
}

}  // namespace quillon
