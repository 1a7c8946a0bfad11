// Editing sessions of text fields, as a text field's delegate sees them: editing begins with the
// user's first change, every change is reported, and it ends with Return or when the field loses
// the focus — only after a change by the user, so text set by the program never counts as an edit.
// Escape during an edit cancels it instead.
#pragma once

#include <QHash>
#include <QLineEdit>
#include <QObject>
#include <QPointer>

namespace kestrabel::app {

class FieldEditingMonitor : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // The field's sessions are reported with control as their object (a combo box for its own
    // line edit, say).
    void watch(QLineEdit *field, QObject *control);
    // Ends the session of whichever watched field has one; true when one ended.
    bool endEditing();
    bool isEditing(const QLineEdit *field) const;

signals:
    void controlTextDidBeginEditing(QObject *control);
    void controlTextDidChange(QObject *control);
    void controlTextDidEndEditing(QObject *control);
    void controlTextDidCancelEditing(QObject *control);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    struct Watched {
        QPointer<QObject> control;
        bool editing = false;
    };
    void textEdited(QLineEdit *field);
    void end(QLineEdit *field);

    QHash<QLineEdit *, Watched> fields_;
};

} // namespace kestrabel::app
