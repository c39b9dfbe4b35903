#pragma once

#include "Support/TaskHandle.h"

#include <FileSearch/FileSearchResult.h>

#include <QAbstractTableModel>
#include <QDateTime>
#include <QHash>
#include <QPointer>
#include <QSet>

#include <vector>

class SearchSession;

// A search's results as the list shows them: name, kind, folder, size, modified.
// While a search runs, new results are appended (a list that reorders under the
// pointer can't be clicked); the session's sort order is applied when the search
// ends and whenever the sort changes. Sizes and dates are read only for rows the
// list asks about, a batch at a time off the main thread.
class SearchResultsModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { nameColumn, kindColumn, folderColumn, sizeColumn, modifiedColumn, columnCount_ };

    explicit SearchResultsModel(SearchSession* session, QObject* parent = nullptr);
    ~SearchResultsModel() override;

    const FileSearchResult* resultAt(int row) const;
    int rowOf(const QString& id) const;
    QStringList urlsOf(const QModelIndexList& indexes) const;
    // The session's order, keeping the selection and current row on their results.
    void applySortOrder();
    bool isInSortOrder() const { return inSortOrder_; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDragActions() const override;

private:
    struct Attributes {
        std::optional<qint64> size;
        std::optional<QDateTime> modified;
    };
    void reset();
    void append(qsizetype first, qsizetype count);
    void wantAttributes(const QString& url) const;
    void fetchAttributes();

    QPointer<SearchSession> session_;
    std::vector<FileSearchResult> rows_;
    QHash<QString, int> rowByID_;
    bool inSortOrder_ = true;
    mutable QHash<QString, Attributes> attributes_;
    mutable QSet<QString> wanted_;
    mutable bool fetchScheduled_ = false;
    TaskHandle fetch_;
};
