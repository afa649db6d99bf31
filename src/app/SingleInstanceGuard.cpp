#include "app/SingleInstanceGuard.h"

#include <QDir>
#include <QString>

namespace quillon {

SingleInstanceGuard::SingleInstanceGuard(const std::filesystem::path& runtimeDirectory)
    : lockPath_(runtimeDirectory / "quillon.lock"),
      lock_(std::make_unique<QLockFile>(QString::fromStdString(lockPath_.string()))) {
    // Only a dead owner makes the lock stale, never its age: Quillon runs for days.
    lock_->setStaleLockTime(0);
}

bool SingleInstanceGuard::acquire() {
    QDir().mkpath(QString::fromStdString(lockPath_.parent_path().string()));
    return lock_->tryLock(0);
}

}  // namespace quillon
