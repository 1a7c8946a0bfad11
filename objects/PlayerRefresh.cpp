#include "PlayerRefresh.h"

#include <mutex>

namespace kestrabel {
namespace {

std::mutex refreshMutex;
PlayerRefreshFunction installedRefresh;

} // namespace

void installPlayerRefresh(PlayerRefreshFunction refresh)
{
    std::lock_guard lock(refreshMutex);
    installedRefresh = std::move(refresh);
}

void refreshPlayerTrackAtPath(const QString &filePath)
{
    PlayerRefreshFunction refresh;
    {
        std::lock_guard lock(refreshMutex);
        refresh = installedRefresh;
    }
    if (refresh)
        refresh(filePath);
}

} // namespace kestrabel
