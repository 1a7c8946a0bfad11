// The genre box's sorted list and typing completion; the hot key's stored form and what it means
// to X11 and to the desktop's shortcut portal.
#include "AppTestSupport.h"

#include "GenreComboBox.h"
#include "HotKeyMapping.h"
#include "ShortcutPortal.h"

#include "core/Genres.h"

// Last: Xlib's macros would clash with the names above.
#include <X11/X.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>

using namespace kestrabel;
using namespace kestrabel::app;

namespace {

// Row: a text → where the data source has it (-1: not there, so the count of items) and what it
// completes to. Sorting ignores case, matching does not; the list's own spellings are kept.
TEST(GenreBox, ListIsSortedIgnoringCaseAndCompletesTheFirstMatch)
{
    GenreComboBoxDataSource source;
    ASSERT_EQ(source.numberOfItems(), kID3GenreCount);
    std::set<QString> names;
    for (int i = 0; i < source.numberOfItems(); ++i) {
        names.insert(source.objectValueForItemAtIndex(i));
        if (i > 0) {
            EXPECT_LE(QString::compare(source.objectValueForItemAtIndex(i - 1), source.objectValueForItemAtIndex(i),
                                       Qt::CaseInsensitive), 0) << i;
        }
    }
    for (int i = 0; i < kID3GenreCount; ++i)
        EXPECT_TRUE(names.count(QString::fromUtf8(genreName(i)))) << genreName(i);
    const struct {
        const char *text;
        int index;
        const char *completion;
    } rows[] = {
        {"Acapella", 0, "Acapella"},      {"Alternative", 5, "Alternative"}, {"AlternRock", 6, "AlternRock"},
        {"Ambient", 7, "Ambient"},        {"Rock", -2, "Rock"},              {"rock", -1, "Rock"},
        {"Psychadelic", -2, "Psychadelic"}, {"Chiptune", -1, ""},            {"", -1, "Acapella"},
        {"ROCK &", -1, "Rock & Roll"},    {"ja", -1, "Jazz"},                {"jazz+", -1, "Jazz+Funk"},
        {"alternr", -1, "AlternRock"},    {"zzz", -1, ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.text);
        const int index = source.indexOfItemWithStringValue(QLatin1String(row.text));
        if (row.index == -1)
            EXPECT_EQ(index, source.numberOfItems());
        else if (row.index == -2)
            EXPECT_EQ(source.objectValueForItemAtIndex(index), QLatin1String(row.text));
        else
            EXPECT_EQ(index, row.index);
        const QString completion = source.completedString(QLatin1String(row.text));
        EXPECT_EQ(completion, QLatin1String(row.completion));
        EXPECT_FALSE(completion.isNull());
    }
}

TEST(GenreBox, SwitchesToItsDataSourceOnceCompletesTypingAndShowsUnknownGenresAsTheyAre)
{
    GenreComboBox box;
    EXPECT_FALSE(box.usesDataSource());
    box.awakeFromNib();
    GenreComboBoxDataSource *first = box.dataSource();
    box.awakeFromNib();
    EXPECT_EQ(box.dataSource(), first);
    EXPECT_EQ(box.maxVisibleItems(), 10);
    EXPECT_EQ(box.count(), kID3GenreCount);
    box.show();
    QLineEdit *field = box.lineEdit();
    field->clear();
    field->setFocus();
    QTest::keyClicks(field, QStringLiteral("tec"));
    EXPECT_EQ(field->text(), QStringLiteral("techno"));
    EXPECT_EQ(field->selectedText(), QStringLiteral("hno"));
    // A deleted completion does not come back until more is typed.
    QTest::keyClick(field, Qt::Key_Backspace);
    EXPECT_EQ(field->text(), QStringLiteral("tec"));
    QTest::keyClicks(field, QStringLiteral("h"));
    EXPECT_EQ(field->text(), QStringLiteral("techno"));
    box.setStringValue(QStringLiteral("Chiptune"));
    EXPECT_EQ(box.currentText(), QStringLiteral("Chiptune"));
    EXPECT_EQ(box.currentIndex(), -1);
    box.setStringValue(QStringLiteral("Jazz"));
    EXPECT_EQ(box.itemText(box.currentIndex()), QStringLiteral("Jazz"));
}

// Every key the preferences offer: Xlib reads the portal's trigger name as the key's own keysym,
// and the description names the key. Code 0 is "no hot key", never a key.
TEST(HotKeyTable, EveryKeyMeansItsKeysymToX11AndThePortal)
{
    std::set<int> codes;
    for (const HotKeyKey &key : hotKeyKeys()) {
        SCOPED_TRACE(key.name);
        EXPECT_GE(key.keyCode, 1);
        EXPECT_TRUE(codes.insert(key.keyCode).second);
        EXPECT_EQ(hotKeyKeyForCode(key.keyCode), &key);
        const QString trigger = ShortcutPortal::triggerFor(key.keyCode, 0);
        EXPECT_EQ(XStringToKeysym(trigger.toLatin1().constData()), KeySym(key.keysym)) << trigger.toStdString();
        EXPECT_EQ(hotKeyDescription(key.keyCode, 1), QLatin1String(key.name));
    }
    EXPECT_EQ(hotKeyKeyForCode(0), nullptr);
    EXPECT_EQ(ShortcutPortal::triggerFor(999, 0), "");
    // A few stored codes with their keys, so that a code swapped between two rows is seen too.
    for (const auto &[code, keysym] : {std::pair{53, XK_Escape}, {122, XK_F1}, {96, XK_F5}, {49, XK_space},
                                       {116, XK_Prior}, {11, XK_b}, {29, XK_0}, {6, XK_z}})
        EXPECT_EQ(hotKeyKeyForCode(code)->keysym, uint32_t(keysym)) << code;
}

// Row: the two stored modifier bits → the mask (the shift counts modulo 32), its X11 modifiers,
// the portal's trigger and the description of that mask with Escape.
TEST(HotKeyTable, ModifierBitsMeanTheirX11MasksAndTriggerNames)
{
    const struct {
        int first, second;
        uint32_t mask;
        uint16_t x11;
        const char *trigger;
        const char *description;
    } rows[] = {
        {kCommandKeyBit, 0, 257, Mod4Mask, "LOGO+Escape", "Super+Escape"},
        {0, 0, 1, 0, "Escape", "Escape"},
        {kShiftKeyBit, kShiftKeyBit, 1u << 9, ShiftMask, "SHIFT+Escape", "Shift+Escape"},
        {kControlKeyBit, kShiftKeyBit, 0x1200, ControlMask | ShiftMask, "CTRL+SHIFT+Escape", "Shift+Control+Escape"},
        {kOptionKeyBit, kControlKeyBit, 0x1800, Mod1Mask | ControlMask, "CTRL+ALT+Escape", "Alt+Control+Escape"},
        {40, 0, 257, Mod4Mask, "LOGO+Escape", "Super+Escape"},
        {32, 33, 3, 0, "Escape", "Escape"},
        {-1, 0, (1u << 31) | 1u, 0, "Escape", "Escape"},
        {10, 0, (1u << 10) | 1u, 0, "Escape", "Escape"},
    };
    std::map<int, int> tested;
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.first << "," << row.second);
        ++tested[row.first];
        EXPECT_EQ(hotKeyModifierMask(row.first, row.second), row.mask);
        EXPECT_EQ(x11ModifiersForMask(row.mask), row.x11);
        EXPECT_EQ(ShortcutPortal::triggerFor(kEscapeKeyCode, row.mask), QLatin1String(row.trigger));
        EXPECT_EQ(hotKeyDescription(kEscapeKeyCode, row.mask), QLatin1String(row.description));
    }
    for (const HotKeyModifier &modifier : hotKeyModifiers())
        EXPECT_TRUE(tested.count(modifier.bit)) << "no row for the modifier " << modifier.name;
}

} // namespace
