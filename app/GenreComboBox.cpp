#include "GenreComboBox.h"

#include <kestrabel/MediaFile.h>

#include <QLineEdit>

#include <algorithm>

namespace kestrabel::app {

namespace {

constexpr int kVisibleItems = 10;

} // namespace

GenreComboBoxDataSource::GenreComboBoxDataSource(QObject *parent) : QAbstractListModel(parent)
{
    const int32_t count = MediaFileGetGenreCount();
    genres_.reserve(count);
    for (int32_t i = 0; i < count; ++i) {
        if (const char *name = MediaFileGetGenreName(i))
            genres_.append(QString::fromUtf8(name));
    }
    std::stable_sort(genres_.begin(), genres_.end(), [](const QString &a, const QString &b) {
        return QString::compare(a, b, Qt::CaseInsensitive) < 0;
    });
}

int GenreComboBoxDataSource::numberOfItems() const
{
    return static_cast<int>(genres_.size());
}

QString GenreComboBoxDataSource::objectValueForItemAtIndex(int index) const
{
    return genres_.value(index);
}

int GenreComboBoxDataSource::indexOfItemWithStringValue(const QString &value) const
{
    const auto found = genres_.indexOf(value);
    return found < 0 ? numberOfItems() : static_cast<int>(found);
}

QString GenreComboBoxDataSource::completedString(const QString &prefix) const
{
    for (const QString &genre : genres_) {
        if (genre.startsWith(prefix, Qt::CaseInsensitive))
            return genre;
    }
    return QString(QLatin1String(""));
}

int GenreComboBoxDataSource::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : numberOfItems();
}

QVariant GenreComboBoxDataSource::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= numberOfItems())
        return {};
    if (role == Qt::DisplayRole || role == Qt::EditRole)
        return genres_[index.row()];
    return {};
}

GenreComboBox::GenreComboBox(QWidget *parent) : QComboBox(parent)
{
    setEditable(true);
    setInsertPolicy(QComboBox::NoInsert);
    setCompleter(nullptr);
}

void GenreComboBox::awakeFromNib()
{
    setMaxVisibleItems(kVisibleItems);
    if (awake_)
        return;
    awake_ = true;
    dataSource_ = new GenreComboBoxDataSource(this);
    setModel(dataSource_);
    setCurrentIndex(-1);
    connect(lineEdit(), &QLineEdit::textEdited, this, &GenreComboBox::completeTypedText);
}

void GenreComboBox::setStringValue(const QString &value)
{
    if (dataSource_) {
        const int index = dataSource_->indexOfItemWithStringValue(value);
        setCurrentIndex(index < dataSource_->numberOfItems() ? index : -1);
    }
    setEditText(value);
}

void GenreComboBox::completeTypedText(const QString &typed)
{
    QLineEdit *field = lineEdit();
    // Deleting must not be undone by completing the text again.
    const bool typedAtEnd = field->cursorPosition() == typed.size();
    const bool grew = typed.size() > lastTyped_.size();
    lastTyped_ = typed;
    if (!dataSource_ || typed.isEmpty() || !typedAtEnd || !grew)
        return;
    const QString completion = dataSource_->completedString(typed);
    if (completion.size() <= typed.size())
        return;
    field->setText(typed + completion.mid(typed.size()));
    field->setSelection(static_cast<int>(typed.size()), static_cast<int>(completion.size() - typed.size()));
}

} // namespace kestrabel::app
