#include "app/ImportedMediaTranscriber.h"

#include <memory>

namespace quillon {

void ImportedMediaTranscriber::transcribe(const std::filesystem::path& file, Completion completion) {
    const auto job = windows_.newestJob();
    if (!job) return service_.transcribe(file, std::move(completion));
    // The bar moves in steps of a tenth of a percent: the main loop is not flooded with a post for
    // every block of audio.
    auto shown = std::make_shared<int>(-1);
    // It runs on the job's thread, which may outlive this object at exit: it holds no `this`.
    auto progress = [&main = main_, &windows = windows_, job = *job, shown](double fraction, double) {
        const int perMille = static_cast<int>(fraction * 1000.0);
        if (perMille == *shown) return;
        *shown = perMille;
        main.post([&windows, job, fraction] { windows.showProgressFraction(job, fraction); });
    };
    service_.transcribe(file, std::move(progress), std::move(completion));
}

}  // namespace quillon
