#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include "core/ports/SaveDialog.h"

namespace quillon::testing {

// Keeps each request and its answer until the test plays the user.
class FakeSaveDialog final : public quillon::SaveDialog {
public:
    void present(const quillon::SaveDialogRequest& request,
                 std::function<void(std::optional<std::filesystem::path>)> answer) override {
        requests.push_back(request);
        answer_ = std::move(answer);
    }

    void answer(std::optional<std::filesystem::path> destination) {
        auto answer = std::move(answer_);
        answer_ = nullptr;
        answer(std::move(destination));
    }

    std::vector<quillon::SaveDialogRequest> requests;

private:
    std::function<void(std::optional<std::filesystem::path>)> answer_;
};

}  // namespace quillon::testing
