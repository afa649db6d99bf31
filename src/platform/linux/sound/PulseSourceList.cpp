#include "platform/linux/sound/PulseSourceList.h"

#include <memory>

namespace quillon {

namespace {

struct Listing {
    AudioDevices::ListCompletion completion;
    std::vector<AudioInputDevice> devices;
};

void sourceInfo(pa_context* context, const pa_source_info* info, int eol, void* userdata) {
    auto* listing = static_cast<Listing*>(userdata);
    if (eol < 0) {
        std::unique_ptr<Listing> owned(listing);
        owned->completion(std::unexpected(std::string("Could not list the microphones: ") + pa_strerror(pa_context_errno(context))));
        return;
    }
    if (eol > 0) {
        std::unique_ptr<Listing> owned(listing);
        owned->completion(std::move(owned->devices));
        return;
    }
    if (info->monitor_of_sink != PA_INVALID_INDEX) return;
    const char* description = info->description && *info->description ? info->description : info->name;
    listing->devices.push_back(AudioInputDevice{info->name, description});
}

}  // namespace

void listPulseMicrophones(pa_context* context, AudioDevices::ListCompletion completion) {
    auto listing = std::make_unique<Listing>(Listing{std::move(completion), {}});
    pa_operation* operation = pa_context_get_source_info_list(context, &sourceInfo, listing.get());
    if (!operation) {
        listing->completion(std::unexpected(std::string("Could not list the microphones: ") + pa_strerror(pa_context_errno(context))));
        return;
    }
    listing.release();  // sourceInfo owns it from here and frees it at the end of the list
    pa_operation_unref(operation);
}

}  // namespace quillon
