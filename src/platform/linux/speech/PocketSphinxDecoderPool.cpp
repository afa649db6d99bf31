#include "platform/linux/speech/PocketSphinxDecoderPool.h"

#include <chrono>
#include <string>
#include <utility>

#include <sphinxbase/cmn.h>
#include <sphinxbase/err.h>
#include <sphinxbase/feat.h>

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
        preset_ = other.preset_;
        decoder_ = std::exchange(other.decoder_, nullptr);
    }
    return *this;
}

void PocketSphinxDecoderPool::Lease::reset() {
    if (pool_ && decoder_) pool_->release(preset_, decoder_);
    pool_ = nullptr;
    decoder_ = nullptr;
}

PocketSphinxDecoderPool::PocketSphinxDecoderPool(ModelPaths paths, Logger logger, bool prepareSpares)
    : paths_(std::move(paths)), logger_(std::move(logger)), prepareSpares_(prepareSpares) {
    // The library's own chatter would mix with the command line's output; our log says what matters.
    err_set_logfp(nullptr);
}

PocketSphinxDecoderPool::~PocketSphinxDecoderPool() {
    loader_.reset();  // waits for a decoder being made; drops what was still to come
    std::lock_guard lock(mutex_);
    idle_.clear();
    initialCmn_.clear();
}

PocketSphinxDecoderPool::Lease PocketSphinxDecoderPool::acquire(TranscriberPreset preset) {
    Decoder decoder;
    bool poolRanDry = false;
    {
        std::lock_guard lock(mutex_);
        auto& idle = idle_[preset];
        if (!idle.empty()) {
            decoder = std::move(idle.back());
            idle.pop_back();
        } else {
            decoder = makeDecoder(preset);
        }
        poolRanDry = decoder && idle.empty();
    }
    if (poolRanDry && prepareSpares_) loader_->post([this, preset] { topUp(preset); });
    return decoder ? Lease(this, preset, decoder.release()) : Lease();
}

void PocketSphinxDecoderPool::warmUp(TranscriberPreset preset) {
    loader_->post([this, preset] { topUp(preset); });
}

std::size_t PocketSphinxDecoderPool::idleCount(TranscriberPreset preset) const {
    std::lock_guard lock(mutex_);
    auto found = idle_.find(preset);
    return found == idle_.end() ? 0 : found->second.size();
}

void PocketSphinxDecoderPool::topUp(TranscriberPreset preset) {
    std::lock_guard lock(mutex_);
    auto& idle = idle_[preset];
    if (!idle.empty()) return;
    if (auto decoder = makeDecoder(preset)) idle.push_back(std::move(decoder));
}

void PocketSphinxDecoderPool::release(TranscriberPreset preset, ps_decoder_t* raw) {
    Decoder decoder(raw);
    std::lock_guard lock(mutex_);
    auto& idle = idle_[preset];
    if (idle.size() < maximumIdle) {
        restoreInitialState(raw);
        idle.push_back(std::move(decoder));
    } else {
        initialCmn_.erase(raw);
        decoder.reset();  // freed here, under the lock
    }
}

void PocketSphinxDecoderPool::restoreInitialState(ps_decoder_t* decoder) {
    auto found = initialCmn_.find(decoder);
    feat_t* features = ps_get_feat(decoder);
    if (found != initialCmn_.end() && features && features->cmn_struct) {
        cmn_live_set(features->cmn_struct, found->second.data());
    }
}

PocketSphinxDecoderPool::Decoder PocketSphinxDecoderPool::makeDecoder(TranscriberPreset preset) {
    if (loadFailed_) return nullptr;
    const auto started = std::chrono::steady_clock::now();
    const std::string hmm = paths_.acousticModel.string();
    const std::string dict = paths_.dictionary.string();
    const std::string postspeech = std::to_string(endpointSilenceFrames);

    // Both presets decode with the tree search and the lattice's best path: the flat second pass
    // costs a third more time and, with this model, does not make the text better.
    (void)preset;
    cmd_ln_t* config = cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", hmm.c_str(), "-dict", dict.c_str(),
                                   "-fwdflat", "no", "-bestpath", "yes", "-maxhmmpf", "4000", "-maxwpf", "10",
                                   "-vad_postspeech", postspeech.c_str(), "-logfn", "/dev/null", nullptr);
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
        // Setting the means also gives them the weight of a full window, as a decoder back from
        // the pool has: the first session on a decoder then hears exactly like every later one.
        restoreInitialState(decoder.get());
    }
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);
    logger_.debug("PocketSphinx decoder ready in " + std::to_string(elapsed.count()) + " ms");
    return decoder;
}

}  // namespace quillon
