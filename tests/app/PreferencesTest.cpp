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
#include <QSignalSpy>
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

void captureWarnings(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtWarningMsg)
        capturedWarnings << message;
}

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
        {kWindowShowStyle, {}, [] { return UserDefaults::integerForKey(kWindowShowStyle); }, 1},
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

TEST_F(Preferences, PanelShowsTheStoredValues)
{
    UserDefaults::setInteger(0, kWindowShowStyle);
    UserDefaults::setFloat(12.7f, kSecondsToShowWindow);
    UserDefaults::setBool(true, kDontCheckForUpdatesKey);
    UserDefaults::setInteger(122, kShowWindowKeyCode);
    UserDefaults::setInteger(12, kShowWindowKeyModifierKeyCode1);
    UserDefaults::setInteger(9, kShowWindowKeyModifierKeyCode2);

    auto *panel = new PreferencesWindowController;
    QWidget *window = panel->window();
    EXPECT_EQ(window->findChild<RadioMatrix *>(QStringLiteral("_matrixWindowShowStyle"))->selectedRow(), 0);
    EXPECT_EQ(window->findChild<QLineEdit *>(QStringLiteral("_textFieldSecondsToShow"))->text(), QStringLiteral("12"));
    EXPECT_TRUE(window->findChild<QCheckBox *>(QStringLiteral("_checkBoxDontCheckForUpdates"))->isChecked());
    auto *key = window->findChild<QComboBox *>(QStringLiteral("_popUpButtonKeyComboKey"));
    EXPECT_EQ(tagOfSelectedItem(key), 122);
    EXPECT_EQ(key->currentText(), QStringLiteral("F1"));
    EXPECT_EQ(tagOfSelectedItem(window->findChild<QComboBox *>(QStringLiteral("_popUpButtonKeyCombo1"))), 12);
    EXPECT_EQ(tagOfSelectedItem(window->findChild<QComboBox *>(QStringLiteral("_popUpButtonKeyCombo2"))), 9);
    delete panel;
}

TEST_F(Preferences, PanelChangeWritesEverythingAndPostsBothNotificationsInOrder)
{
    auto *panel = new PreferencesWindowController;
    QWidget *window = panel->window();
    window->show();

    QStringList order;
    PreferenceNotifier &center = PreferenceNotifier::defaultCenter();
    auto a = QObject::connect(&center, &PreferenceNotifier::kNotification_ShowWindowKeyModifiersChangedKey,
                              [&] { order << QStringLiteral("modifiers"); });
    auto b = QObject::connect(&center, &PreferenceNotifier::kNotification_WindowShowParametersChangedKey,
                              [&] { order << QStringLiteral("parameters"); });

    selectItemWithTag(window->findChild<QComboBox *>(QStringLiteral("_popUpButtonKeyComboKey")), 101);
    selectItemWithTag(window->findChild<QComboBox *>(QStringLiteral("_popUpButtonKeyCombo1")), 11);
    selectItemWithTag(window->findChild<QComboBox *>(QStringLiteral("_popUpButtonKeyCombo2")), 0);
    window->findChild<QLineEdit *>(QStringLiteral("_textFieldSecondsToShow"))->setText(QStringLiteral("3.5"));
    window->findChild<RadioMatrix *>(QStringLiteral("_matrixWindowShowStyle"))->selectCellAtRow(0);
    // The user's click is the action that writes.
    QTest::mouseClick(window->findChild<QCheckBox *>(QStringLiteral("_checkBoxDontCheckForUpdates")), Qt::LeftButton);

    EXPECT_EQ(order, (QStringList{QStringLiteral("modifiers"), QStringLiteral("parameters")}));
    EXPECT_TRUE(UserDefaults::boolForKey(kDontCheckForUpdatesKey));
    EXPECT_EQ(UserDefaults::integerForKey(kShowWindowKeyCode), 101);
    EXPECT_EQ(UserDefaults::integerForKey(kShowWindowKeyModifierKeyCode1), 11);
    EXPECT_EQ(UserDefaults::integerForKey(kShowWindowKeyModifierKeyCode2), 0);
    EXPECT_EQ(UserDefaults::integerForKey(kWindowShowStyle), 0);
    EXPECT_FLOAT_EQ(UserDefaults::floatForKey(kSecondsToShowWindow), 3.5f);
    // Written to the file, not only held in memory.
    EXPECT_TRUE(QSettings(UserDefaults::standardUserDefaults()->fileName(), QSettings::IniFormat)
                    .contains(kShowWindowKeyCode));

    // A new panel reads the seconds back whole.
    auto *second = new PreferencesWindowController;
    EXPECT_EQ(second->window()->findChild<QLineEdit *>(QStringLiteral("_textFieldSecondsToShow"))->text(),
              QStringLiteral("3"));
    delete second;

    QObject::disconnect(a);
    QObject::disconnect(b);
    QPointer<PreferencesWindowController> gone(panel);
    panel->OKButtonClicked();
    EXPECT_TRUE(apptest::waitUntil([&] { return gone.isNull(); }, 2000));
}

