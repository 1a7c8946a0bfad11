#include "ShortcutPortal.h"

#include "HotKeyMapping.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QStringList>

#include <array>

namespace kestrabel::app::portal {

// One entry of BindShortcuts' a(sa{sv}).
struct Shortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument &operator<<(QDBusArgument &argument, const Shortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Shortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

} // namespace kestrabel::app::portal

Q_DECLARE_METATYPE(kestrabel::app::portal::Shortcut)

namespace kestrabel::app {

namespace {

constexpr char kPortalService[] = "org.freedesktop.portal.Desktop";
constexpr char kPortalPath[] = "/org/freedesktop/portal/desktop";
constexpr char kShortcutsInterface[] = "org.freedesktop.portal.GlobalShortcuts";
constexpr char kRequestInterface[] = "org.freedesktop.portal.Request";
constexpr char kSessionInterface[] = "org.freedesktop.portal.Session";
constexpr char kPropertiesInterface[] = "org.freedesktop.DBus.Properties";
// Only the first answer of a missing or wedged portal is awaited this long; the user's answer to
// the desktop's dialog may take as long as it takes.
constexpr int kPortalCallTimeoutMs = 5000;

struct TriggerModifier {
    int bit;
    const char *name;
};

constexpr std::array kTriggerModifiers{
    TriggerModifier{kControlKeyBit, "CTRL"},
    TriggerModifier{kOptionKeyBit, "ALT"},
    TriggerModifier{kShiftKeyBit, "SHIFT"},
    TriggerModifier{kCommandKeyBit, "LOGO"},
};

// Keys whose keysym name differs from the name the preferences show; single letters are the
// lower-case keysyms.
struct TriggerKey {
    const char *shown;
    const char *keysym;
};

constexpr std::array kTriggerKeys{
    TriggerKey{"Space", "space"},
    TriggerKey{"Backspace", "BackSpace"},
    TriggerKey{"Page Up", "Page_Up"},
    TriggerKey{"Page Down", "Page_Down"},
};

QString stringOf(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    return value.toString();
}

QVariantMap mapOf(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QDBusArgument>())
        return qdbus_cast<QVariantMap>(value.value<QDBusArgument>());
    return value.toMap();
}

} // namespace

ShortcutPortal::ShortcutPortal(const QDBusConnection &bus, const QString &preferredTrigger, QObject *parent)
    : QObject(parent), bus_(bus), preferredTrigger_(preferredTrigger)
{
    qDBusRegisterMetaType<portal::Shortcut>();
    qDBusRegisterMetaType<QList<portal::Shortcut>>();
}

ShortcutPortal::~ShortcutPortal()
{
    if (!pendingRequest_.isEmpty()) {
        bus_.disconnect(QLatin1String(kPortalService), pendingRequest_, QLatin1String(kRequestInterface),
                        QStringLiteral("Response"), this, SLOT(sessionCreated(QDBusMessage)));
        bus_.disconnect(QLatin1String(kPortalService), pendingRequest_, QLatin1String(kRequestInterface),
                        QStringLiteral("Response"), this, SLOT(shortcutsBound(QDBusMessage)));
    }
    if (session_.isEmpty())
        return;
    bus_.disconnect(QLatin1String(kPortalService), QLatin1String(kPortalPath), QLatin1String(kShortcutsInterface),
                    QStringLiteral("Activated"), this, SLOT(shortcutActivated(QDBusMessage)));
    // Closing the session releases the binding; nobody waits for the answer.
    bus_.send(QDBusMessage::createMethodCall(QLatin1String(kPortalService), session_, QLatin1String(kSessionInterface),
                                             QStringLiteral("Close")));
}

QString ShortcutPortal::triggerFor(int keyCode, uint32_t modifierMask)
{
    const HotKeyKey *key = hotKeyKeyForCode(keyCode);
    if (!key)
        return {};
    QStringList parts;
    for (const TriggerModifier &modifier : kTriggerModifiers) {
        if (modifierMask & (1u << modifier.bit))
            parts << QString::fromLatin1(modifier.name);
    }
    QString keysym = QString::fromLatin1(key->name);
    for (const TriggerKey &named : kTriggerKeys) {
        if (keysym == QLatin1String(named.shown))
            keysym = QString::fromLatin1(named.keysym);
    }
    if (keysym.size() == 1)
        keysym = keysym.toLower();
    parts << keysym;
    return parts.join(QLatin1Char('+'));
}

void ShortcutPortal::start()
{
    // The version property says whether the desktop's portal has the interface at all, before a
    // session is asked for.
    QDBusMessage call = QDBusMessage::createMethodCall(QLatin1String(kPortalService), QLatin1String(kPortalPath),
                                                       QLatin1String(kPropertiesInterface), QStringLiteral("Get"));
    call << QLatin1String(kShortcutsInterface) << QStringLiteral("version");
    auto *watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call, kPortalCallTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        if (watcher->isError()) {
            finish(State::Absent);
            return;
        }
        request(QStringLiteral("CreateSession"), {}, {{QStringLiteral("session_handle_token"), QStringLiteral("kestrabel")}},
                SLOT(sessionCreated(QDBusMessage)));
    });
}

