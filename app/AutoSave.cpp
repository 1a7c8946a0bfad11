#include "AutoSave.h"

#include "ArtworkImage.h"
#include "Controls.h"
#include "GenreComboBox.h"
#include "Preferences.h"

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QBuffer>
#include <QComboBox>
#include <QHash>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMetaProperty>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPointer>
#include <QTabWidget>
#include <QTextEdit>
#include <QtDebug>

#include <exception>
#include <optional>
#include <vector>

namespace kestrabel::app {

namespace {

constexpr char kFrameAutosaveNameProperty[] = "kestrabelFrameAutosaveName";
constexpr int kComboBoxHistoryLength = 10;

struct Registration {
    QString key;
    QPointer<QWidget> control;
};

// Only grows, like the registry it stands for.
QHash<QString, std::vector<Registration>> &registry()
{
    static QHash<QString, std::vector<Registration>> entries;
    return entries;
}

std::optional<double> numberFrom(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? 1.0 : 0.0;
    bool ok = false;
    const double number = value.toDouble(&ok);
    if (!ok)
        return std::nullopt;
    return number;
}

bool isTextValue(const QVariant &value)
{
    return value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QByteArray ||
           numberFrom(value).has_value();
}

bool isComboBoxWithDataSource(const QComboBox *box)
{
    const auto *genre = qobject_cast<const GenreComboBox *>(box);
    return genre && genre->usesDataSource();
}

QStringList comboBoxHistory(const QComboBox *box)
{
    const QString text = box->currentText();
    QStringList history{text};
    for (int i = 0; i < box->count() && history.size() < kComboBoxHistoryLength; ++i) {
        const QString item = box->itemText(i);
        if (item != text)
            history.append(item);
    }
    return history;
}

// A control that has a number for its value but none of the kinds above.
QMetaProperty numericUserProperty(const QWidget *control)
{
    const QMetaProperty property = control->metaObject()->userProperty();
    if (!property.isValid())
        return {};
    const int type = property.metaType().id();
    if (type == QMetaType::Int || type == QMetaType::Double || type == QMetaType::Float ||
        type == QMetaType::LongLong || type == QMetaType::UInt)
        return property;
    return {};
}

} // namespace

void setFrameAutosaveName(QWidget *window, const QString &name)
{
    if (window)
        window->setProperty(kFrameAutosaveNameProperty, name);
}

QString frameAutosaveName(const QWidget *window)
{
    return window ? window->property(kFrameAutosaveNameProperty).toString() : QString();
}

void addAutoSaveObject(QWidget *control, const QString &name, const QString &key)
{
    if (name.isEmpty() || !control)
        return;
    registry()[name].push_back({key, control});
}

void addAutoSaveObjectForWindow(QWidget *control, const QWidget *window, const QString &key)
{
    addAutoSaveObject(control, frameAutosaveName(window), key);
}

QVariant saveAutoSaveObject(QWidget *control)
{
    if (auto *box = qobject_cast<QComboBox *>(control)) {
        if (box->isEditable() && !isComboBoxWithDataSource(box))
            return comboBoxHistory(box);
        if (box->isEditable())
            return box->currentText();
        return box->currentIndex();
    }
    if (auto *field = qobject_cast<QLineEdit *>(control))
        return field->text();
    if (auto *button = qobject_cast<QAbstractButton *>(control))
        return button->isChecked() ? 1 : 0;
    if (auto *matrix = qobject_cast<RadioMatrix *>(control))
        return matrix->selectedRow();
    if (auto *imageView = qobject_cast<QLabel *>(control)) {
        QByteArray bytes;
        const QPixmap pixmap = imageView->pixmap();
        if (!pixmap.isNull()) {
            QBuffer buffer(&bytes);
            buffer.open(QIODevice::WriteOnly);
            pixmap.save(&buffer, "PNG");
        }
        return bytes;
    }
    if (auto *slider = qobject_cast<QAbstractSlider *>(control))
        return static_cast<double>(slider->value());
    if (qobject_cast<QAbstractSpinBox *>(control))
        return control->property("value").toDouble();
    if (const QMetaProperty property = numericUserProperty(control); property.isValid())
        return property.read(control).toDouble();
    if (auto *plain = qobject_cast<QPlainTextEdit *>(control))
        return plain->toPlainText();
    if (auto *rich = qobject_cast<QTextEdit *>(control))
        return rich->toPlainText();
    if (auto *tabs = qobject_cast<QTabWidget *>(control))
        return tabs->currentWidget() ? tabs->currentWidget()->objectName() : QString();
    return {};
}

bool restoreAutoSaveObject(QWidget *control, const QVariant &value)
{
    if (auto *box = qobject_cast<QComboBox *>(control)) {
        if (box->isEditable() && !isComboBoxWithDataSource(box)) {
            if (value.typeId() != QMetaType::QStringList && value.typeId() != QMetaType::QVariantList)
                return false;
            const QStringList items = value.toStringList();
            box->clear();
            box->addItems(items);
            box->setEditText(items.value(0));
            return true;
        }
        if (box->isEditable()) {
            if (!isTextValue(value))
                return false;
            box->setEditText(value.toString());
            return true;
        }
        const auto index = numberFrom(value);
        if (!index)
            return false;
        if (*index >= 0 && *index < box->count())
            box->setCurrentIndex(static_cast<int>(*index));
        return true;
    }
    if (auto *field = qobject_cast<QLineEdit *>(control)) {
        if (!isTextValue(value))
            return false;
        field->setText(value.toString());
        return true;
    }
    if (auto *button = qobject_cast<QAbstractButton *>(control)) {
        const auto state = numberFrom(value);
        if (!state)
            return false;
        button->setChecked(*state != 0);
        return true;
    }
    if (auto *matrix = qobject_cast<RadioMatrix *>(control)) {
        const auto row = numberFrom(value);
        if (!row)
            return false;
        matrix->selectCellAtRow(static_cast<int>(*row));
        return true;
    }
    if (auto *imageView = qobject_cast<QLabel *>(control)) {
        const QByteArray bytes = value.toByteArray();
        if (bytes.isEmpty())
            return true;
        const QImage image = imageFromArtworkData(bytes);
        if (image.isNull())
            return false;
        imageView->setPixmap(QPixmap::fromImage(image));
        return true;
    }
    if (qobject_cast<QAbstractSlider *>(control) || qobject_cast<QAbstractSpinBox *>(control) ||
        numericUserProperty(control).isValid()) {
        const auto number = numberFrom(value);
        if (!number)
            return false;
        if (auto *slider = qobject_cast<QAbstractSlider *>(control))
            slider->setValue(static_cast<int>(*number));
        else if (qobject_cast<QAbstractSpinBox *>(control))
            control->setProperty("value", *number);
        else
            numericUserProperty(control).write(control, *number);
        return true;
    }
    if (auto *plain = qobject_cast<QPlainTextEdit *>(control)) {
        plain->setPlainText(value.toString());
        return true;
    }
    if (auto *rich = qobject_cast<QTextEdit *>(control)) {
        rich->setPlainText(value.toString());
        return true;
    }
    if (auto *tabs = qobject_cast<QTabWidget *>(control)) {
        const QString identifier = value.toString();
        for (int i = 0; i < tabs->count(); ++i) {
            if (tabs->widget(i)->objectName() == identifier) {
                tabs->setCurrentIndex(i);
                break;
            }
        }
        return true;
    }
    return false;
}

void saveAutoSaveObjectsForName(const QString &name)
{
    const auto entry = registry().constFind(name);
    if (entry == registry().constEnd())
        return;
    QVariantMap saved;
    for (const Registration &registration : *entry) {
        if (!registration.control)
            continue;
        const QVariant value = saveAutoSaveObject(registration.control);
        if (value.isValid())
            saved.insert(registration.key, value);
    }
    UserDefaults::setObject(saved, name);
}

void saveAutoSaveObjectsForWindow(const QWidget *window)
{
    saveAutoSaveObjectsForName(frameAutosaveName(window));
}

void restoreAutoSaveObjectsForName(const QString &name)
{
    const auto entry = registry().constFind(name);
    if (entry == registry().constEnd())
        return;
    const QVariant stored = UserDefaults::objectForKey(name);
    if (!stored.isValid())
        return;
    const QVariantMap saved = stored.toMap();
    for (const Registration &registration : *entry) {
        if (!registration.control || !saved.contains(registration.key))
            continue;
        bool restored = false;
        try {
            restored = restoreAutoSaveObject(registration.control, saved.value(registration.key));
        } catch (const std::exception &) {
            restored = false;
        }
        if (!restored)
            qWarning("Exception throwing restoring auto-save preferences. Resetting to defaults.");
    }
}

void restoreAutoSaveObjectsForWindow(const QWidget *window)
{
    restoreAutoSaveObjectsForName(frameAutosaveName(window));
}

} // namespace kestrabel::app
