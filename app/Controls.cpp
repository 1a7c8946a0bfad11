#include "Controls.h"

#include <QRadioButton>
#include <QVBoxLayout>

namespace kestrabel::app {

void addItemWithTag(QComboBox *popUp, const QString &title, int tag)
{
    popUp->addItem(title, tag);
}

bool selectItemWithTag(QComboBox *popUp, int tag)
{
    const int index = popUp->findData(tag);
    if (index < 0)
        return false;
    popUp->setCurrentIndex(index);
    return true;
}

int tagOfSelectedItem(const QComboBox *popUp)
{
    const QVariant data = popUp->currentData();
    bool ok = false;
    const int tag = data.toInt(&ok);
    return ok ? tag : -1;
}

void removeItemWithTag(QComboBox *popUp, int tag)
{
    const int index = popUp->findData(tag);
    if (index >= 0)
        popUp->removeItem(index);
}

RadioMatrix::RadioMatrix(const QStringList &rows, QWidget *parent) : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    for (int row = 0; row < rows.size(); ++row) {
        auto *button = new QRadioButton(rows[row], this);
        group_.addButton(button, row);
        layout->addWidget(button);
    }
    connect(&group_, &QButtonGroup::idClicked, this, &RadioMatrix::action);
}

int RadioMatrix::numberOfRows() const
{
    return static_cast<int>(group_.buttons().size());
}

int RadioMatrix::selectedRow() const
{
    return group_.checkedId();
}

void RadioMatrix::selectCellAtRow(int row)
{
    if (QAbstractButton *button = group_.button(row))
        button->setChecked(true);
}

} // namespace kestrabel::app
