#include "Commands.h"

#include <QString>
#include <QtGlobal>

#include <cstdio>

namespace kestrabel::cli {

namespace {

// Qt's image readers, and libpng through them, report what they forgive ("libpng warning: iCCP:
// known incorrect sRGB profile") on their own lines; the tool says in its own words what went
// wrong, so only what Qt cannot go on from is let through, marked as the tool's.
void filterQtMessage(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type != QtCriticalMsg && type != QtFatalMsg)
        return;
    printError("Qt: " + message.toStdString());
}

} // namespace

void installQtMessageFilter() { qInstallMessageHandler(filterQtMessage); }

} // namespace kestrabel::cli
