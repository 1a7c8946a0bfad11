// The hot key on a Wayland session, where no program may grab keys: the desktop's global-shortcuts
// portal binds it (the desktop may ask the user to confirm or change the combination) and tells us
// when it fires. Every call is asynchronous; the window never waits for the portal.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>

#include <cstdint>
#include <optional>

namespace kestrabel::app {

class ShortcutPortal : public QObject {
    Q_OBJECT
public:
    enum class State {
        Asking,
        Bound,
        // No portal on the bus, or one without the global-shortcuts interface.
        Absent,
        // The portal answered, but the user or the desktop declined the shortcut.
        Refused,
    };

    // The id under which the window's toggle is bound; the desktop's settings show the description.
    static constexpr char kShortcutId[] = "toggle-window";

    ShortcutPortal(const QDBusConnection &bus, const QString &preferredTrigger, QObject *parent = nullptr);
    ~ShortcutPortal() override;

    void start();
    State state() const { return state_; }

    // The combination in the shortcuts notation the portal takes ("LOGO+Escape"); empty for a key
    // code we do not know.
    static QString triggerFor(int keyCode, uint32_t modifierMask);

signals:
    void stateChanged(kestrabel::app::ShortcutPortal::State state);
    void activated();

private slots:
    void sessionCreated(const QDBusMessage &response);
    void shortcutsBound(const QDBusMessage &response);
    void shortcutActivated(const QDBusMessage &signal);

private:
    // Sends a portal call whose result comes as the Response signal of a request object, to the
    // slot given; a call that fails outright ends with state Absent.
    void request(const QString &method, const QList<QVariant> &arguments, QVariantMap options, const char *slot);
    // The response's results, or nothing when the portal declined.
    std::optional<QVariantMap> takeResponse(const QDBusMessage &response, const char *slot);
    void finish(State state);

    QDBusConnection bus_;
    QString preferredTrigger_;
    QString pendingRequest_;
    int requests_ = 0;
    QString session_;
    State state_ = State::Asking;
};

} // namespace kestrabel::app
