#include "Preferences.h"

#include <cmath>

namespace kestrabel::app {

namespace {

QVariantMap &registeredDefaults()
{
    static QVariantMap defaults;
    return defaults;
}

} // namespace

void registerPreferenceDefaults()
{
    UserDefaults::registerDefaults({
        {kWindowShowStyle, 1},
        {kSecondsToShowWindow, 8.0f},
        {kShowWindowKeyCode, 53},
        {kShowWindowKeyModifierKeyCode1, 8},
        {kShowWindowKeyModifierKeyCode2, 0},
        {kDontCheckForUpdatesKey, false},
        {kPreferredPlayerKey, QString()},
        {kNotifyOnTrackChangeKey, false},
    });
}

std::unique_ptr<QSettings> UserDefaults::standardUserDefaults()
{
    return std::make_unique<QSettings>(QStringLiteral("Kestrabel"), QStringLiteral("Kestrabel"));
}

void UserDefaults::registerDefaults(const QVariantMap &defaults)
{
    for (auto it = defaults.begin(); it != defaults.end(); ++it)
        registeredDefaults().insert(it.key(), it.value());
}

QVariant UserDefaults::objectForKey(const QString &key)
{
    const QVariant stored = standardUserDefaults()->value(key);
    if (stored.isValid())
        return stored;
    return registeredDefaults().value(key);
}

QVariant UserDefaults::objectForKey(const QString &key, const QVariant &defaultValue)
{
    const QVariant value = objectForKey(key);
    return value.isValid() ? value : defaultValue;
}

int UserDefaults::intValue(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? 1 : 0;
    bool ok = false;
    // A fraction reads as its whole part, never rounded up.
    const bool fraction = value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float;
    if (!fraction) {
        const int whole = value.toInt(&ok);
        if (ok)
            return whole;
    }
    const double real = value.toDouble(&ok);
    if (ok && std::isfinite(real) && real > -2147483648.0 && real < 2147483648.0)
        return static_cast<int>(real);
    const QString text = value.toString().trimmed().toLower();
    return text == QLatin1String("true") ? 1 : 0;
}

float UserDefaults::floatValue(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? 1.0f : 0.0f;
    bool ok = false;
    const double real = value.toDouble(&ok);
    if (ok)
        return static_cast<float>(real);
    return value.toString().trimmed().toLower() == QLatin1String("true") ? 1.0f : 0.0f;
}

bool UserDefaults::boolValue(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    const QString text = value.toString().trimmed().toLower();
    if (text == QLatin1String("true") || text == QLatin1String("yes"))
        return true;
    return floatValue(value) != 0.0f;
}

QString UserDefaults::stringForKey(const QString &key)
{
    const QVariant value = objectForKey(key);
    return value.canConvert<QString>() ? value.toString() : QString();
}

QString UserDefaults::stringForKey(const QString &key, const QString &defaultValue)
{
    const QVariant value = objectForKey(key);
    return value.isValid() ? value.toString() : defaultValue;
}

QVariantList UserDefaults::arrayForKey(const QString &key)
{
    return objectForKey(key).toList();
}

QVariantList UserDefaults::arrayForKey(const QString &key, const QVariantList &defaultValue)
{
    const QVariant value = objectForKey(key);
    return value.isValid() ? value.toList() : defaultValue;
}

QVariantMap UserDefaults::dictionaryForKey(const QString &key)
{
    return objectForKey(key).toMap();
}

QVariantMap UserDefaults::dictionaryForKey(const QString &key, const QVariantMap &defaultValue)
{
    const QVariant value = objectForKey(key);
    return value.isValid() ? value.toMap() : defaultValue;
}

QByteArray UserDefaults::dataForKey(const QString &key)
{
    return objectForKey(key).toByteArray();
}

QByteArray UserDefaults::dataForKey(const QString &key, const QByteArray &defaultValue)
{
    const QVariant value = objectForKey(key);
    return value.isValid() ? value.toByteArray() : defaultValue;
}

int UserDefaults::integerForKey(const QString &key)
{
    const QVariant value = objectForKey(key);
    return value.isValid() ? intValue(value) : 0;
}

int UserDefaults::integerForKey(const QString &key, int defaultValue)
{
    const QVariant value = objectForKey(key);
    return value.isValid() ? intValue(value) : defaultValue;
}

float UserDefaults::floatForKey(const QString &key)
{
    const QVariant value = objectForKey(key);
    return value.isValid() ? floatValue(value) : 0.0f;
}

float UserDefaults::floatForKey(const QString &key, float defaultValue)
{
    const QVariant value = objectForKey(key);
    return value.isValid() ? floatValue(value) : defaultValue;
}

bool UserDefaults::boolForKey(const QString &key)
{
    const QVariant value = objectForKey(key);
    return value.isValid() && boolValue(value);
}

bool UserDefaults::boolForKey(const QString &key, bool defaultValue)
{
    const QVariant value = objectForKey(key);
    return value.isValid() ? boolValue(value) : defaultValue;
}

QDateTime UserDefaults::dateForKey(const QString &key)
{
    return objectForKey(key).toDateTime();
}

QDateTime UserDefaults::dateForKey(const QString &key, const QDateTime &defaultValue)
{
    const QVariant value = objectForKey(key);
    const QDateTime date = value.toDateTime();
    return value.isValid() && date.isValid() ? date : defaultValue;
}

void UserDefaults::setObject(const QVariant &value, const QString &key)
{
    if (!value.isValid()) {
        removeObjectForKey(key);
        return;
    }
    standardUserDefaults()->setValue(key, value);
}

void UserDefaults::setInteger(int value, const QString &key)
{
    standardUserDefaults()->setValue(key, value);
}

void UserDefaults::setFloat(float value, const QString &key)
{
    standardUserDefaults()->setValue(key, value);
}

void UserDefaults::setBool(bool value, const QString &key)
{
    standardUserDefaults()->setValue(key, value);
}

void UserDefaults::removeObjectForKey(const QString &key)
{
    standardUserDefaults()->remove(key);
}

void UserDefaults::synchronize()
{
    standardUserDefaults()->sync();
}

PreferenceNotifier &PreferenceNotifier::defaultCenter()
{
    static PreferenceNotifier center;
    return center;
}

void PreferenceNotifier::postNotificationName(const QString &name)
{
    if (name == QLatin1String(app::kNotification_ShowWindowKeyModifiersChangedKey))
        emit kNotification_ShowWindowKeyModifiersChangedKey();
    else if (name == QLatin1String(app::kNotification_WindowShowParametersChangedKey))
        emit kNotification_WindowShowParametersChangedKey();
}

} // namespace kestrabel::app
