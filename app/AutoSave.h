// The auto-save registry: controls registered under a name (a window's frame auto-save name or
// any string) and a key, whose values are saved to and restored from the user defaults as one
// dictionary stored under the name.
#pragma once

#include <QString>
#include <QVariant>
#include <QWidget>

namespace kestrabel::app {

// A window's frame auto-save name, kept as a property of the window.
void setFrameAutosaveName(QWidget *window, const QString &name);
QString frameAutosaveName(const QWidget *window);

// Nothing is registered when the name is empty or the control is missing.
void addAutoSaveObject(QWidget *control, const QString &name, const QString &key);
void addAutoSaveObjectForWindow(QWidget *control, const QWidget *window, const QString &key);

void saveAutoSaveObjectsForName(const QString &name);
void saveAutoSaveObjectsForWindow(const QWidget *window);
void restoreAutoSaveObjectsForName(const QString &name);
void restoreAutoSaveObjectsForWindow(const QWidget *window);

// One control's value as it is stored, by the first kind of control that matches; invalid for a
// widget that is no control.
QVariant saveAutoSaveObject(QWidget *control);
// False when the stored value does not fit the control; the control then keeps its value.
bool restoreAutoSaveObject(QWidget *control, const QVariant &value);

} // namespace kestrabel::app
