// Preference defaults and conveniences, the preferences panel and its notifications, the
// auto-save registry.
#include "AppTestSupport.h"

#include "AutoSave.h"
#include "Controls.h"
#include "GenreComboBox.h"
#include "Preferences.h"
#include "PreferencesWindowController.h"

using namespace kestrabel;
using namespace kestrabel::app;
using namespace Qt::StringLiterals;

namespace {

class Preferences : public ::testing::Test {
protected:
    void SetUp() override { apptest::resetSettings(); }
};

QStringList capturedWarnings;

// Row: what is stored under a key (nothing: the registered default or the getter's own) → what
// each getter reads.
TEST_F(Preferences, GettersReadStoredValuesDefaultsAndNumbersStoredAsText)
{
    const QDateTime when = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);
    using Read = std::function<QVariant()>;
    const struct {
        const char *key;
        QVariant stored;
        Read read;
        QVariant expected;
    } rows[] = {
        {kWindowShowStyle, {}, [] { return UserDefaults::integerForKey(kWindowShowStyle, 5); }, 1},
        {kWindowShowStyle, 0, [] { return UserDefaults::integerForKey(kWindowShowStyle); }, 0},
        {kSecondsToShowWindow, {}, [] { return UserDefaults::floatForKey(kSecondsToShowWindow); }, 8.0f},
        {kShowWindowKeyCode, {}, [] { return UserDefaults::integerForKey(kShowWindowKeyCode); }, 53},
        {kShowWindowKeyModifierKeyCode1, {}, [] { return UserDefaults::integerForKey(kShowWindowKeyModifierKeyCode1); }, 8},
        {kShowWindowKeyModifierKeyCode2, {}, [] { return UserDefaults::integerForKey(kShowWindowKeyModifierKeyCode2); }, 0},
        {kDontCheckForUpdatesKey, {}, [] { return UserDefaults::boolForKey(kDontCheckForUpdatesKey); }, false},
        {kLastUpdateCheckTimeKey, {}, [] { return UserDefaults::objectForKey(kLastUpdateCheckTimeKey); }, {}},
        {"unknownKey", {}, [] { return UserDefaults::integerForKey(u"unknownKey"_s, 5); }, 5},
        {"unknownKey", {}, [] { return UserDefaults::floatForKey(u"unknownKey"_s, 2.5f); }, 2.5f},
        {"unknownKey", {}, [=] { return UserDefaults::dateForKey(u"unknownKey"_s, when); }, when},
        {"no", false, [] { return UserDefaults::boolForKey(u"no"_s, true); }, false},
        {"list", QVariantList{1, 2}, [] { return UserDefaults::arrayForKey(u"list"_s, {}).size(); }, 2},
        // A float written by the panel is a whole number to the panel, a float to the window.
        {kSecondsToShowWindow, 8.7f, [] { return UserDefaults::integerForKey(kSecondsToShowWindow); }, 8},
        {kSecondsToShowWindow, 8.7f, [] { return UserDefaults::floatForKey(kSecondsToShowWindow); }, 8.7f},
        {"text", "12.9", [] { return UserDefaults::integerForKey(u"text"_s); }, 12},
        {"flag", "true", [] { return UserDefaults::boolForKey(u"flag"_s); }, true},
        {"flag", "0", [] { return UserDefaults::boolForKey(u"flag"_s); }, false},
        {"huge", "1e99", [] { return UserDefaults::integerForKey(u"huge"_s); }, 0},
        {kLastUpdateCheckTimeKey, when, [] { return UserDefaults::dateForKey(kLastUpdateCheckTimeKey); }, when},
    };
    for (const auto &row : rows) {
        apptest::resetSettings();
        if (row.stored.isValid()) {
            UserDefaults::setObject(row.stored, QLatin1String(row.key));
            UserDefaults::synchronize();
        }
        const QVariant read = row.read();
        if (read.metaType() == QMetaType::fromType<float>())
            EXPECT_NEAR(read.toFloat(), row.expected.toFloat(), 1e-5) << row.key;
        else
            EXPECT_EQ(read, row.expected) << row.key << " stored as " << row.stored.toString().toStdString();
    }
    // Defaults are never written to the file, which lives under Kestrabel/Kestrabel.
    apptest::resetSettings();
    EXPECT_FALSE(UserDefaults::standardUserDefaults()->contains(kShowWindowKeyCode));
    UserDefaults::setBool(true, kDontCheckForUpdatesKey);
    UserDefaults::synchronize();
    const QString file = UserDefaults::standardUserDefaults()->fileName();
    EXPECT_TRUE(file.endsWith(u"/Kestrabel/Kestrabel.conf"_s)) << file.toStdString();
    EXPECT_TRUE(QFile::exists(file));
}

