#include "SingleInstance.h"

#include "ControlWindowController.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

namespace kestrabel::app {

namespace {

constexpr int kCallTimeoutMs = 5000;

} // namespace

void ApplicationBusInterface::Toggle()
{
    if (controller_)
        controller_->toggleWindowVisibility();
}

bool ApplicationBusInterface::IsWindowVisible()
{
    return controller_ && controller_->isWindowVisible();
}

QStringList ApplicationBusInterface::ShownTrack()
{
    return controller_ ? controller_->shownTrack() : QStringList();
}

QString ApplicationBusInterface::ShownPlayer()
{
    return controller_ ? controller_->displayedPlayer() : QString();
}

InstanceClaim claimSingleInstance(ApplicationBusInterface *interface)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return InstanceClaim::NoBus;
    if (!bus.registerObject(QLatin1String(kApplicationPath), interface, QDBusConnection::ExportScriptableSlots))
        return InstanceClaim::NoBus;
    const auto reply = bus.interface()->registerService(QLatin1String(kApplicationService),
                                                        QDBusConnectionInterface::DontQueueService,
                                                        QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered)
        return InstanceClaim::Claimed;
    bus.unregisterObject(QLatin1String(kApplicationPath));
    return reply.isValid() ? InstanceClaim::Taken : InstanceClaim::NoBus;
}

bool sendToggleToRunningInstance()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    const QDBusMessage call =
        QDBusMessage::createMethodCall(QLatin1String(kApplicationService), QLatin1String(kApplicationPath),
                                       QLatin1String(kApplicationInterface), QStringLiteral("Toggle"));
    return bus.call(call, QDBus::Block, kCallTimeoutMs).type() == QDBusMessage::ReplyMessage;
}

} // namespace kestrabel::app
