// The preferences panel: how the control window hides, the hot key, and the update check. Every
// change is written at once and announced with the two preference notifications.
#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace kestrabel::app {

class RadioMatrix;

class PreferencesWindowController : public QObject {
    Q_OBJECT
public:
    explicit PreferencesWindowController(QObject *parent = nullptr);
    ~PreferencesWindowController() override;

    static QString windowNibName();
    QWidget *window() const { return _window; }
    void showWindow();

    void awakeFromNib();
    void settingChanged();
    void OKButtonClicked();

private:
    void buildWindow();
    void refreshHotKeyNote();

    QPointer<QWidget> _window;
    QComboBox *_popUpButtonKeyCombo1 = nullptr;
    QComboBox *_popUpButtonKeyCombo2 = nullptr;
    QComboBox *_popUpButtonKeyComboKey = nullptr;
    QCheckBox *_checkBoxDontCheckForUpdates = nullptr;
    QCheckBox *_checkBoxNotifyOnTrackChange = nullptr;
    QLineEdit *_textFieldSecondsToShow = nullptr;
    RadioMatrix *_matrixWindowShowStyle = nullptr;
    QLabel *_labelHotKeyNote = nullptr;
    QPushButton *_buttonOK = nullptr;
};

} // namespace kestrabel::app
