// What the application's tests share: a private session bus and private settings for each test
// process, the scriptable fake MPRIS player (the player bridge's test program) and an X server
// of our own where a test needs real X11.
#pragma once

#include "PlayerTestSupport.h"

// The Qt modules whole, as Qt's own tests take them: the tests use a wide and shifting part of each.
#include <QtDBus/QtDBus>
#include <QtNetwork/QtNetwork>
#include <QtTest/QtTest>
#include <QtWidgets/QtWidgets>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace kestrabel::apptest {

// The private bus, child processes, bounded waits and the fake player of the player bridge's tests.
using test::busNameRegistered;
using test::ChildProcess;
using test::fakePlayerPath;
using test::FakePlayer;
using test::privateBusRunning;
using test::spinEvents;
using test::waitUntil;

// How main() prepares the process before QApplication exists.
enum class Display {
    Offscreen,
    // An Xvfb of this test's own, with the xcb platform; tests skip without Xvfb.
    OwnX11,
    // No QApplication at all (the end-to-end test drives separate processes).
    None,
};
int runTests(int argc, char **argv, Display display);

// The DISPLAY of the test's own X server; empty when there is none.
QString ownDisplay();

// An Xvfb on a display number picked at random away from the usual low ones, so that parallel
// tests (and servers other tests left behind) never share one; null when none would start.
std::unique_ptr<ChildProcess> startXvfb(QString *display);

// A copy of a sample-album track ("01 Hovering.mp3") in folder.
QString copyDemoTrack(const QString &name, const QString &folder, const QString &as = {});

// Reads one text value of a file with the tag library (classic rules unless flags say otherwise);
// null when it has none.
QString fileTag(const QString &path, int dataID, uint32_t flags = 0);

// Empties the application's settings and registers the defaults again.
void resetSettings();

} // namespace kestrabel::apptest