TEST_F(Preferences, PanelShowsTheStoredValuesAndWritesAChangeWithBothNotificationsInOrder)
{
    const auto store = [](std::initializer_list<std::pair<const char *, int>> values) {
        for (const auto &[key, value] : values)
            UserDefaults::setInteger(value, QLatin1String(key));
    };
    store({{kWindowShowStyle, 0}, {kShowWindowKeyCode, 122}, {kShowWindowKeyModifierKeyCode1, 12}, {kShowWindowKeyModifierKeyCode2, 9}});
    UserDefaults::setFloat(12.7f, kSecondsToShowWindow);
    auto *panel = new PreferencesWindowController;
    QWidget *window = panel->window();
    window->show();
    const auto popUp = [&](const char *name) { return window->findChild<QComboBox *>(QLatin1String(name)); };
    auto *seconds = window->findChild<QLineEdit *>(u"_textFieldSecondsToShow"_s);
    auto *style = window->findChild<RadioMatrix *>(u"_matrixWindowShowStyle"_s);
    auto *dontCheck = window->findChild<QCheckBox *>(u"_checkBoxDontCheckForUpdates"_s);
    const auto shown = [&] {
        return QStringList{QString::number(style->selectedRow()), seconds->text(), QString::number(dontCheck->isChecked()),
                           popUp("_popUpButtonKeyComboKey")->currentText(),
                           QString::number(tagOfSelectedItem(popUp("_popUpButtonKeyCombo1"))),
                           QString::number(tagOfSelectedItem(popUp("_popUpButtonKeyCombo2")))};
    };
    EXPECT_EQ(shown(), (QStringList{"0", "12", "0", "F1", "12", "9"}));
    QStringList order;
    PreferenceNotifier &center = PreferenceNotifier::defaultCenter();
    auto a = QObject::connect(&center, &PreferenceNotifier::kNotification_ShowWindowKeyModifiersChangedKey, [&] { order << u"keys"_s; });
    auto b = QObject::connect(&center, &PreferenceNotifier::kNotification_WindowShowParametersChangedKey, [&] { order << u"window"_s; });
    selectItemWithTag(popUp("_popUpButtonKeyComboKey"), 101);
    selectItemWithTag(popUp("_popUpButtonKeyCombo1"), 11);
    selectItemWithTag(popUp("_popUpButtonKeyCombo2"), 0);
    seconds->setText(u"3.5"_s);
    style->selectCellAtRow(1);
    // The user's click is the action that writes, to the file and not only to memory.
    QTest::mouseClick(dontCheck, Qt::LeftButton);
    QObject::disconnect(a);
    QObject::disconnect(b);
    EXPECT_EQ(order, (QStringList{"keys", "window"}));
    QSettings file(UserDefaults::standardUserDefaults()->fileName(), QSettings::IniFormat);
    for (const auto &[key, value] : {std::pair{kDontCheckForUpdatesKey, QVariant(true)}, {kShowWindowKeyCode, 101},
                                     {kShowWindowKeyModifierKeyCode1, 11}, {kShowWindowKeyModifierKeyCode2, 0},
                                     {kWindowShowStyle, 1}, {kSecondsToShowWindow, 3.5}})
        EXPECT_EQ(file.value(QLatin1String(key)).toDouble(), value.toDouble()) << key;
    // A new panel reads the seconds back whole.
    PreferencesWindowController second;
    EXPECT_EQ(second.window()->findChild<QLineEdit *>(u"_textFieldSecondsToShow"_s)->text(), u"3"_s);
    QPointer<PreferencesWindowController> gone(panel);
    panel->OKButtonClicked();
    EXPECT_TRUE(apptest::waitUntil([&] { return gone.isNull(); }, 2000));
}

