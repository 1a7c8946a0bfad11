#include "PlayerWorker.h"

namespace kestrabel::app {

PlayerWorker::PlayerWorker(player::PlayerConnection &player, bool threaded, QObject *parent)
    : QObject(parent), player_(player)
{
    if (!threaded)
        return;
    thread_ = std::make_unique<QThread>();
    thread_->setObjectName(QStringLiteral("kestrabel-player"));
    host_ = std::make_unique<QObject>();
    host_->moveToThread(thread_.get());
    // The connection's own signal handlers must run where its questions run.
    if (auto *object = dynamic_cast<QObject *>(&player_))
        object->moveToThread(thread_.get());
    thread_->start();
}

PlayerWorker::~PlayerWorker()
{
    if (!thread_)
        return;
    QThread *home = thread();
    QMetaObject::invokeMethod(
        host_.get(),
        [this, home] {
            if (auto *object = dynamic_cast<QObject *>(&player_))
                object->moveToThread(home);
        },
        Qt::BlockingQueuedConnection);
    thread_->quit();
    thread_->wait();
    host_.reset();
}

void PlayerWorker::run(std::function<void(player::PlayerConnection &)> job)
{
    if (!host_) {
        job(player_);
        return;
    }
    QMetaObject::invokeMethod(host_.get(), [this, job = std::move(job)] { job(player_); }, Qt::QueuedConnection);
}

} // namespace kestrabel::app
