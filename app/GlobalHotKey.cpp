#include "GlobalHotKey.h"

#include "HotKeyMapping.h"

#include <QCoreApplication>
#include <QGuiApplication>

#include <xcb/xcb.h>

#include <cstdlib>

namespace kestrabel::app {

namespace {

constexpr uint32_t kNumLockKeysym = 0xff7f;
constexpr uint8_t kBadAccess = 10;

struct FreeDeleter {
    void operator()(void *pointer) const { std::free(pointer); }
};
template <typename T> using XcbReply = std::unique_ptr<T, FreeDeleter>;

xcb_connection_t *x11Connection()
{
    auto *application = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return application ? application->connection() : nullptr;
}

// Every keycode whose mapping holds the keysym, those in the first (unshifted) column first.
std::vector<uint8_t> keycodesForKeysym(xcb_connection_t *connection, uint32_t keysym)
{
    const xcb_setup_t *setup = xcb_get_setup(connection);
    const int first = setup->min_keycode;
    const int count = setup->max_keycode - setup->min_keycode + 1;
    XcbReply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        connection, xcb_get_keyboard_mapping(connection, setup->min_keycode, static_cast<uint8_t>(count)), nullptr));
    std::vector<uint8_t> found;
    if (!reply || reply->keysyms_per_keycode == 0)
        return found;
    const int perKeycode = reply->keysyms_per_keycode;
    const xcb_keysym_t *keysyms = xcb_get_keyboard_mapping_keysyms(reply.get());
    const int length = xcb_get_keyboard_mapping_keysyms_length(reply.get());
    const int keycodes = std::min(count, length / perKeycode);
    for (int column = 0; column < perKeycode; ++column) {
        for (int i = 0; i < keycodes; ++i) {
            if (keysyms[i * perKeycode + column] == keysym)
                found.push_back(static_cast<uint8_t>(first + i));
        }
    }
    return found;
}

uint16_t numLockMask(xcb_connection_t *connection)
{
    const std::vector<uint8_t> numLock = keycodesForKeysym(connection, kNumLockKeysym);
    if (numLock.empty())
        return 0;
    XcbReply<xcb_get_modifier_mapping_reply_t> reply(
        xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr));
    if (!reply)
        return 0;
    const int perModifier = reply->keycodes_per_modifier;
    const xcb_keycode_t *keycodes = xcb_get_modifier_mapping_keycodes(reply.get());
    const int length = xcb_get_modifier_mapping_keycodes_length(reply.get());
    for (int i = 0; i < length; ++i) {
        if (keycodes[i] != 0 && keycodes[i] == numLock.front() && perModifier > 0)
            return static_cast<uint16_t>(1u << (i / perModifier));
    }
    return 0;
}

} // namespace

bool GlobalHotKey::isAvailable()
{
    return x11Connection() != nullptr && !onWaylandSession();
}

bool GlobalHotKey::onWaylandSession()
{
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
           || qEnvironmentVariable("XDG_SESSION_TYPE").compare(QLatin1String("wayland"), Qt::CaseInsensitive) == 0;
}

