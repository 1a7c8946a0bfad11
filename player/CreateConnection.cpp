#include "PlayerConnection.h"

#ifdef KESTRABEL_PLAYER_OSASCRIPT
#include "OsascriptRunner.h"
#include "ScriptConnection.h"
#else
#include "MprisConnection.h"
#endif

namespace kestrabel::player {

std::unique_ptr<PlayerConnection> createPlayerConnection(const QString &preferredPlayer)
{
#ifdef KESTRABEL_PLAYER_OSASCRIPT
    // One scripted player there; nothing to prefer.
    (void)preferredPlayer;
    return std::make_unique<ScriptConnection>(std::make_unique<OsascriptRunner>());
#else
    return std::make_unique<MprisConnection>(QDBusConnection::sessionBus(), preferredPlayer);
#endif
}

} // namespace kestrabel::player
