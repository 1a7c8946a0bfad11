// What the window asks of an X11 desktop: to be on every workspace, out of taskbars and pagers;
// and whether a compositor runs, without which translucent pixels show black. Elsewhere (Wayland,
// no display) the hints are not asked for and a compositor is taken to run.
#pragma once

#include <QWidget>

namespace kestrabel::app {

// The window states EWMH names for a panel like ours, in the order they are asked for.
inline constexpr const char *kPanelWindowStates[] = {"_NET_WM_STATE_STICKY", "_NET_WM_STATE_SKIP_TASKBAR",
                                                     "_NET_WM_STATE_SKIP_PAGER"};

// Sets the states and every workspace on the window's native window: as properties for the next
// map, and as messages to the window manager while it is shown.
void applyPanelHints(QWidget *window);

// Whether a compositing manager owns the screen's _NET_WM_CM_Sn selection.
bool compositorRuns();

} // namespace kestrabel::app
