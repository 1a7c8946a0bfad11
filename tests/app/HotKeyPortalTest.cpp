// Where the hot key comes from: the desktop's global-shortcuts portal on a Wayland session (a fake
// portal on the test's private bus plays the desktop), nothing at all without X11; and what the
// preferences then tell the user.
#include "AppTestSupport.h"
#include "ScriptedPlayer.h"

#include "ControlWindowController.h"
#include "HotKeyMapping.h"
#include "Preferences.h"
#include "ShortcutPortal.h"

using namespace kestrabel;
using namespace kestrabel::app;

namespace {

constexpr char kPortalService[] = "org.freedesktop.portal.Desktop";
constexpr char kPortalPath[] = "/org/freedesktop/portal/desktop";
constexpr char kShortcuts[] = "org.freedesktop.portal.GlobalShortcuts";
constexpr char kSession[] = "/org/freedesktop/portal/desktop/session/1_1/kestrabel";

enum class Portal { Absent, WithoutShortcuts, Refuses, Grants };

// The desktop's side of the portal, on a bus connection of its own: it answers every request at
// once and records what the application asked to bind.
class FakePortal : public QDBusVirtualObject {
public:
    explicit FakePortal(Portal mode)
        : mode_(mode), bus_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake-portal")))
    {
        if (mode == Portal::Absent)
            return;
        bus_.registerVirtualObject(QLatin1String(kPortalPath), this, QDBusConnection::SubPath);
        bus_.registerService(QLatin1String(kPortalService));
    }
    ~FakePortal() override
    {
        bus_.unregisterService(QLatin1String(kPortalService));
        bus_.unregisterObject(QLatin1String(kPortalPath), QDBusConnection::UnregisterTree);
        QDBusConnection::disconnectFromBus(QStringLiteral("fake-portal"));
    }

    QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        const QList<QVariant> arguments = message.arguments();
        if (message.member() == QLatin1String("Get")) {
            connection.send(mode_ == Portal::WithoutShortcuts || arguments.value(0).toString() != QLatin1String(kShortcuts)
                                ? message.createErrorReply(QDBusError::UnknownInterface, QStringLiteral("no such interface"))
                                : message.createReply(QVariant::fromValue(QDBusVariant(1u))));
            return true;
        }
        if (message.member() == QLatin1String("Close")) {
            closed = true;
            return true;
        }
        if (message.interface() != QLatin1String(kShortcuts))
            return false;
        const QVariantMap options = qdbus_cast<QVariantMap>(arguments.constLast().value<QDBusArgument>());
        QString sender = message.service().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        const QString request = QStringLiteral("%1/request/%2/%3")
                                    .arg(QLatin1String(kPortalPath), sender, options.value("handle_token").toString());
        connection.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
        uint response = 0;
        QVariantMap results;
        if (message.member() == QLatin1String("CreateSession")) {
            results.insert(QStringLiteral("session_handle"), QLatin1String(kSession));
        } else {
            const QDBusArgument shortcuts = arguments.value(1).value<QDBusArgument>();
            shortcuts.beginArray();
            while (!shortcuts.atEnd()) {
                QString id;
                QVariantMap properties;
                shortcuts.beginStructure();
                shortcuts >> id >> properties;
                shortcuts.endStructure();
                bound << id + QLatin1Char(' ') + properties.value("preferred_trigger").toString();
            }
            shortcuts.endArray();
            response = mode_ == Portal::Refuses ? 1 : 0;
        }
        QDBusMessage signal = QDBusMessage::createSignal(request, QStringLiteral("org.freedesktop.portal.Request"),
                                                         QStringLiteral("Response"));
        signal << response << results;
        connection.send(signal);
        return true;
    }

    void activate(const QString &session, const QString &id)
    {
        QDBusMessage signal =
            QDBusMessage::createSignal(QLatin1String(kPortalPath), QLatin1String(kShortcuts), QStringLiteral("Activated"));
        signal << QVariant::fromValue(QDBusObjectPath(session)) << id << qulonglong(1) << QVariantMap();
        bus_.send(signal);
    }

