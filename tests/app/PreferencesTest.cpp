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
        {"unknownKey", {}, [] { return UserDefaults::stringForKey(u"unknownKey"_s, "x"); }, "x"},
        {"unknownKey", {}, [] { return UserDefaults::floatForKey(u"unknownKey"_s, 2.5f); }, 2.5f},
        {"unknownKey", {}, [=] { return UserDefaults::dateForKey(u"unknownKey"_s, when); }, when},
        {"zero", 0, [] { return UserDefaults::integerForKey(u"zero"_s, 5); }, 0},
        {"no", false, [] { return UserDefaults::boolForKey(u"no"_s, true); }, false},
        {"list", QVariantList{1, 2}, [] { return UserDefaults::arrayForKey(u"list"_s, {}).size(); }, 2},
        // A float written by the panel is a whole number to the panel, a float to the window.
        {kSecondsToShowWindow, 8.7f, [] { return UserDefaults::integerForKey(kSecondsToShowWindow); }, 8},
        {kSecondsToShowWindow, 8.7f, [] { return UserDefaults::floatForKey(kSecondsToShowWindow); }, 8.7f},
        {"text", "12.9", [] { return UserDefaults::integerForKey(u"text"_s); }, 12},
        {"flag", "true", [] { return UserDefaults::boolForKey(u"flag"_s); }, true},
        {"flag", "true", [] { return UserDefaults::integerForKey(u"flag"_s); }, 1},
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

// Every kind of control through the registry: saved under a window's name, changed, restored.
TEST_F(Preferences, RegistryRestoresEveryKindOfControl)
{
    QWidget window;
    setFrameAutosaveName(&window, u"RoundTripWindow"_s);
    auto *field = new QLineEdit(u"typed"_s, &window);
    auto *check = new QCheckBox(&window);
    check->setChecked(true);
    auto *matrix = new RadioMatrix({u"a"_s, u"b"_s}, &window);
    matrix->selectCellAtRow(1);
    auto *slider = new QSlider(&window);
    slider->setRange(0, 100);
    slider->setValue(42);
    auto *notes = new QPlainTextEdit(u"line one\nline two"_s, &window);
    auto *tabs = new QTabWidget(&window);
    for (const char *name : {"first", "second"}) {
        tabs->addTab(new QWidget, QLatin1String(name));
        tabs->widget(tabs->count() - 1)->setObjectName(QLatin1String(name));
    }
    tabs->setCurrentIndex(1);
    auto *image = new QLabel(&window);
    QPixmap pixmap(4, 3);
    pixmap.fill(Qt::red);
    image->setPixmap(pixmap);
    auto *genre = new GenreComboBox(&window);
    genre->awakeFromNib();
    genre->setStringValue(u"Jazz"_s);
    const QList<QWidget *> controls{field, check, matrix, slider, notes, tabs, image, genre};
    for (QWidget *control : controls)
        addAutoSaveObjectForWindow(control, &window, QString::number(controls.indexOf(control)));
    saveAutoSaveObjectsForWindow(&window);
    field->clear();
    check->setChecked(false);
    matrix->selectCellAtRow(0);
    slider->setValue(0);
    notes->clear();
    tabs->setCurrentIndex(0);
    image->clear();
    genre->setStringValue(u"Techno"_s);
    restoreAutoSaveObjectsForWindow(&window);
    EXPECT_EQ(field->text(), u"typed"_s);
    EXPECT_TRUE(check->isChecked());
    EXPECT_EQ(matrix->selectedRow(), 1);
    EXPECT_EQ(slider->value(), 42);
    EXPECT_EQ(notes->toPlainText(), u"line one\nline two"_s);
    EXPECT_EQ(tabs->currentIndex(), 1);
    EXPECT_EQ(image->pixmap().toImage().pixelColor(3, 2), QColor(Qt::red));
    EXPECT_EQ(genre->currentText(), u"Jazz"_s);
    // The data source's items are untouched by a restore.
    EXPECT_EQ(genre->count(), 148);
}

// The edge rules of single controls and of the registry.
TEST_F(Preferences, RegistryKeepsWhatCannotBeRestoredAndRegistersNothingNameless)
{
    // An editable box's history: the text first, an earlier copy of it dropped, ten kept.
    QComboBox history;
    history.setEditable(true);
    QStringList items;
    for (int i = 1; i <= 12; ++i)
        items << u"item %1"_s.arg(i);
    history.addItems(items);
    history.setEditText(u"item 3"_s);
    const QStringList saved = saveAutoSaveObject(&history).toStringList();
    EXPECT_EQ(saved, QStringList{items[2]} + items.mid(0, 2) + items.mid(3, 7));
    QComboBox restored;
    restored.setEditable(true);
    ASSERT_TRUE(restoreAutoSaveObject(&restored, saved));
    EXPECT_EQ(restored.count(), 10);
    EXPECT_EQ(restored.currentText(), items[2]);
    // A pop-up's index beyond its items keeps the selection.
    QComboBox popUp;
    popUp.addItems({u"one"_s, u"two"_s, u"three"_s});
    popUp.setCurrentIndex(1);
    EXPECT_EQ(saveAutoSaveObject(&popUp), QVariant(1));
    EXPECT_TRUE(restoreAutoSaveObject(&popUp, 7));
    EXPECT_EQ(popUp.currentIndex(), 1);

    // A bad stored value is logged, and the others are still restored.
    QLineEdit field(u"unchanged"_s);
    addAutoSaveObject(&popUp, u"Bad"_s, u"a popup"_s);
    addAutoSaveObject(&field, u"Bad"_s, u"b field"_s);
    UserDefaults::setObject(QVariantMap{{u"a popup"_s, u"not a number"_s},
                                        {u"b field"_s, u"restored"_s}},
                            u"Bad"_s);
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &,
                                                                const QString &message) {
        if (type == QtWarningMsg)
            capturedWarnings << message;
    });
    restoreAutoSaveObjectsForName(u"Bad"_s);
    qInstallMessageHandler(previous);
    EXPECT_EQ(popUp.currentIndex(), 1);
    EXPECT_EQ(field.text(), u"restored"_s);
    EXPECT_TRUE(capturedWarnings.contains(
        u"Exception throwing restoring auto-save preferences. Resetting to defaults."_s));

    // Restoring needs both the registration and the stored dictionary.
    field.setText(u"unchanged"_s);
    addAutoSaveObject(&field, u"NeverSaved"_s, u"key"_s);
    restoreAutoSaveObjectsForName(u"NeverSaved"_s);
    UserDefaults::setObject(QVariantMap{{u"key"_s, u"x"_s}}, u"Unregistered"_s);
    restoreAutoSaveObjectsForName(u"Unregistered"_s);
    EXPECT_EQ(field.text(), u"unchanged"_s);
    // Nothing is registered without a name or a control, nor for a window without a name.
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
