// Preference defaults and conveniences, the preferences panel and its notifications, the
// auto-save registry.
#include "AppTestSupport.h"

#include "AutoSave.h"
#include "Controls.h"
#include "GenreComboBox.h"
#include "Preferences.h"
#include "PreferencesWindowController.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QSlider>
#include <QTabWidget>
#include <QTest>

#include <gtest/gtest.h>

#include <functional>

using namespace kestrabel;
using namespace kestrabel::app;

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
        {"unknownKey", {}, [] { return UserDefaults::integerForKey(QStringLiteral("unknownKey"), 5); }, 5},
        {"unknownKey", {}, [] { return UserDefaults::stringForKey(QStringLiteral("unknownKey"), "x"); }, "x"},
        {"unknownKey", {}, [] { return UserDefaults::floatForKey(QStringLiteral("unknownKey"), 2.5f); }, 2.5f},
        {"unknownKey", {}, [=] { return UserDefaults::dateForKey(QStringLiteral("unknownKey"), when); }, when},
        {"zero", 0, [] { return UserDefaults::integerForKey(QStringLiteral("zero"), 5); }, 0},
        {"no", false, [] { return UserDefaults::boolForKey(QStringLiteral("no"), true); }, false},
        {"list", QVariantList{1, 2}, [] { return UserDefaults::arrayForKey(QStringLiteral("list"), {}).size(); }, 2},
        // A float written by the panel is a whole number to the panel, a float to the window.
        {kSecondsToShowWindow, 8.7f, [] { return UserDefaults::integerForKey(kSecondsToShowWindow); }, 8},
        {kSecondsToShowWindow, 8.7f, [] { return UserDefaults::floatForKey(kSecondsToShowWindow); }, 8.7f},
        {"text", "12.9", [] { return UserDefaults::integerForKey(QStringLiteral("text")); }, 12},
        {"flag", "true", [] { return UserDefaults::boolForKey(QStringLiteral("flag")); }, true},
        {"flag", "true", [] { return UserDefaults::integerForKey(QStringLiteral("flag")); }, 1},
        {"flag", "0", [] { return UserDefaults::boolForKey(QStringLiteral("flag")); }, false},
        {"huge", "1e99", [] { return UserDefaults::integerForKey(QStringLiteral("huge")); }, 0},
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
    EXPECT_TRUE(file.endsWith(QStringLiteral("/Kestrabel/Kestrabel.conf"))) << file.toStdString();
    EXPECT_TRUE(QFile::exists(file));
}

TEST_F(Preferences, PanelShowsTheStoredValuesAndWritesAChangeWithBothNotificationsInOrder)
{
    UserDefaults::setInteger(0, kWindowShowStyle);
    UserDefaults::setFloat(12.7f, kSecondsToShowWindow);
    UserDefaults::setInteger(122, kShowWindowKeyCode);
    UserDefaults::setInteger(12, kShowWindowKeyModifierKeyCode1);
    UserDefaults::setInteger(9, kShowWindowKeyModifierKeyCode2);
    auto *panel = new PreferencesWindowController;
    QWidget *window = panel->window();
    window->show();
    const auto popUp = [&](const char *name) { return window->findChild<QComboBox *>(QLatin1String(name)); };
    auto *seconds = window->findChild<QLineEdit *>(QStringLiteral("_textFieldSecondsToShow"));
    auto *style = window->findChild<RadioMatrix *>(QStringLiteral("_matrixWindowShowStyle"));
    auto *dontCheck = window->findChild<QCheckBox *>(QStringLiteral("_checkBoxDontCheckForUpdates"));
    EXPECT_EQ(style->selectedRow(), 0);
    EXPECT_EQ(seconds->text(), QStringLiteral("12"));
    EXPECT_FALSE(dontCheck->isChecked());
    EXPECT_EQ(popUp("_popUpButtonKeyComboKey")->currentText(), QStringLiteral("F1"));
    EXPECT_EQ(tagOfSelectedItem(popUp("_popUpButtonKeyCombo1")), 12);
    EXPECT_EQ(tagOfSelectedItem(popUp("_popUpButtonKeyCombo2")), 9);

    QStringList order;
    PreferenceNotifier &center = PreferenceNotifier::defaultCenter();
    auto a = QObject::connect(&center, &PreferenceNotifier::kNotification_ShowWindowKeyModifiersChangedKey,
                              [&] { order << QStringLiteral("modifiers"); });
    auto b = QObject::connect(&center, &PreferenceNotifier::kNotification_WindowShowParametersChangedKey,
                              [&] { order << QStringLiteral("parameters"); });
    selectItemWithTag(popUp("_popUpButtonKeyComboKey"), 101);
    selectItemWithTag(popUp("_popUpButtonKeyCombo1"), 11);
    selectItemWithTag(popUp("_popUpButtonKeyCombo2"), 0);
    seconds->setText(QStringLiteral("3.5"));
    style->selectCellAtRow(1);
    // The user's click is the action that writes.
    QTest::mouseClick(dontCheck, Qt::LeftButton);
    QObject::disconnect(a);
    QObject::disconnect(b);
    EXPECT_EQ(order, (QStringList{QStringLiteral("modifiers"), QStringLiteral("parameters")}));
    EXPECT_TRUE(UserDefaults::boolForKey(kDontCheckForUpdatesKey));
    EXPECT_EQ(UserDefaults::integerForKey(kShowWindowKeyCode), 101);
    EXPECT_EQ(UserDefaults::integerForKey(kShowWindowKeyModifierKeyCode1), 11);
    EXPECT_EQ(UserDefaults::integerForKey(kShowWindowKeyModifierKeyCode2), 0);
    EXPECT_EQ(UserDefaults::integerForKey(kWindowShowStyle), 1);
    EXPECT_FLOAT_EQ(UserDefaults::floatForKey(kSecondsToShowWindow), 3.5f);
    EXPECT_TRUE(QSettings(UserDefaults::standardUserDefaults()->fileName(), QSettings::IniFormat)
                    .contains(kShowWindowKeyCode));
    // A new panel reads the seconds back whole.
    PreferencesWindowController second;
    EXPECT_EQ(second.window()->findChild<QLineEdit *>(QStringLiteral("_textFieldSecondsToShow"))->text(),
              QStringLiteral("3"));
    QPointer<PreferencesWindowController> gone(panel);
    panel->OKButtonClicked();
    EXPECT_TRUE(apptest::waitUntil([&] { return gone.isNull(); }, 2000));
}

