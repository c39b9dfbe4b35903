#pragma once

#include "PathKit/FilePaths.h"

#include <QImage>
#include <QStringList>
#include <QPointer>
#include <QSet>
#include <QUuid>
#include <QWidget>

#include <functional>
#include <optional>

class CompareViewport;
class CompressionQueueSignals;
class QLabel;
class QProgressBar;
class QPushButton;
class QTimer;
class QTreeWidget;
class QVBoxLayout;
class VelmoStore;

// What the image and the PDF compression tabs share: the queue as a list (name,
// original, result, saving, state), the settings of the kind beside it, the
// before/after comparison of the selected file, Add, Save, Save All, Remove and
// Cancel, files dropped on the tab, and the status line. A change of settings
// applies to the selected files (all when none is selected) and renews their
// results as a live preview after a short pause.
class CompressionTabView : public QWidget {
    Q_OBJECT

public:
    CompressionTabView(VelmoStore* app, CompressionQueueSignals* queue, QWidget* parent = nullptr);

    QTreeWidget* taskList() const { return list_; }
    CompareViewport* viewport() const { return viewport_; }
    QList<QUuid> selectedTaskIDs() const;
    void addFilesFromDialog();
    void saveSelected();
    void saveAll();

protected:
    struct Row {
        QUuid id;
        QString name;
        QString original;
        QString result;
        QString saving;
        QString state;
        QString error;
    };
    // The kind's part, given by the image and PDF tabs.
    virtual std::vector<Row> rows() const = 0;
    virtual std::optional<QString> sourcePath(const QUuid& id) const = 0;
    virtual std::optional<QString> resultPath(const QUuid& id) const = 0;
    // Loads a file for the comparison, on a worker thread.
    virtual std::function<QImage(const QString& path)> comparisonLoader() const = 0;
    virtual void addFiles(const QStringList& paths) = 0;
    virtual void save(const QList<QUuid>& ids) = 0;
    virtual void remove(const QUuid& id) = 0;
    virtual void cancelRuns() = 0;
    virtual bool isSaving() const = 0;
    virtual int runningCompressions() const = 0;
    virtual QString statusMessage() const = 0;
    virtual void setStatusMessage(const QString& text) = 0;
    virtual QStringList issueLines() const = 0;
    virtual bool isRunning(const QUuid& id) const = 0;
    // The settings now shown applied to `ids`, each then compressed again.
    virtual void applySettings(const QList<QUuid>& ids) = 0;
    virtual QString addDialogTitle() const = 0;
    virtual QString addDialogFilter() const = 0;
    virtual const char* noun() const = 0; // "image", "PDF"

    // Where the kind puts its settings controls; call settingsChanged() on each change.
    QVBoxLayout* settingsLayout() const { return settings_; }
    void settingsChanged();
    void refresh();

    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void updateComparison(bool selectionChanged);
    void taskChanged(const QUuid& id);
    void applyPendingSettings();

    QPointer<VelmoStore> app_;
    QTreeWidget* list_;
    QVBoxLayout* settings_;
    CompareViewport* viewport_;
    QLabel* status_;
    QLabel* issues_;
    QProgressBar* progress_;
    QPushButton* save_;
    QPushButton* saveAll_;
    QPushButton* remove_;
    QPushButton* cancel_;
    QTimer* settingsPause_;
    QUuid comparedID_;
    std::optional<QString> comparedResult_;
    quint64 comparisonGeneration_ = 0;
    // A live preview under way: the tasks whose new results are awaited.
    QSet<QUuid> updating_;
    int updatingCount_ = 0;
};

// One line per file that could not be added, compressed or saved: "name: reason".
template <typename Session>
QStringList compressionIssueLines(const Session& session)
{
    QStringList lines;
    const auto line = [](const QString& name, const QString& reason) {
        return FilePaths::displayName(name) + QStringLiteral(": ") + reason;
    };
    for (const auto& issue : session.importIssues()) lines << line(issue.fileName, issue.reason);
    for (const auto& task : session.tasks())
        if (task.errorMessage) lines << line(task.fileName, *task.errorMessage);
    for (const auto& issue : session.exportIssues()) lines << line(issue.fileName, issue.reason);
    return lines;
}