// Every kind of control through the registry: saved under a window's name, changed, restored. An
// editable box keeps its text first, drops an earlier copy of it and keeps ten entries; the genre
// box's own items are untouched.
TEST_F(Preferences, RegistryRestoresEveryKindOfControl)
{
    QWidget window;
    setFrameAutosaveName(&window, u"Window"_s);
    auto *field = new QLineEdit(&window);
    auto *check = new QCheckBox(&window);
    auto *matrix = new RadioMatrix({u"a"_s, u"b"_s}, &window);
    auto *slider = new QSlider(&window);
    auto *notes = new QPlainTextEdit(&window);
    auto *tabs = new QTabWidget(&window);
    auto *image = new QLabel(&window);
    auto *genre = new GenreComboBox(&window);
    auto *history = new QComboBox(&window);
    for (const char *name : {"first", "second"})
        tabs->widget(tabs->addTab(new QWidget, QLatin1String(name)))->setObjectName(QLatin1String(name));
    QPixmap pixmap(4, 3);
    pixmap.fill(Qt::red);
    genre->awakeFromNib();
    history->setEditable(true);
    for (int i = 1; i <= 12; ++i)
        history->addItem(u"item %1"_s.arg(i));
    const auto setAll = [&](bool first) {
        field->setText(first ? u"typed"_s : QString());
        check->setChecked(first);
        matrix->selectCellAtRow(first);
        slider->setValue(first ? 42 : 0);
        notes->setPlainText(first ? u"line one\nline two"_s : QString());
        tabs->setCurrentIndex(first);
        image->setPixmap(first ? pixmap : QPixmap());
        genre->setStringValue(first ? u"Jazz"_s : u"Techno"_s);
        history->setEditText(first ? u"item 3"_s : u"item 5"_s);
    };
    const auto state = [&] {
        return QVariantList{field->text(), check->isChecked(), matrix->selectedRow(), slider->value(), notes->toPlainText(),
                            tabs->currentIndex(), image->pixmap().toImage().pixelColor(3, 2), genre->currentText(),
                            genre->count(), history->currentText(), history->itemText(1), history->count()};
    };
    setAll(true);
    const QList<QWidget *> controls{field, check, matrix, slider, notes, tabs, image, genre, history};
    for (QWidget *control : controls)
        addAutoSaveObjectForWindow(control, &window, QString::number(controls.indexOf(control)));
    saveAutoSaveObjectsForWindow(&window);
    setAll(false);
    restoreAutoSaveObjectsForWindow(&window);
    EXPECT_EQ(state(), (QVariantList{u"typed"_s, true, 1, 42, u"line one\nline two"_s, 1, QColor(Qt::red), u"Jazz"_s, 148,
                                     u"item 3"_s, u"item 1"_s, 10}));
}

// A bad stored value is logged and the others are still restored; a pop-up's index beyond its items
// keeps the selection; nothing is registered without a name or a control.
TEST_F(Preferences, RegistryKeepsWhatCannotBeRestoredAndRegistersNothingNameless)
{
    QComboBox popUp;
    popUp.addItems({u"one"_s, u"two"_s});
    popUp.setCurrentIndex(1);
    EXPECT_TRUE(restoreAutoSaveObject(&popUp, 7));
    QLineEdit field;
    addAutoSaveObject(&popUp, u"Bad"_s, u"a popup"_s);
    addAutoSaveObject(&field, u"Bad"_s, u"b field"_s);
    UserDefaults::setObject(QVariantMap{{u"a popup"_s, u"not a number"_s}, {u"b field"_s, u"restored"_s}}, u"Bad"_s);
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type == QtWarningMsg)
            capturedWarnings << text;
    });
    restoreAutoSaveObjectsForName(u"Bad"_s);
    qInstallMessageHandler(previous);
    EXPECT_EQ(popUp.currentIndex(), 1);
    EXPECT_EQ(field.text(), u"restored"_s);
    EXPECT_TRUE(capturedWarnings.contains(u"Exception throwing restoring auto-save preferences. Resetting to defaults."_s));
    apptest::resetSettings();
    addAutoSaveObject(&field, QString(), u"key"_s);
    addAutoSaveObject(nullptr, u"NoControl"_s, u"key"_s);
    saveAutoSaveObjectsForName(u"NoControl"_s);
    QWidget nameless;
    addAutoSaveObjectForWindow(&field, &nameless, u"key"_s);
    saveAutoSaveObjectsForWindow(&nameless);
    EXPECT_TRUE(UserDefaults::standardUserDefaults()->allKeys().isEmpty());
}

} // namespace