// Every kind of control through the registry: saved under a window's name, changed, restored.
TEST_F(Preferences, RegistryRestoresEveryKindOfControl)
{
    QWidget window;
    setFrameAutosaveName(&window, QStringLiteral("RoundTripWindow"));
    auto *field = new QLineEdit(QStringLiteral("typed"), &window);
    auto *check = new QCheckBox(&window);
    check->setChecked(true);
    auto *matrix = new RadioMatrix({QStringLiteral("a"), QStringLiteral("b")}, &window);
    matrix->selectCellAtRow(1);
    auto *slider = new QSlider(&window);
    slider->setRange(0, 100);
    slider->setValue(42);
    auto *notes = new QPlainTextEdit(QStringLiteral("line one\nline two"), &window);
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
    genre->setStringValue(QStringLiteral("Jazz"));
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
    genre->setStringValue(QStringLiteral("Techno"));
    restoreAutoSaveObjectsForWindow(&window);
    EXPECT_EQ(field->text(), QStringLiteral("typed"));
    EXPECT_TRUE(check->isChecked());
    EXPECT_EQ(matrix->selectedRow(), 1);
    EXPECT_EQ(slider->value(), 42);
    EXPECT_EQ(notes->toPlainText(), QStringLiteral("line one\nline two"));
    EXPECT_EQ(tabs->currentIndex(), 1);
    EXPECT_EQ(image->pixmap().toImage().pixelColor(3, 2), QColor(Qt::red));
    EXPECT_EQ(genre->currentText(), QStringLiteral("Jazz"));
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
        items << QStringLiteral("item %1").arg(i);
    history.addItems(items);
    history.setEditText(QStringLiteral("item 3"));
    const QStringList saved = saveAutoSaveObject(&history).toStringList();
    EXPECT_EQ(saved, QStringList{items[2]} + items.mid(0, 2) + items.mid(3, 7));
    QComboBox restored;
    restored.setEditable(true);
    ASSERT_TRUE(restoreAutoSaveObject(&restored, saved));
    EXPECT_EQ(restored.count(), 10);
    EXPECT_EQ(restored.currentText(), items[2]);
    // A pop-up's index beyond its items keeps the selection.
    QComboBox popUp;
    popUp.addItems({QStringLiteral("one"), QStringLiteral("two"), QStringLiteral("three")});
    popUp.setCurrentIndex(1);
    EXPECT_EQ(saveAutoSaveObject(&popUp), QVariant(1));
    EXPECT_TRUE(restoreAutoSaveObject(&popUp, 7));
    EXPECT_EQ(popUp.currentIndex(), 1);

    // A bad stored value is logged, and the others are still restored.
    QLineEdit field(QStringLiteral("unchanged"));
    addAutoSaveObject(&popUp, QStringLiteral("Bad"), QStringLiteral("a popup"));
    addAutoSaveObject(&field, QStringLiteral("Bad"), QStringLiteral("b field"));
    UserDefaults::setObject(QVariantMap{{QStringLiteral("a popup"), QStringLiteral("not a number")},
                                        {QStringLiteral("b field"), QStringLiteral("restored")}},
                            QStringLiteral("Bad"));
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &,
                                                                const QString &message) {
        if (type == QtWarningMsg)
            capturedWarnings << message;
    });
    restoreAutoSaveObjectsForName(QStringLiteral("Bad"));
    qInstallMessageHandler(previous);
    EXPECT_EQ(popUp.currentIndex(), 1);
    EXPECT_EQ(field.text(), QStringLiteral("restored"));
    EXPECT_TRUE(capturedWarnings.contains(
        QStringLiteral("Exception throwing restoring auto-save preferences. Resetting to defaults.")));

    // Restoring needs both the registration and the stored dictionary.
    field.setText(QStringLiteral("unchanged"));
    addAutoSaveObject(&field, QStringLiteral("NeverSaved"), QStringLiteral("key"));
    restoreAutoSaveObjectsForName(QStringLiteral("NeverSaved"));
    UserDefaults::setObject(QVariantMap{{QStringLiteral("key"), QStringLiteral("x")}}, QStringLiteral("Unregistered"));
    restoreAutoSaveObjectsForName(QStringLiteral("Unregistered"));
    EXPECT_EQ(field.text(), QStringLiteral("unchanged"));
    // Nothing is registered without a name or a control, nor for a window without a name.
    apptest::resetSettings();
    addAutoSaveObject(&field, QString(), QStringLiteral("key"));
    addAutoSaveObject(nullptr, QStringLiteral("NoControl"), QStringLiteral("key"));
    saveAutoSaveObjectsForName(QStringLiteral("NoControl"));
    QWidget nameless;
    addAutoSaveObjectForWindow(&field, &nameless, QStringLiteral("key"));
    saveAutoSaveObjectsForWindow(&nameless);
    EXPECT_TRUE(UserDefaults::standardUserDefaults()->allKeys().isEmpty());
}

} // namespace
