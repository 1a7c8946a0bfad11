// Images looked up by name ("play_button", "missingArt"...), drawn from our own SVG resources at
// the size asked for.
#pragma once

#include <QIcon>
#include <QPixmap>
#include <QSize>
#include <QString>

namespace kestrabel::app {

// A null pixmap when there is no image of that name.
QPixmap imageNamed(const QString &name, QSize size);
QIcon iconNamed(const QString &name);

} // namespace kestrabel::app
