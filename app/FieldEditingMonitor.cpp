#include "FieldEditingMonitor.h"

#include <QKeyEvent>

namespace kestrabel::app {

void FieldEditingMonitor::watch(QLineEdit *field, QObject *control)
{
    if (!field || fields_.contains(field))
        return;
    fields_.insert(field, Watched{control ? control : field, false});
    field->installEventFilter(this);
    connect(field, &QLineEdit::textEdited, this, [this, field] { textEdited(field); });
    connect(field, &QLineEdit::returnPressed, this, [this, field] { end(field); });
    connect(field, &QObject::destroyed, this, [this, field] { fields_.remove(field); });
}

bool FieldEditingMonitor::endEditing()
{
    for (auto it = fields_.begin(); it != fields_.end(); ++it) {
        if (it->editing) {
            end(it.key());
            return true;
        }
    }
    return false;
}

bool FieldEditingMonitor::isEditing(const QLineEdit *field) const
{
    const auto it = fields_.constFind(const_cast<QLineEdit *>(field));
    return it != fields_.constEnd() && it->editing;
}

bool FieldEditingMonitor::eventFilter(QObject *watched, QEvent *event)
{
    auto *field = qobject_cast<QLineEdit *>(watched);
    if (!field)
        return QObject::eventFilter(watched, event);
    if (event->type() == QEvent::FocusOut)
        end(field);
    const bool key = event->type() == QEvent::ShortcutOverride || event->type() == QEvent::KeyPress;
    if (key && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape && isEditing(field)) {
        // Taken before the window's Escape shortcut can hide the window.
        event->accept();
        if (event->type() == QEvent::KeyPress) {
            auto it = fields_.find(field);
            it->editing = false;
            emit controlTextDidCancelEditing(it->control);
        }
        return true;
    }
    return QObject::eventFilter(watched, event);
}

void FieldEditingMonitor::textEdited(QLineEdit *field)
{
    auto it = fields_.find(field);
    if (it == fields_.end())
        return;
    QPointer<QObject> control = it->control;
    if (!it->editing) {
        it->editing = true;
        emit controlTextDidBeginEditing(control);
    }
    emit controlTextDidChange(control);
}

void FieldEditingMonitor::end(QLineEdit *field)
{
    auto it = fields_.find(field);
    if (it == fields_.end() || !it->editing)
        return;
    it->editing = false;
    emit controlTextDidEndEditing(it->control);
}

} // namespace kestrabel::app
