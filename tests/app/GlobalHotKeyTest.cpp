// The global hot key on a real X server (an Xvfb of the test's own), pressed with xdotool: the
// grab, its Num Lock and Caps Lock variants, a combination another program holds, the control
// window toggled by it; and the panel's window-manager hints.
#include "AppTestSupport.h"
#include "ScriptedPlayer.h"

#include "ControlWindowController.h"
#include "CustomWindow.h"
#include "DesktopHints.h"
#include "GlobalHotKey.h"
#include "HotKeyMapping.h"
#include "Preferences.h"

#include <xcb/xcb.h>

using namespace kestrabel;
using namespace kestrabel::app;

namespace {

bool xdotool(const QStringList &arguments)
{
    return QProcess::execute(QStringLiteral("xdotool"), arguments) == 0;
}

class X11HotKey : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (apptest::ownDisplay().isEmpty() || QGuiApplication::platformName() != QLatin1String("xcb"))
            GTEST_SKIP() << "no Xvfb";
        if (QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty())
            GTEST_SKIP() << "no xdotool";
        apptest::resetSettings();
    }
};

// Row: keys pressed (a lock key toggled around them) → presses of Super+Escape that arrive. The X
// server delivers in order: once the grabbed press sent after them arrives, the others were seen.
TEST_F(X11HotKey, GrabbedCombinationArrivesWhateverTheLocksAndOthersDoNot)
{
    GlobalHotKey::Status status{};
    auto hotKey = GlobalHotKey::registerHotKey(kEscapeKeyCode, hotKeyModifierMask(kCommandKeyBit, 0), &status);
    ASSERT_EQ(status, GlobalHotKey::Status::Registered);
    EXPECT_NE(hotKey->keycode(), 0);
    EXPECT_EQ(hotKey->modifiers(), 0x40);
    QSignalSpy pressed(hotKey.get(), &GlobalHotKey::pressed);
    const struct {
        const char *lock;
        QStringList keys;
        int presses;
    } rows[] = {
        {nullptr, {"super+Escape"}, 1},
        {nullptr, {"ctrl+Escape", "Escape", "super+F1", "super+shift+Escape"}, 0},
        {"Num_Lock", {"super+Escape"}, 1},
        {"Caps_Lock", {"super+Escape", "super+Escape"}, 2},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.keys.join(QLatin1Char(' ')).toStdString());
        const int expected = int(pressed.count()) + row.presses + 1;
        QStringList keys = row.keys;
        if (row.lock)
            keys = QStringList{QLatin1String(row.lock)} + keys + QStringList{QLatin1String(row.lock)};
        ASSERT_TRUE(xdotool(QStringList{QStringLiteral("key")} + keys + QStringList{QStringLiteral("super+Escape")}));
        ASSERT_TRUE(apptest::waitUntil([&] { return pressed.count() >= expected; }, 5000)) << pressed.count();
        apptest::spinEvents(100);
        EXPECT_EQ(pressed.count(), expected);
    }
}

TEST_F(X11HotKey, CombinationHeldByAnotherProgramIsReported)
{
    xcb_connection_t *other = xcb_connect(apptest::ownDisplay().toLocal8Bit().constData(), nullptr);
    ASSERT_FALSE(xcb_connection_has_error(other));
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(other)).data;

    GlobalHotKey::Status status{};
    const uint32_t mask = hotKeyModifierMask(kOptionKeyBit, 0);
    auto probe = GlobalHotKey::registerHotKey(96, mask, &status);
    ASSERT_EQ(status, GlobalHotKey::Status::Registered);
    const uint8_t keycode = probe->keycode();
    probe.reset();

    xcb_generic_error_t *error = xcb_request_check(
        other, xcb_grab_key_checked(other, 1, screen->root, XCB_MOD_MASK_1, keycode, XCB_GRAB_MODE_ASYNC,
                                    XCB_GRAB_MODE_ASYNC));
    ASSERT_EQ(error, nullptr) << "our released grab must leave the key free";

    auto taken = GlobalHotKey::registerHotKey(96, mask, &status);
    EXPECT_EQ(taken, nullptr);
    EXPECT_EQ(status, GlobalHotKey::Status::AlreadyTaken);
    EXPECT_TRUE(GlobalHotKey::statusMessage(status, 96, mask).contains(QStringLiteral("Alt+F5")));
    xcb_disconnect(other);

    // The server lets go of a gone client's grabs in its own time.
    std::unique_ptr<GlobalHotKey> free;
    EXPECT_TRUE(apptest::waitUntil([&] {
        free = GlobalHotKey::registerHotKey(96, mask, &status);
        return status == GlobalHotKey::Status::Registered;
    }, 5000));
}

