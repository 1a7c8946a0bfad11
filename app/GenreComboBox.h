// The genre box: an editable combo box over the genre list, sorted without regard to letter case,
// with case-insensitive completion of what the user types.
#pragma once

#include <QAbstractListModel>
#include <QComboBox>
#include <QStringList>

namespace kestrabel::app {

class GenreComboBoxDataSource : public QAbstractListModel {
    Q_OBJECT
public:
    explicit GenreComboBoxDataSource(QObject *parent = nullptr);

    int numberOfItems() const;
    QString objectValueForItemAtIndex(int index) const;
    // The first index holding exactly this text; the count of items when none does (not -1).
    int indexOfItemWithStringValue(const QString &value) const;
    // The first genre, in sorted order, that begins with the text ignoring letter case; empty when
    // none does.
    QString completedString(const QString &prefix) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;

private:
    QStringList genres_;
};

class GenreComboBox : public QComboBox {
    Q_OBJECT
public:
    explicit GenreComboBox(QWidget *parent = nullptr);

    void awakeFromNib();
    bool usesDataSource() const { return dataSource_ != nullptr; }
    GenreComboBoxDataSource *dataSource() const { return dataSource_; }

    // Selects the genre when the list has it, else shows the text as typed.
    void setStringValue(const QString &value);

private:
    void completeTypedText(const QString &typed);

    GenreComboBoxDataSource *dataSource_ = nullptr;
    bool awake_ = false;
    QString lastTyped_;
};

} // namespace kestrabel::app
