#include "ui/transcript/MediaFileDialog.h"

#include <QFileDialog>
#include <QMimeDatabase>
#include <QStandardPaths>
#include <QStringList>

namespace quillon {

namespace {

// The file name patterns of every audio and video type the desktop knows.
QStringList mediaPatterns() {
    QStringList patterns;
    for (const QMimeType& type : QMimeDatabase().allMimeTypes()) {
        const QString name = type.name();
        if (!name.startsWith(QStringLiteral("audio/")) && !name.startsWith(QStringLiteral("video/")))
            continue;
        for (const QString& pattern : type.globPatterns()) {
            if (!patterns.contains(pattern)) patterns << pattern;
        }
    }
    patterns.sort();
    return patterns;
}

}  // namespace

std::vector<std::filesystem::path> chooseMediaFiles() {
    const QString filter =
        QStringLiteral("Audio and video files (%1);;All files (*)").arg(mediaPatterns().join(u' '));
    const QString start = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
    const QStringList chosen =
        QFileDialog::getOpenFileNames(nullptr, QStringLiteral("Transcribe File"), start, filter);
    std::vector<std::filesystem::path> files;
    for (const QString& file : chosen) files.emplace_back(file.toStdString());
    return files;
}

}  // namespace quillon