TEST_F(X11HotKey, HotKeyTogglesTheControlWindow)
{
    apptest::ScriptedPlayer player;
    UserDefaults::setInteger(0, kWindowShowStyle);
    ControlWindowController controller(player);
    controller.showWindow();
    ASSERT_EQ(controller.hotKeyStatus(), GlobalHotKey::Status::Registered);
    ASSERT_TRUE(apptest::waitUntil([&] { return controller.moveInEffect() == nullptr; }, 5000));
    ASSERT_TRUE(controller.isWindowVisible());

    ASSERT_TRUE(xdotool({QStringLiteral("key"), QStringLiteral("super+Escape")}));
    ASSERT_TRUE(apptest::waitUntil([&] { return !controller.window()->isVisible(); }, 5000));
    ASSERT_TRUE(xdotool({QStringLiteral("key"), QStringLiteral("super+Escape")}));
    EXPECT_TRUE(apptest::waitUntil([&] { return controller.isWindowVisible(); }, 5000));

    // A new combination from the preferences replaces the old grab.
    UserDefaults::setInteger(99, kShowWindowKeyCode);
    UserDefaults::setInteger(kControlKeyBit, kShowWindowKeyModifierKeyCode1);
    PreferenceNotifier::defaultCenter().postNotificationName(kNotification_ShowWindowKeyModifiersChangedKey);
    ASSERT_EQ(controller.hotKeyStatus(), GlobalHotKey::Status::Registered);
    ASSERT_TRUE(apptest::waitUntil([&] { return controller.moveInEffect() == nullptr; }, 5000));
    ASSERT_TRUE(xdotool({QStringLiteral("key"), QStringLiteral("super+Escape"), QStringLiteral("ctrl+F3")}));
    EXPECT_TRUE(apptest::waitUntil([&] { return !controller.window()->isVisible(); }, 5000));
}

// The panel asks the window manager for every workspace and no taskbar or pager; the test's X
// server has no compositor, so the panel is painted opaque.
TEST_F(X11HotKey, PanelIsOnEveryWorkspaceOutOfTaskbarsAndOpaqueWithoutCompositor)
{
    xcb_connection_t *connection = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
    const auto atom = [&](const char *name) {
        xcb_intern_atom_reply_t *reply =
            xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, uint16_t(strlen(name)), name), nullptr);
        const xcb_atom_t value = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
        free(reply);
        return value;
    };
    CustomWindow window;
    window.resize(200, 100);
    window.show();
    apptest::spinEvents(300);
    const auto property = [&](const char *name) {
        std::vector<uint32_t> values;
        xcb_get_property_reply_t *reply = xcb_get_property_reply(
            connection,
            xcb_get_property(connection, 0, xcb_window_t(window.winId()), atom(name), XCB_GET_PROPERTY_TYPE_ANY, 0, 64),
            nullptr);
        if (reply) {
            const auto *data = static_cast<const uint32_t *>(xcb_get_property_value(reply));
            values.assign(data, data + xcb_get_property_value_length(reply) / 4);
        }
        free(reply);
        return values;
    };
    const std::vector<uint32_t> states = property("_NET_WM_STATE");
    for (const char *wanted : kPanelWindowStates)
        EXPECT_NE(std::find(states.begin(), states.end(), atom(wanted)), states.end()) << wanted;
    EXPECT_EQ(property("_NET_WM_DESKTOP"), std::vector<uint32_t>{0xFFFFFFFFu});
    EXPECT_TRUE(window.isOpaquePanel());
    // On a Wayland session an X11 grab would only see keys meant for X11 windows: no grab, and the
    // preferences say how to get a hot key instead.
    const test::ScopedEnv wayland("WAYLAND_DISPLAY", "wayland-0");
    GlobalHotKey::Status status = GlobalHotKey::Status::Registered;
    EXPECT_EQ(GlobalHotKey::registerHotKey(53, hotKeyModifierMask(8, 0), &status), nullptr);
    EXPECT_EQ(status, GlobalHotKey::Status::Unavailable);
    EXPECT_TRUE(GlobalHotKey::statusMessage(status, 53, 0).contains(QLatin1String("kestrabel --toggle")));
}

} // namespace