std::unique_ptr<GlobalHotKey> GlobalHotKey::registerHotKey(int keyCode, uint32_t modifierMask, Status *status)
{
    auto report = [status](Status value) {
        if (status)
            *status = value;
    };
    xcb_connection_t *connection = x11Connection();
    // Under XWayland a grab "succeeds" but fires only while an X11 window has the focus.
    if (!connection || onWaylandSession()) {
        report(Status::Unavailable);
        return nullptr;
    }
    const HotKeyKey *key = hotKeyKeyForCode(keyCode);
    const std::vector<uint8_t> keycodes = key ? keycodesForKeysym(connection, key->keysym) : std::vector<uint8_t>{};
    if (keycodes.empty()) {
        report(Status::UnknownKey);
        return nullptr;
    }

    std::unique_ptr<GlobalHotKey> hotKey(new GlobalHotKey);
    hotKey->connection_ = connection;
    hotKey->keycode_ = keycodes.front();
    hotKey->modifiers_ = x11ModifiersForMask(modifierMask);
    const uint16_t numLock = numLockMask(connection);
    hotKey->ignoredModifiers_ = static_cast<uint16_t>(XCB_MOD_MASK_LOCK | numLock);
    hotKey->grabbedVariants_ = {0, XCB_MOD_MASK_LOCK};
    if (numLock != 0) {
        hotKey->grabbedVariants_.push_back(numLock);
        hotKey->grabbedVariants_.push_back(static_cast<uint16_t>(numLock | XCB_MOD_MASK_LOCK));
    }

    for (xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection)); it.rem; xcb_screen_next(&it))
        hotKey->roots_.push_back(it.data->root);

    bool taken = false;
    std::vector<xcb_void_cookie_t> cookies;
    for (const uint32_t root : hotKey->roots_) {
        for (const uint16_t variant : hotKey->grabbedVariants_) {
            cookies.push_back(xcb_grab_key_checked(connection, 1, root,
                                                   static_cast<uint16_t>(hotKey->modifiers_ | variant),
                                                   hotKey->keycode_, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        }
    }
    for (const xcb_void_cookie_t cookie : cookies) {
        XcbReply<xcb_generic_error_t> error(xcb_request_check(connection, cookie));
        if (error && error->error_code == kBadAccess)
            taken = true;
    }
    if (taken) {
        hotKey->ungrabAll();
        report(Status::AlreadyTaken);
        return nullptr;
    }
    QCoreApplication::instance()->installNativeEventFilter(hotKey.get());
    report(Status::Registered);
    return hotKey;
}

GlobalHotKey::~GlobalHotKey()
{
    if (QCoreApplication::instance())
        QCoreApplication::instance()->removeNativeEventFilter(this);
    ungrabAll();
}

void GlobalHotKey::ungrabAll()
{
    auto *connection = static_cast<xcb_connection_t *>(connection_);
    if (!connection || !x11Connection())
        return;
    for (const uint32_t root : roots_) {
        for (const uint16_t variant : grabbedVariants_)
            xcb_ungrab_key(connection, keycode_, root, static_cast<uint16_t>(modifiers_ | variant));
    }
    // A round trip, so that the keys are free for whoever asks next, a new grab of ours included.
    XcbReply<xcb_get_input_focus_reply_t>(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    roots_.clear();
}

bool GlobalHotKey::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (eventType != "xcb_generic_event_t" || !message)
        return false;
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    if ((event->response_type & ~0x80) != XCB_KEY_PRESS)
        return false;
    const auto *press = static_cast<const xcb_key_press_event_t *>(message);
    const uint16_t state = static_cast<uint16_t>(press->state & 0xff & ~ignoredModifiers_);
    if (press->detail != keycode_ || state != modifiers_)
        return false;
    emit this->pressed();
    return true;
}

QString GlobalHotKey::statusMessage(Status status, int keyCode, uint32_t modifierMask)
{
    const QString combination = hotKeyDescription(keyCode, modifierMask);
    switch (status) {
    case Status::NotSet:
        return QCoreApplication::translate("GlobalHotKey", "No hot key is set.");
    case Status::Registered:
        return QCoreApplication::translate("GlobalHotKey", "%1 shows and hides the window.").arg(combination);
    case Status::UnknownKey:
        return QCoreApplication::translate("GlobalHotKey", "This keyboard has no key for %1.").arg(combination);
    case Status::AlreadyTaken:
        return QCoreApplication::translate("GlobalHotKey",
                                           "%1 is already taken by another program; choose another combination.")
            .arg(combination);
    case Status::Unavailable:
        return QCoreApplication::translate(
            "GlobalHotKey",
            "This desktop (Wayland without a shortcuts portal, or no X11 display) does not let programs take a "
            "global hot key: the hot key needs a shortcut of your desktop bound to the command "
            "\"kestrabel --toggle\".");
    case Status::Asking:
        return QCoreApplication::translate("GlobalHotKey", "Asking the desktop to take %1 as the hot key.")
            .arg(combination);
    case Status::ThroughDesktop:
        return QCoreApplication::translate(
                   "GlobalHotKey", "The desktop holds the hot key (%1 was asked for; the desktop's shortcut "
                                   "settings can change it).")
            .arg(combination);
    case Status::Refused:
        return QCoreApplication::translate(
            "GlobalHotKey",
            "The desktop declined the hot key: the hot key needs a shortcut of your desktop bound to the "
            "command \"kestrabel --toggle\".");
    }
    return {};
}

} // namespace kestrabel::app