// The text typed goes first, an earlier copy of it is dropped, and ten entries are kept.
TEST_F(Preferences, ComboBoxHistoryPutsTheTextFirstWithoutRepeatsAndKeepsTen)
{
    QComboBox box;
    box.setEditable(true);
    QStringList items;
    for (int i = 1; i <= 12; ++i)
        items << QStringLiteral("item %1").arg(i);
    box.addItems(items);
    box.setEditText(QStringLiteral("item 3"));
    const QStringList saved = saveAutoSaveObject(&box).toStringList();
    EXPECT_EQ(saved, QStringList{items[2]} + items.mid(0, 2) + items.mid(3, 7));

    QComboBox restored;
    restored.setEditable(true);
    ASSERT_TRUE(restoreAutoSaveObject(&restored, saved));
    EXPECT_EQ(restored.count(), 10);
    EXPECT_EQ(restored.currentText(), items[2]);
}

TEST_F(Preferences, GenreBoxWithItsDataSourceSavesItsText)
{
    GenreComboBox genre;
    genre.awakeFromNib();
    genre.setStringValue(QStringLiteral("Jazz"));
    EXPECT_EQ(saveAutoSaveObject(&genre), QVariant(QStringLiteral("Jazz")));
    ASSERT_TRUE(restoreAutoSaveObject(&genre, QStringLiteral("Techno")));
    EXPECT_EQ(genre.currentText(), QStringLiteral("Techno"));
    // The data source's items are untouched by a restore.
    EXPECT_EQ(genre.count(), 148);
}

TEST_F(Preferences, PopUpIndexBeyondItsItemsKeepsTheSelection)
{
    QComboBox popUp;
    popUp.addItems({QStringLiteral("one"), QStringLiteral("two"), QStringLiteral("three")});
    popUp.setCurrentIndex(1);
    EXPECT_EQ(saveAutoSaveObject(&popUp), QVariant(1));
    EXPECT_TRUE(restoreAutoSaveObject(&popUp, 7));
    EXPECT_EQ(popUp.currentIndex(), 1);
    EXPECT_TRUE(restoreAutoSaveObject(&popUp, 2));
    EXPECT_EQ(popUp.currentIndex(), 2);
}

