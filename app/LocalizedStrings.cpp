#include "LocalizedStrings.h"

#include <QCoreApplication>

#include <array>
#include <cstring>
#include <utility>

namespace kestrabel::app {

namespace {

constexpr std::array<std::pair<const char *, const char *>, 5> kStrings{{
    {"kNewVersionAvailableKey", QT_TRANSLATE_NOOP("LocalizedStrings", "Kestrabel %1 is available")},
    {"kDownloadButtonTitle", QT_TRANSLATE_NOOP("LocalizedStrings", "Download")},
    {"kMoreInformationButtonTitle", QT_TRANSLATE_NOOP("LocalizedStrings", "More Information")},
    {"kCancelKey", QT_TRANSLATE_NOOP("LocalizedStrings", "Cancel")},
    // No update location is built in; the settings may name one.
    {"kVersionCheckLocationKey", ""},
}};

} // namespace

QString localizedString(const char *key)
{
    for (const auto &[name, text] : kStrings) {
        if (std::strcmp(name, key) == 0)
            return QCoreApplication::translate("LocalizedStrings", text);
    }
    return QString::fromLatin1(key);
}

} // namespace kestrabel::app
