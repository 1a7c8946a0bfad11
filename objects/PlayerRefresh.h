// After a save a wrapper can ask the music player to re-read the file. The object layer does
// not know the player; the application installs the call here. With nothing installed (the
// command-line tool, the tests) the refresh does nothing.
#pragma once

#include <QString>

#include <functional>

namespace kestrabel {

using PlayerRefreshFunction = std::function<void(const QString &filePath)>;

// Process-wide; replaces any earlier function. An empty function turns the refresh off.
void installPlayerRefresh(PlayerRefreshFunction refresh);

// Calls the installed function, if any, with the path of the saved file.
void refreshPlayerTrackAtPath(const QString &filePath);

} // namespace kestrabel