    QStringList bound;
    bool closed = false;

private:
    Portal mode_;
    QDBusConnection bus_;
};

// Row: the session, the portal and the stored key → the hot key's status and the preferences' note.
constexpr struct {
    const char *situation;
    bool wayland;
    Portal portal;
    int keyCode;
    GlobalHotKey::Status expected;
    const char *note;
} kCases[] = {
    {"no hot key wanted", true, Portal::Grants, 0, GlobalHotKey::Status::NotSet, "No hot key"},
    {"neither X11 nor Wayland", false, Portal::Grants, 53, GlobalHotKey::Status::Unavailable, "kestrabel --toggle"},
    {"Wayland without a portal", true, Portal::Absent, 53, GlobalHotKey::Status::Unavailable, "kestrabel --toggle"},
    {"portal without shortcuts", true, Portal::WithoutShortcuts, 53, GlobalHotKey::Status::Unavailable,
     "kestrabel --toggle"},
    {"portal declines", true, Portal::Refuses, 53, GlobalHotKey::Status::Refused, "kestrabel --toggle"},
    {"portal binds", true, Portal::Grants, 53, GlobalHotKey::Status::ThroughDesktop, "Shift+Control+Escape"},
};

TEST(HotKeySource, FollowsTheSessionAndTheDesktopPortal)
{
    if (!apptest::privateBusRunning())
        GTEST_SKIP() << "dbus-daemon is not available";
    for (const auto &row : kCases) {
        SCOPED_TRACE(row.situation);
        apptest::resetSettings();
        UserDefaults::setInteger(row.keyCode, kShowWindowKeyCode);
        UserDefaults::setInteger(kControlKeyBit, kShowWindowKeyModifierKeyCode1);
        UserDefaults::setInteger(kShiftKeyBit, kShowWindowKeyModifierKeyCode2);
        std::optional<test::ScopedEnv> wayland;
        if (row.wayland)
            wayland.emplace("WAYLAND_DISPLAY", "wayland-0");
        auto portal = std::make_unique<FakePortal>(row.portal);
        apptest::ScriptedPlayer player;
        auto controller = std::make_unique<ControlWindowController>(player);
        controller->showWindow();
        EXPECT_TRUE(apptest::waitUntil([&] { return controller->hotKeyStatus() == row.expected; }))
            << int(controller->hotKeyStatus());
        EXPECT_TRUE(ControlWindowController::currentHotKeyStatusMessage().contains(QLatin1String(row.note)))
            << ControlWindowController::currentHotKeyStatusMessage().toStdString();
        EXPECT_EQ(controller->hasGlobalHotKey(), row.expected == GlobalHotKey::Status::ThroughDesktop);
        if (row.expected != GlobalHotKey::Status::ThroughDesktop)
            continue;

        EXPECT_EQ(portal->bound, QStringList{QStringLiteral("toggle-window CTRL+SHIFT+Escape")});
        ASSERT_TRUE(apptest::waitUntil(
            [&] { return controller->isWindowVisible() && controller->moveInEffect() == nullptr; }));
        // Only our shortcut of our session toggles the window.
        portal->activate(QLatin1String(kSession), QStringLiteral("another"));
        portal->activate(QStringLiteral("/org/freedesktop/portal/desktop/session/1_1/other"),
                         QLatin1String(ShortcutPortal::kShortcutId));
        apptest::spinEvents(200);
        EXPECT_EQ(controller->moveOutEffect(), nullptr);
        portal->activate(QLatin1String(kSession), QLatin1String(ShortcutPortal::kShortcutId));
        EXPECT_TRUE(apptest::waitUntil([&] { return controller->moveOutEffect() != nullptr; }));
        controller.reset();
        EXPECT_TRUE(apptest::waitUntil([&] { return portal->closed; }));
    }
}

} // namespace
