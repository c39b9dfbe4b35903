#pragma once

#include <QPointer>
#include <QWidget>

class QButtonGroup;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTableView;
class SearchResultsModel;
class SearchSession;
class VelmoStore;

// A search tab: where to search, what, and how; the results filling in while the
// status line counts; Stop. A double click shows the result in a browser pane.
// Copy, drag and Move to Trash act on the selected results, the trash through a
// browser pane's own flow so that its undo brings them back.
class SearchView : public QWidget {
    Q_OBJECT

public:
    SearchView(VelmoStore* app, SearchSession* session, QWidget* parent = nullptr);

    QLineEdit* queryField() const { return query_; }
    QTableView* resultList() const { return list_; }
    SearchResultsModel* model() const { return model_; }

    void focusQuery();
    QStringList selectedURLs() const;
    bool hasSelection() const { return !selectedURLs().isEmpty(); }
    void copySelection();
    void copySelectedPaths();
    void trashSelection();
    void openSelection();
    // Shows the result in the browser tab the search came from: unfolded in place
    // when its pane's list holds it, else in its folder.
    void revealResult(const QString& url);

private:
    void rebuildScopes();
    void showState();
    void showContextMenu(const QPoint& at);

    QPointer<VelmoStore> app_;
    QPointer<SearchSession> session_;
    QComboBox* scope_;
    QLineEdit* query_;
    QButtonGroup* targets_;
    QPushButton* stop_;
    QTableView* list_;
    SearchResultsModel* model_;
    QLabel* status_;
    QLabel* count_;
};
