// The control window's way to the player. Every question and command runs as a job on a thread of
// its own, so that a player that answers slowly, or not at all, never holds up the window; the
// answer comes back on the window's thread. Without a thread (tests with an in-process player) a
// job runs at once, and its answer arrives before ask() returns.
#pragma once

#include "PlayerConnection.h"

#include <QObject>
#include <QPointer>
#include <QThread>

#include <functional>
#include <memory>

namespace kestrabel::app {

class PlayerWorker : public QObject {
    Q_OBJECT
public:
    PlayerWorker(player::PlayerConnection &player, bool threaded, QObject *parent = nullptr);
    ~PlayerWorker() override;
    PlayerWorker(const PlayerWorker &) = delete;
    PlayerWorker &operator=(const PlayerWorker &) = delete;

    bool threaded() const { return host_ != nullptr; }
    player::PlayerNotifier &notifier() { return player_.notifier(); }

    // Runs job with the connection; done gets its result on context's thread, unless context
    // has gone by then.
    template <typename Result>
    void ask(std::function<Result(player::PlayerConnection &)> job, QObject *context,
             std::function<void(const Result &)> done)
    {
        if (!host_) {
            done(job(player_));
            return;
        }
        QPointer<QObject> target(context);
        QMetaObject::invokeMethod(
            host_.get(),
            [this, job = std::move(job), target, done = std::move(done)] {
                Result result = job(player_);
                if (target)
                    QMetaObject::invokeMethod(
                        target.data(), [result = std::move(result), done] { done(result); }, Qt::QueuedConnection);
            },
            Qt::QueuedConnection);
    }

    // A job whose result nobody waits for.
    void run(std::function<void(player::PlayerConnection &)> job);

private:
    player::PlayerConnection &player_;
    std::unique_ptr<QThread> thread_;
    std::unique_ptr<QObject> host_;
};

} // namespace kestrabel::app