void ShortcutPortal::request(const QString &method, const QList<QVariant> &arguments, QVariantMap options,
                             const char *slot)
{
    // The response may come before the call's own reply, so the request object's path is worked
    // out and watched before the call goes out.
    const QString token = QStringLiteral("kestrabel%1").arg(++requests_);
    QString sender = bus_.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    pendingRequest_ = QStringLiteral("%1/request/%2/%3").arg(QLatin1String(kPortalPath), sender, token);
    bus_.connect(QLatin1String(kPortalService), pendingRequest_, QLatin1String(kRequestInterface),
                 QStringLiteral("Response"), this, slot);
    options.insert(QStringLiteral("handle_token"), token);

    QDBusMessage call = QDBusMessage::createMethodCall(QLatin1String(kPortalService), QLatin1String(kPortalPath),
                                                       QLatin1String(kShortcutsInterface), method);
    call.setArguments(QList<QVariant>(arguments) << options);
    auto *watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call, kPortalCallTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, slot] {
        watcher->deleteLater();
        if (!watcher->isError())
            return;
        takeResponse(QDBusMessage(), slot);
        finish(State::Absent);
    });
}

std::optional<QVariantMap> ShortcutPortal::takeResponse(const QDBusMessage &response, const char *slot)
{
    bus_.disconnect(QLatin1String(kPortalService), pendingRequest_, QLatin1String(kRequestInterface),
                    QStringLiteral("Response"), this, slot);
    pendingRequest_.clear();
    const QList<QVariant> arguments = response.arguments();
    if (arguments.size() < 2 || arguments.at(0).toUInt() != 0)
        return std::nullopt;
    return mapOf(arguments.at(1));
}

void ShortcutPortal::sessionCreated(const QDBusMessage &response)
{
    const auto results = takeResponse(response, SLOT(sessionCreated(QDBusMessage)));
    session_ = results ? stringOf(results->value(QStringLiteral("session_handle"))) : QString();
    if (session_.isEmpty()) {
        finish(State::Refused);
        return;
    }
    bus_.connect(QLatin1String(kPortalService), QLatin1String(kPortalPath), QLatin1String(kShortcutsInterface),
                 QStringLiteral("Activated"), this, SLOT(shortcutActivated(QDBusMessage)));
    QVariantMap properties{{QStringLiteral("description"),
                            QCoreApplication::translate("ShortcutPortal", "Show or hide the Kestrabel window")}};
    if (!preferredTrigger_.isEmpty())
        properties.insert(QStringLiteral("preferred_trigger"), preferredTrigger_);
    const QList<portal::Shortcut> shortcuts{{QLatin1String(kShortcutId), properties}};
    request(QStringLiteral("BindShortcuts"),
            {QVariant::fromValue(QDBusObjectPath(session_)), QVariant::fromValue(shortcuts), QString()}, {},
            SLOT(shortcutsBound(QDBusMessage)));
}

void ShortcutPortal::shortcutsBound(const QDBusMessage &response)
{
    const auto results = takeResponse(response, SLOT(shortcutsBound(QDBusMessage)));
    if (!results) {
        finish(State::Refused);
        return;
    }
    // A desktop that lets the user leave a shortcut out answers with the ones it bound.
    const QVariant bound = results->value(QStringLiteral("shortcuts"));
    if (bound.metaType() == QMetaType::fromType<QDBusArgument>()) {
        bool ours = false;
        for (const portal::Shortcut &shortcut : qdbus_cast<QList<portal::Shortcut>>(bound.value<QDBusArgument>()))
            ours |= shortcut.id == QLatin1String(kShortcutId);
        if (!ours) {
            finish(State::Refused);
            return;
        }
    }
    finish(State::Bound);
}

void ShortcutPortal::shortcutActivated(const QDBusMessage &signal)
{
    const QList<QVariant> arguments = signal.arguments();
    if (state_ == State::Bound && arguments.size() >= 2 && stringOf(arguments.at(0)) == session_
        && arguments.at(1).toString() == QLatin1String(kShortcutId))
        emit activated();
}

void ShortcutPortal::finish(State state)
{
    if (state_ != State::Asking)
        return;
    state_ = state;
    emit stateChanged(state);
}

} // namespace kestrabel::app
