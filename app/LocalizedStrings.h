// The application's own texts looked up by key, as the alerts and windows name them.
#pragma once

#include <QString>

namespace kestrabel::app {

// The key itself when the table has no text for it.
QString localizedString(const char *key);

} // namespace kestrabel::app
