// Starting a music player the way the desktop would: from its desktop entry.
#pragma once

#include <QString>
#include <QStringList>

namespace kestrabel::player {

// The file of a desktop entry ID ("mpv.desktop", "org.gnome.Rhythmbox3.desktop") in the XDG data
// folders; null when there is none. A name without ".desktop" is also tried as the last part of
// an ID ("strawberry" finds org.strawberrymusicplayer.strawberry.desktop).
QString findDesktopEntry(const QString &id);

// The program and arguments of a desktop entry's Exec key with its field codes (%U, %f, ...)
// dropped; empty when the entry has no usable Exec line or is hidden.
QStringList commandOfDesktopEntry(const QString &entryPath);
// The Exec value alone, unquoted and unescaped.
QStringList splitExecLine(const QString &exec);

// The desktop entry ID of the desktop's default application for audio/mpeg, as
// `xdg-mime query default audio/mpeg` answers it; null when there is none.
QString defaultAudioPlayerEntry();

// Starts preferred (a desktop entry ID, a short player name or a program) when given, else the
// default audio application. True when a program was started.
bool startPlayer(const QString &preferred);

} // namespace kestrabel::player
