// Small controls the windows share: a pop-up whose items carry tags, and a one-column radio
// matrix whose selection is a row number.
#pragma once

#include <QButtonGroup>
#include <QComboBox>
#include <QStringList>
#include <QWidget>

namespace kestrabel::app {

// A pop-up item's tag lives in its Qt::UserRole data.
void addItemWithTag(QComboBox *popUp, const QString &title, int tag);
// Selects the first item with that tag; false (and no change) when none has it.
bool selectItemWithTag(QComboBox *popUp, int tag);
// The selected item's tag; -1 when nothing is selected.
int tagOfSelectedItem(const QComboBox *popUp);
void removeItemWithTag(QComboBox *popUp, int tag);

class RadioMatrix : public QWidget {
    Q_OBJECT
public:
    explicit RadioMatrix(const QStringList &rows, QWidget *parent = nullptr);

    int numberOfRows() const;
    // -1 when no row is selected.
    int selectedRow() const;
    // Rows outside the matrix select nothing and change nothing.
    void selectCellAtRow(int row);

signals:
    // Only for the user's choice, as a control's action.
    void action();

private:
    QButtonGroup group_;
};

} // namespace kestrabel::app