TEST_F(Preferences, RegistryRoundTripThroughTheSettings)
{
    const QString name = QStringLiteral("RoundTripWindow");
    QWidget window;
    setFrameAutosaveName(&window, name);
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
    auto *first = new QWidget;
    first->setObjectName(QStringLiteral("first"));
    auto *second = new QWidget;
    second->setObjectName(QStringLiteral("second"));
    tabs->addTab(first, QStringLiteral("1"));
    tabs->addTab(second, QStringLiteral("2"));
    tabs->setCurrentIndex(1);
    auto *image = new QLabel(&window);
    QPixmap pixmap(4, 3);
    pixmap.fill(Qt::red);
    image->setPixmap(pixmap);

    addAutoSaveObjectForWindow(field, &window, QStringLiteral("field"));
    addAutoSaveObjectForWindow(check, &window, QStringLiteral("check"));
    addAutoSaveObjectForWindow(matrix, &window, QStringLiteral("matrix"));
    addAutoSaveObjectForWindow(slider, &window, QStringLiteral("slider"));
    addAutoSaveObjectForWindow(notes, &window, QStringLiteral("notes"));
    addAutoSaveObjectForWindow(tabs, &window, QStringLiteral("tabs"));
    addAutoSaveObjectForWindow(image, &window, QStringLiteral("image"));
    saveAutoSaveObjectsForWindow(&window);

    field->clear();
    check->setChecked(false);
    matrix->selectCellAtRow(0);
    slider->setValue(0);
    notes->clear();
    tabs->setCurrentIndex(0);
    image->clear();
    restoreAutoSaveObjectsForWindow(&window);

    EXPECT_EQ(field->text(), QStringLiteral("typed"));
    EXPECT_TRUE(check->isChecked());
    EXPECT_EQ(matrix->selectedRow(), 1);
    EXPECT_EQ(slider->value(), 42);
    EXPECT_EQ(notes->toPlainText(), QStringLiteral("line one\nline two"));
    EXPECT_EQ(tabs->currentIndex(), 1);
    EXPECT_EQ(image->pixmap().size(), QSize(4, 3));
    EXPECT_EQ(image->pixmap().toImage().pixelColor(0, 0), QColor(Qt::red));
}

TEST_F(Preferences, BadStoredValueIsLoggedAndTheOthersAreStillRestored)
{
    const QString name = QStringLiteral("BadValues");
    QComboBox popUp;
    popUp.addItems({QStringLiteral("one"), QStringLiteral("two")});
    popUp.setCurrentIndex(1);
    QLineEdit field;
    addAutoSaveObject(&popUp, name, QStringLiteral("a popup"));
    addAutoSaveObject(&field, name, QStringLiteral("b field"));
    UserDefaults::setObject(QVariantMap{{QStringLiteral("a popup"), QStringLiteral("not a number")},
                                        {QStringLiteral("b field"), QStringLiteral("restored")}},
                            name);

    capturedWarnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(captureWarnings);
    restoreAutoSaveObjectsForName(name);
    qInstallMessageHandler(previous);

    EXPECT_EQ(popUp.currentIndex(), 1);
    EXPECT_EQ(field.text(), QStringLiteral("restored"));
    EXPECT_TRUE(capturedWarnings.contains(
        QStringLiteral("Exception throwing restoring auto-save preferences. Resetting to defaults.")));
}

TEST_F(Preferences, NothingIsRegisteredWithoutANameOrAControl)
{
    QLineEdit field(QStringLiteral("kept"));
    addAutoSaveObject(&field, QString(), QStringLiteral("key"));
    addAutoSaveObject(nullptr, QStringLiteral("NoControl"), QStringLiteral("key"));
    saveAutoSaveObjectsForName(QStringLiteral("NoControl"));
    EXPECT_FALSE(UserDefaults::objectForKey(QStringLiteral("NoControl")).isValid());
    // A window without an auto-save name registers nothing either.
    QWidget window;
    addAutoSaveObjectForWindow(&field, &window, QStringLiteral("key"));
    saveAutoSaveObjectsForWindow(&window);
    EXPECT_TRUE(UserDefaults::standardUserDefaults()->allKeys().isEmpty());
}

TEST_F(Preferences, RestoreNeedsBothTheRegistrationAndTheStoredDictionary)
{
    QLineEdit field(QStringLiteral("unchanged"));
    addAutoSaveObject(&field, QStringLiteral("NeverSaved"), QStringLiteral("key"));
    restoreAutoSaveObjectsForName(QStringLiteral("NeverSaved"));
    EXPECT_EQ(field.text(), QStringLiteral("unchanged"));
    UserDefaults::setObject(QVariantMap{{QStringLiteral("key"), QStringLiteral("x")}}, QStringLiteral("Unregistered"));
    restoreAutoSaveObjectsForName(QStringLiteral("Unregistered"));
    EXPECT_EQ(field.text(), QStringLiteral("unchanged"));
}

} // namespace
