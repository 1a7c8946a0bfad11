// The genre box's data-source rules and typing completion; the hot key's stored form and its
// meaning on X11.
#include "AppTestSupport.h"

#include "GenreComboBox.h"
#include "HotKeyMapping.h"

#include "core/Genres.h"

#include <QLineEdit>
#include <QTest>

#include <gtest/gtest.h>

#include <set>

using namespace kestrabel;
using namespace kestrabel::app;

namespace {

TEST(GenreDataSource, HoldsTheWholeListSortedIgnoringCase)
{
    GenreComboBoxDataSource source;
    ASSERT_EQ(source.numberOfItems(), kID3GenreCount);
    for (int i = 1; i < source.numberOfItems(); ++i) {
        EXPECT_LE(QString::compare(source.objectValueForItemAtIndex(i - 1), source.objectValueForItemAtIndex(i),
                                   Qt::CaseInsensitive),
                  0)
            << i;
    }
    std::set<QString> names;
    for (int i = 0; i < source.numberOfItems(); ++i)
        names.insert(source.objectValueForItemAtIndex(i));
    for (int i = 0; i < kID3GenreCount; ++i)
        EXPECT_TRUE(names.count(QString::fromUtf8(genreName(i)))) << genreName(i);
    // Sorting ignores case: "AlternRock" sits between "Alternative" and "Ambient", "Bebob" before "Big Band".
    EXPECT_LT(source.indexOfItemWithStringValue(QStringLiteral("Alternative")),
              source.indexOfItemWithStringValue(QStringLiteral("AlternRock")));
    EXPECT_LT(source.indexOfItemWithStringValue(QStringLiteral("AlternRock")),
              source.indexOfItemWithStringValue(QStringLiteral("Ambient")));
    EXPECT_EQ(source.objectValueForItemAtIndex(0), QStringLiteral("Acapella"));
}

TEST(GenreDataSource, UnknownStringsGiveTheCountAndCaseMatters)
{
    GenreComboBoxDataSource source;
    const int rock = source.indexOfItemWithStringValue(QStringLiteral("Rock"));
    ASSERT_LT(rock, source.numberOfItems());
    EXPECT_EQ(source.objectValueForItemAtIndex(rock), QStringLiteral("Rock"));
    EXPECT_EQ(source.indexOfItemWithStringValue(QStringLiteral("rock")), source.numberOfItems());
    EXPECT_EQ(source.indexOfItemWithStringValue(QStringLiteral("Chiptune")), source.numberOfItems());
    EXPECT_EQ(source.indexOfItemWithStringValue(QString()), source.numberOfItems());
    // The deliberate spellings of the list are kept.
    EXPECT_LT(source.indexOfItemWithStringValue(QStringLiteral("Psychadelic")), source.numberOfItems());
}

TEST(GenreDataSource, CompletionIsTheFirstSortedMatchIgnoringCase)
{
    GenreComboBoxDataSource source;
    EXPECT_EQ(source.completedString(QStringLiteral("roc")), QStringLiteral("Rock"));
    EXPECT_EQ(source.completedString(QStringLiteral("ROCK &")), QStringLiteral("Rock & Roll"));
    EXPECT_EQ(source.completedString(QStringLiteral("ja")), QStringLiteral("Jazz"));
    EXPECT_EQ(source.completedString(QStringLiteral("jazz+")), QStringLiteral("Jazz+Funk"));
    EXPECT_EQ(source.completedString(QStringLiteral("alternr")), QStringLiteral("AlternRock"));
    EXPECT_EQ(source.completedString(QStringLiteral("zzz")), QString());
    EXPECT_FALSE(source.completedString(QStringLiteral("zzz")).isNull());
}

TEST(GenreComboBoxTest, SwitchesToItsDataSourceOnce)
{
    GenreComboBox box;
    EXPECT_FALSE(box.usesDataSource());
    box.awakeFromNib();
    ASSERT_TRUE(box.usesDataSource());
    GenreComboBoxDataSource *first = box.dataSource();
    box.awakeFromNib();
    EXPECT_EQ(box.dataSource(), first);
    EXPECT_EQ(box.maxVisibleItems(), 10);
    EXPECT_EQ(box.count(), kID3GenreCount);
}

TEST(GenreComboBoxTest, TypingCompletesAndDeletingDoesNotComeBack)
{
    GenreComboBox box;
    box.awakeFromNib();
    box.show();
    QLineEdit *field = box.lineEdit();
    field->clear();
    field->setFocus();
    QTest::keyClicks(field, QStringLiteral("tec"));
    EXPECT_EQ(field->text(), QStringLiteral("techno"));
    EXPECT_EQ(field->selectedText(), QStringLiteral("hno"));
    QTest::keyClick(field, Qt::Key_Backspace);
    EXPECT_EQ(field->text(), QStringLiteral("tec"));
    QTest::keyClicks(field, QStringLiteral("h"));
    EXPECT_EQ(field->text(), QStringLiteral("techno"));
}

TEST(GenreComboBoxTest, UnknownGenreIsShownAsItIs)
{
    GenreComboBox box;
    box.awakeFromNib();
    box.setStringValue(QStringLiteral("Chiptune"));
    EXPECT_EQ(box.currentText(), QStringLiteral("Chiptune"));
    EXPECT_EQ(box.currentIndex(), -1);
    box.setStringValue(QStringLiteral("Jazz"));
    EXPECT_EQ(box.currentText(), QStringLiteral("Jazz"));
    EXPECT_EQ(box.itemText(box.currentIndex()), QStringLiteral("Jazz"));
}

TEST(HotKeyMask, DefaultModifiersGive257)
{
    EXPECT_EQ(hotKeyModifierMask(8, 0), 257u);
    EXPECT_EQ(hotKeyModifierMask(0, 0), 1u);
    EXPECT_EQ(hotKeyModifierMask(9, 12), (1u << 9) | (1u << 12));
}

TEST(HotKeyMask, ShiftCountsAreTakenModuloThirtyTwo)
{
    EXPECT_EQ(hotKeyModifierMask(40, 0), hotKeyModifierMask(8, 0));
    EXPECT_EQ(hotKeyModifierMask(32, 33), 3u);
    EXPECT_EQ(hotKeyModifierMask(-1, 0), (1u << 31) | 1u);
}

TEST(HotKeyMask, X11ModifiersIgnoreBitsWithoutMeaning)
{
    EXPECT_EQ(x11ModifiersForMask(257), 0x40);
    EXPECT_EQ(x11ModifiersForMask(1), 0);
    EXPECT_EQ(x11ModifiersForMask(hotKeyModifierMask(kControlKeyBit, kOptionKeyBit)), 0x04 | 0x08);
    EXPECT_EQ(x11ModifiersForMask(hotKeyModifierMask(kShiftKeyBit, kShiftKeyBit)), 0x01);
    EXPECT_EQ(x11ModifiersForMask(1u << 10), 0);
}

TEST(HotKeyKeys, StoredCodesMeanTheirKeys)
{
    const HotKeyKey *escape = hotKeyKeyForCode(kEscapeKeyCode);
    ASSERT_NE(escape, nullptr);
    EXPECT_STREQ(escape->name, "Escape");
    EXPECT_EQ(escape->keysym, 0xff1bu);
    EXPECT_EQ(hotKeyKeyForCode(122)->keysym, 0xffbeu);
    EXPECT_EQ(hotKeyKeyForCode(49)->keysym, 0x20u);
    // Code 0 is "no hot key", never a key.
    EXPECT_EQ(hotKeyKeyForCode(0), nullptr);
    std::set<int> codes;
    for (const HotKeyKey &key : hotKeyKeys()) {
        EXPECT_GE(key.keyCode, 1) << key.name;
        EXPECT_TRUE(codes.insert(key.keyCode).second) << key.name;
    }
    EXPECT_EQ(hotKeyDescription(53, 257), QStringLiteral("Super+Escape"));
    EXPECT_EQ(hotKeyDescription(122, hotKeyModifierMask(kControlKeyBit, kShiftKeyBit)),
              QStringLiteral("Shift+Control+F1"));
}

} // namespace
