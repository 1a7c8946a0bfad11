#include "PreferencesWindowController.h"

#include "ControlWindowController.h"
#include "Controls.h"
#include "HotKeyMapping.h"
#include "Images.h"
#include "Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

namespace kestrabel::app {

PreferencesWindowController::PreferencesWindowController(QObject *parent) : QObject(parent)
{
    buildWindow();
    awakeFromNib();
}

PreferencesWindowController::~PreferencesWindowController()
{
    delete _window;
}

QString PreferencesWindowController::windowNibName()
{
    return QStringLiteral("PreferencesWindowController");
}

void PreferencesWindowController::buildWindow()
{
    _window = new QWidget(nullptr, Qt::Dialog);
    _window->setObjectName(windowNibName());
    _window->setWindowTitle(tr("Kestrabel Preferences"));
    _window->setWindowIcon(iconNamed(QStringLiteral("kestrabel")));
    _window->setAttribute(Qt::WA_DeleteOnClose);
    connect(_window, &QObject::destroyed, this, &QObject::deleteLater);

    _matrixWindowShowStyle = new RadioMatrix(
        {tr("Keep the window up until the hot key hides it"), tr("Hide the window after a few seconds")}, _window);
    _matrixWindowShowStyle->setObjectName(QStringLiteral("_matrixWindowShowStyle"));
    _textFieldSecondsToShow = new QLineEdit(_window);
    _textFieldSecondsToShow->setObjectName(QStringLiteral("_textFieldSecondsToShow"));
    _textFieldSecondsToShow->setMaximumWidth(70);
    _textFieldSecondsToShow->setToolTip(tr("1 to 600 seconds"));

    _popUpButtonKeyCombo1 = new QComboBox(_window);
    _popUpButtonKeyCombo1->setObjectName(QStringLiteral("_popUpButtonKeyCombo1"));
    _popUpButtonKeyCombo2 = new QComboBox(_window);
    _popUpButtonKeyCombo2->setObjectName(QStringLiteral("_popUpButtonKeyCombo2"));
    for (const HotKeyModifier &modifier : hotKeyModifiers()) {
        addItemWithTag(_popUpButtonKeyCombo1, tr(modifier.name), modifier.bit);
        addItemWithTag(_popUpButtonKeyCombo2, tr(modifier.name), modifier.bit);
    }
    _popUpButtonKeyComboKey = new QComboBox(_window);
    _popUpButtonKeyComboKey->setObjectName(QStringLiteral("_popUpButtonKeyComboKey"));
    addItemWithTag(_popUpButtonKeyComboKey, tr("No hot key"), 0);
    for (const HotKeyKey &key : hotKeyKeys())
        addItemWithTag(_popUpButtonKeyComboKey, tr(key.name), key.keyCode);
    _labelHotKeyNote = new QLabel(_window);
    _labelHotKeyNote->setObjectName(QStringLiteral("_labelHotKeyNote"));
    _labelHotKeyNote->setWordWrap(true);
    _labelHotKeyNote->setTextInteractionFlags(Qt::TextSelectableByMouse);

    _checkBoxDontCheckForUpdates = new QCheckBox(tr("Don't check for a newer version"), _window);
    _checkBoxDontCheckForUpdates->setObjectName(QStringLiteral("_checkBoxDontCheckForUpdates"));
    _checkBoxNotifyOnTrackChange = new QCheckBox(tr("Show a desktop notification when the track changes"), _window);
    _checkBoxNotifyOnTrackChange->setObjectName(QStringLiteral("_checkBoxNotifyOnTrackChange"));
    _buttonOK = new QPushButton(tr("OK"), _window);
    _buttonOK->setObjectName(QStringLiteral("_buttonOK"));
    _buttonOK->setDefault(true);

    auto *showing = new QGroupBox(tr("Control window"), _window);
    auto *showingLayout = new QVBoxLayout(showing);
    showingLayout->addWidget(_matrixWindowShowStyle);
    auto *secondsRow = new QHBoxLayout;
    secondsRow->addSpacing(24);
    secondsRow->addWidget(new QLabel(tr("Seconds before hiding:"), showing));
    secondsRow->addWidget(_textFieldSecondsToShow);
    secondsRow->addStretch(1);
    showingLayout->addLayout(secondsRow);
    showingLayout->addWidget(_checkBoxNotifyOnTrackChange);

    auto *hotKey = new QGroupBox(tr("Hot key that shows and hides the window"), _window);
    auto *hotKeyLayout = new QVBoxLayout(hotKey);
    auto *combination = new QHBoxLayout;
    combination->addWidget(_popUpButtonKeyCombo1);
    combination->addWidget(new QLabel(QStringLiteral("+"), hotKey));
    combination->addWidget(_popUpButtonKeyCombo2);
    combination->addWidget(new QLabel(QStringLiteral("+"), hotKey));
    combination->addWidget(_popUpButtonKeyComboKey);
    combination->addStretch(1);
    hotKeyLayout->addLayout(combination);
    hotKeyLayout->addWidget(_labelHotKeyNote);

    auto *buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(_buttonOK);

    auto *layout = new QVBoxLayout(_window);
    layout->addWidget(showing);
    layout->addWidget(hotKey);
    layout->addWidget(_checkBoxDontCheckForUpdates);
    layout->addLayout(buttons);

    connect(_matrixWindowShowStyle, &RadioMatrix::action, this, &PreferencesWindowController::settingChanged);
    connect(_textFieldSecondsToShow, &QLineEdit::editingFinished, this, &PreferencesWindowController::settingChanged);
    connect(_popUpButtonKeyCombo1, &QComboBox::activated, this, &PreferencesWindowController::settingChanged);
    connect(_popUpButtonKeyCombo2, &QComboBox::activated, this, &PreferencesWindowController::settingChanged);
    connect(_popUpButtonKeyComboKey, &QComboBox::activated, this, &PreferencesWindowController::settingChanged);
    connect(_checkBoxDontCheckForUpdates, &QCheckBox::clicked, this, &PreferencesWindowController::settingChanged);
    connect(_checkBoxNotifyOnTrackChange, &QCheckBox::clicked, this, &PreferencesWindowController::settingChanged);
    connect(_buttonOK, &QPushButton::clicked, this, &PreferencesWindowController::OKButtonClicked);
    connect(&PreferenceNotifier::defaultCenter(), &PreferenceNotifier::kNotification_ShowWindowKeyModifiersChangedKey,
            this, &PreferencesWindowController::refreshHotKeyNote);
    connect(&PreferenceNotifier::defaultCenter(), &PreferenceNotifier::hotKeyStatusChanged, this,
            &PreferencesWindowController::refreshHotKeyNote);
}

void PreferencesWindowController::awakeFromNib()
{
    _matrixWindowShowStyle->selectCellAtRow(UserDefaults::integerForKey(QLatin1String(kWindowShowStyle)));
    _textFieldSecondsToShow->setText(
        QString::number(UserDefaults::integerForKey(QLatin1String(kSecondsToShowWindow))));
    _checkBoxDontCheckForUpdates->setChecked(UserDefaults::boolForKey(QLatin1String(kDontCheckForUpdatesKey)));
    _checkBoxNotifyOnTrackChange->setChecked(UserDefaults::boolForKey(QLatin1String(kNotifyOnTrackChangeKey)));
    selectItemWithTag(_popUpButtonKeyComboKey, UserDefaults::integerForKey(QLatin1String(kShowWindowKeyCode)));
    selectItemWithTag(_popUpButtonKeyCombo1,
                      UserDefaults::integerForKey(QLatin1String(kShowWindowKeyModifierKeyCode1)));
    selectItemWithTag(_popUpButtonKeyCombo2,
                      UserDefaults::integerForKey(QLatin1String(kShowWindowKeyModifierKeyCode2)));
    refreshHotKeyNote();

    _window->adjustSize();
    if (const QScreen *screen = _window->screen()) {
        const QRect area = screen->availableGeometry();
        _window->move(area.center() - QPoint(_window->width() / 2, _window->height() / 2));
    }
}

void PreferencesWindowController::refreshHotKeyNote()
{
    _labelHotKeyNote->setText(ControlWindowController::currentHotKeyStatusMessage());
    _labelHotKeyNote->setVisible(!_labelHotKeyNote->text().isEmpty());
}

void PreferencesWindowController::showWindow()
{
    _window->show();
    _window->raise();
    _window->activateWindow();
}

void PreferencesWindowController::settingChanged()
{
    UserDefaults::setBool(_checkBoxDontCheckForUpdates->isChecked(), QLatin1String(kDontCheckForUpdatesKey));
    UserDefaults::setInteger(tagOfSelectedItem(_popUpButtonKeyComboKey), QLatin1String(kShowWindowKeyCode));
    UserDefaults::setInteger(tagOfSelectedItem(_popUpButtonKeyCombo1), QLatin1String(kShowWindowKeyModifierKeyCode1));
    UserDefaults::setInteger(tagOfSelectedItem(_popUpButtonKeyCombo2), QLatin1String(kShowWindowKeyModifierKeyCode2));
    UserDefaults::setInteger(_matrixWindowShowStyle->selectedRow(), QLatin1String(kWindowShowStyle));
    UserDefaults::setFloat(_textFieldSecondsToShow->text().trimmed().toFloat(), QLatin1String(kSecondsToShowWindow));
    UserDefaults::setBool(_checkBoxNotifyOnTrackChange->isChecked(), QLatin1String(kNotifyOnTrackChangeKey));
    UserDefaults::synchronize();
    PreferenceNotifier::defaultCenter().postNotificationName(QLatin1String(kNotification_ShowWindowKeyModifiersChangedKey));
    PreferenceNotifier::defaultCenter().postNotificationName(QLatin1String(kNotification_WindowShowParametersChangedKey));
}

void PreferencesWindowController::OKButtonClicked()
{
    _window->close();
}

} // namespace kestrabel::app
