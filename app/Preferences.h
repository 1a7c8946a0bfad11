// Preference keys, their registered defaults, the user-defaults conveniences over QSettings and
// the application-wide notifier through which the preferences panel tells the control window.
#pragma once

#include <QDateTime>
#include <QObject>
#include <QSettings>
#include <QString>
#include <QVariant>

#include <memory>

namespace kestrabel::app {

inline constexpr char kWindowShowStyle[] = "kWindowShowStyle";
inline constexpr char kSecondsToShowWindow[] = "kSecondsToShowWindow";
inline constexpr char kShowWindowKeyCode[] = "kShowWindowKeyCode";
inline constexpr char kShowWindowKeyModifierKeyCode1[] = "kShowWindowKeyModifierKeyCode1";
inline constexpr char kShowWindowKeyModifierKeyCode2[] = "kShowWindowKeyModifierKeyCode2";
inline constexpr char kDontCheckForUpdatesKey[] = "kDontCheckForUpdatesKey";
inline constexpr char kLastUpdateCheckTimeKey[] = "kLastUpdateCheckTimeKey";
// Where the update check asks for the newest version; no location, no request.
inline constexpr char kVersionCheckLocationKey[] = "kVersionCheckLocationKey";
// The player to prefer when several run ("mpv", "vlc"); empty for any.
inline constexpr char kPreferredPlayerKey[] = "kPreferredPlayerKey";
// A desktop notification (org.freedesktop.Notifications) when the track changes; off by default.
inline constexpr char kNotifyOnTrackChangeKey[] = "kNotifyOnTrackChangeKey";

inline constexpr char kNotification_ShowWindowKeyModifiersChangedKey[] = "kNotification_ShowWindowKeyModifiersChangedKey";
inline constexpr char kNotification_WindowShowParametersChangedKey[] = "kNotification_WindowShowParametersChangedKey";

// Registers the defaults of every preference key. They answer reads while nothing is stored under
// the key and are never written to the settings file.
void registerPreferenceDefaults();

// The standard user defaults: organisation "Kestrabel", application "Kestrabel".
class UserDefaults {
public:
    static std::unique_ptr<QSettings> standardUserDefaults();

    static void registerDefaults(const QVariantMap &defaults);

    // A stored value, else the registered default, else an invalid QVariant.
    static QVariant objectForKey(const QString &key);
    static QString stringForKey(const QString &key);
    static QVariantList arrayForKey(const QString &key);
    static QVariantMap dictionaryForKey(const QString &key);
    static QByteArray dataForKey(const QString &key);
    static int integerForKey(const QString &key);
    static float floatForKey(const QString &key);
    static bool boolForKey(const QString &key);
    static QDateTime dateForKey(const QString &key);

    // The default only when nothing is stored (or registered) under the key.
    static QVariant objectForKey(const QString &key, const QVariant &defaultValue);
    static QString stringForKey(const QString &key, const QString &defaultValue);
    static QVariantList arrayForKey(const QString &key, const QVariantList &defaultValue);
    static QVariantMap dictionaryForKey(const QString &key, const QVariantMap &defaultValue);
    static QByteArray dataForKey(const QString &key, const QByteArray &defaultValue);
    static int integerForKey(const QString &key, int defaultValue);
    static float floatForKey(const QString &key, float defaultValue);
    static bool boolForKey(const QString &key, bool defaultValue);
    static QDateTime dateForKey(const QString &key, const QDateTime &defaultValue);

    static void setObject(const QVariant &value, const QString &key);
    static void setInteger(int value, const QString &key);
    static void setFloat(float value, const QString &key);
    static void setBool(bool value, const QString &key);
    static void removeObjectForKey(const QString &key);
    static void synchronize();

    // What a stored value means as a number or a flag. The settings file keeps everything as text,
    // so "8.7" must read back as the integer 8 and "true" as a flag.
    static int intValue(const QVariant &value);
    static float floatValue(const QVariant &value);
    static bool boolValue(const QVariant &value);
};

// One per process. The signals carry the notifications' own names.
class PreferenceNotifier : public QObject {
    Q_OBJECT
public:
    static PreferenceNotifier &defaultCenter();

    // Emits the signal of that name; unknown names are ignored.
    void postNotificationName(const QString &name);

signals:
    void kNotification_ShowWindowKeyModifiersChangedKey();
    void kNotification_WindowShowParametersChangedKey();
    // Not a preference: the hot key's state changed later than its installation (the desktop's
    // portal answered).
    void hotKeyStatusChanged();

private:
    PreferenceNotifier() = default;
};

} // namespace kestrabel::app
