#pragma once
// Runs an update at most once per interval, however often it is asked for: the
// first request after a quiet interval runs at once, the ones within it are merged
// into one that runs when the interval is over, so the last state of a burst always
// shows. A fast automatic run changes a picture far more often than anyone can see.

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <functional>
#include <utility>

namespace quillane {

class Pacer {
  public:
    // `update` runs on the owner's thread; the owner calls ran() when it has updated.
    Pacer(QObject* owner, int intervalMs, std::function<void()> update)
        : interval_(intervalMs), update_(std::move(update)), later_(new QTimer(owner)) {
        later_->setSingleShot(true);
        QObject::connect(later_, &QTimer::timeout, owner, [this] { update_(); });
    }

    // Something changed: update now, or once the interval since the last update is over.
    void request() {
        if (later_->isActive()) {
            return;
        }
        const qint64 since = last_.isValid() ? last_.elapsed() : interval_;
        if (since >= interval_) {
            update_();
        } else {
            later_->start(static_cast<int>(interval_ - since));
        }
    }

    // The update has happened (also one the owner made for reasons of its own).
    void ran() {
        later_->stop();
        last_.start();
    }

  private:
    int interval_;
    std::function<void()> update_;
    QTimer* later_; // owned by the owner
    QElapsedTimer last_;
};

} // namespace quillane
