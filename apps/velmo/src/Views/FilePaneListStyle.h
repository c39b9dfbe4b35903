#pragma once

#include <QPointer>
#include <QStyledItemDelegate>

class FilePaneTableModel;
class QTableView;
class VelmoStore;

// Draws the pane's list as the view options ask: the table's font, icon size,
// row height, alternating rows and grid lines; leading dates in monospaced
// digits; a soft text shadow; and the highlight of the row under the pointer.
// The options come from the model, so what is drawn and what the model says
// (texts, fonts, colours) never disagree.
class FilePaneListStyle : public QStyledItemDelegate {
    Q_OBJECT

public:
    // Makes the model follow the application's view options and the table draw
    // them; the style lives as long as the table.
    static FilePaneListStyle* follow(VelmoStore* app, FilePaneTableModel* model, QTableView* table);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

    // Where a name cell draws its triangle: each level of an unfolded tree indents
    // the name by one triangle's width.
    static QRect disclosureRect(const QRect& cell, int depth);
    static constexpr int kDisclosureWidth = 16;

    // The row under the pointer, -1 for none.
    int hoveredRow() const { return hoveredRow_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    FilePaneListStyle(FilePaneTableModel* model, QTableView* table);
    void applyToTable();
    void setHoveredRow(int row);
    void updateRow(int row);
    void paintDisclosure(QPainter* painter, const QStyleOptionViewItem& item, const QModelIndex& index) const;
    void paintText(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;

    QPointer<FilePaneTableModel> model_;
    QPointer<QTableView> table_;
    int hoveredRow_ = -1;
};
