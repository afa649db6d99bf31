#pragma once

#include <QPointer>
#include <QWidget>

#include "core/ports/SaveDialog.h"

namespace quillon {

// The live recording's save dialog: the desktop's file dialog, opening in the user's Music folder
// (Documents when there is none), as a sheet on the live transcript window while that is visible
// and as a window of its own otherwise. GUI thread only.
class LiveAudioSaveDialogQt final : public SaveDialog {
public:
    // The window a dialog attaches to; the dialog stands alone while there is none.
    void setTranscriptWindow(QWidget* window) { window_ = window; }

    void present(const SaveDialogRequest& request,
                 std::function<void(std::optional<std::filesystem::path>)> answer) override;

private:
    QPointer<QWidget> window_;
};

}  // namespace quillon
