// A key combination grabbed on the X11 root window, so that it reaches us whatever window has the
// focus. Where no grab is possible (Wayland, no display) registration says so and the user binds
// the desktop's own shortcut to `kestrabel --toggle` instead.
#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

namespace kestrabel::app {

class GlobalHotKey : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT
public:
    enum class Status {
        // No key code: no hot key wanted.
        NotSet,
        Registered,
        // The key code has no keysym in our table, or the keyboard has no key for it.
        UnknownKey,
        // Another program holds a grab on the same combination.
        AlreadyTaken,
        // Not on X11 and no desktop portal for shortcuts: nothing can be grabbed.
        Unavailable,
        // On Wayland: the desktop's shortcuts portal has been asked and not answered yet.
        Asking,
        // On Wayland: the desktop's shortcuts portal holds the hot key.
        ThroughDesktop,
        // On Wayland: the portal is there but the shortcut was declined.
        Refused,
    };

    // The combination is grabbed also with Caps Lock and Num Lock on, since they count as
    // modifiers on X11. Null with the reason in *status when nothing was grabbed.
    static std::unique_ptr<GlobalHotKey> registerHotKey(int keyCode, uint32_t modifierMask, Status *status);
    static bool isAvailable();
    // A Wayland session, where an X11 grab would only see X11 windows' keys.
    static bool onWaylandSession();
    static QString statusMessage(Status status, int keyCode, uint32_t modifierMask);

    ~GlobalHotKey() override;

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

    uint8_t keycode() const { return keycode_; }
    uint16_t modifiers() const { return modifiers_; }

signals:
    void pressed();

private:
    GlobalHotKey() = default;
    void ungrabAll();

    void *connection_ = nullptr;
    std::vector<uint32_t> roots_;
    uint8_t keycode_ = 0;
    uint16_t modifiers_ = 0;
    uint16_t ignoredModifiers_ = 0;
    std::vector<uint16_t> grabbedVariants_;
};

} // namespace kestrabel::app
