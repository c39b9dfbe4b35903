#include "Views/CompressionTabView.h"

#include "PathKit/FilePaths.h"
#include "State/CompressionQueue.h"
#include "State/VelmoStore.h"
#include "Support/BackgroundTask.h"
#include "Support/FileURIList.h"
#include "Support/TaskExecutor.h"

#include <MediaCompressionViews/CompareViewport.h>

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

constexpr int kIDRole = Qt::UserRole + 1;

} // namespace

CompressionTabView::CompressionTabView(VelmoStore* app, CompressionQueueSignals* queue, QWidget* parent)
    : QWidget(parent)
    , app_(app)
{
    setAcceptDrops(true);
    auto* layout = new QVBoxLayout(this);
    auto* bar = new QHBoxLayout;
    auto button = [this, bar](const QString& text, const QString& name) {
        auto* b = new QPushButton(text, this);
        b->setObjectName(name);
        bar->addWidget(b);
        return b;
    };
    QPushButton* add = button(QStringLiteral("Add..."), QStringLiteral("add"));
    save_ = button(QStringLiteral("Save"), QStringLiteral("save"));
    saveAll_ = button(QStringLiteral("Save All"), QStringLiteral("saveAll"));
    remove_ = button(QStringLiteral("Remove"), QStringLiteral("remove"));
    cancel_ = button(QStringLiteral("Cancel"), QStringLiteral("cancel"));
    progress_ = new QProgressBar(this);
    progress_->setRange(0, 0);
    progress_->setMaximumWidth(120);
    bar->addWidget(progress_);
    status_ = new QLabel(this);
    status_->setObjectName(QStringLiteral("status"));
    bar->addWidget(status_, 1);
    layout->addLayout(bar);

    auto* split = new QSplitter(this);
    auto* left = new QWidget(split);
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    list_ = new QTreeWidget(left);
    list_->setObjectName(QStringLiteral("tasks"));
    list_->setRootIsDecorated(false);
    list_->setUniformRowHeights(true);
    list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    list_->setHeaderLabels({QStringLiteral("Name"), QStringLiteral("Original"), QStringLiteral("Result"),
                            QStringLiteral("Saving"), QStringLiteral("State")});
    list_->header()->setStretchLastSection(false);
    list_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    list_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    leftLayout->addWidget(list_, 1);
    issues_ = new QLabel(left);
    issues_->setWordWrap(true);
    issues_->setObjectName(QStringLiteral("issues"));
    leftLayout->addWidget(issues_);
    settings_ = new QVBoxLayout;
    leftLayout->addLayout(settings_);
    viewport_ = new CompareViewport(split);
    if (app_) viewport_->setInvertZoomScroll(app_->previewInvertsZoomScroll());
    split->addWidget(left);
    split->addWidget(viewport_);
    split->setStretchFactor(0, 2);
    split->setStretchFactor(1, 3);
    layout->addWidget(split, 1);

    settingsPause_ = new QTimer(this);
    settingsPause_->setSingleShot(true);
    settingsPause_->setInterval(300);
    connect(settingsPause_, &QTimer::timeout, this, &CompressionTabView::applyPendingSettings);

    connect(add, &QPushButton::clicked, this, &CompressionTabView::addFilesFromDialog);
    connect(save_, &QPushButton::clicked, this, &CompressionTabView::saveSelected);
    connect(saveAll_, &QPushButton::clicked, this, &CompressionTabView::saveAll);
    connect(remove_, &QPushButton::clicked, this, [this] {
        for (const QUuid& id : selectedTaskIDs()) remove(id);
    });
    connect(cancel_, &QPushButton::clicked, this, [this] {
        cancelRuns();
        updating_.clear();
        setStatusMessage(QStringLiteral("Compression stopped."));
    });
    connect(list_, &QTreeWidget::itemSelectionChanged, this, [this] {
        updateComparison(true);
        refresh();
    });
    connect(queue, &CompressionQueueSignals::tasksChanged, this, &CompressionTabView::refresh);
    connect(queue, &CompressionQueueSignals::statusChanged, this, &CompressionTabView::refresh);
    connect(queue, &CompressionQueueSignals::taskChanged, this, &CompressionTabView::taskChanged);
}

QList<QUuid> CompressionTabView::selectedTaskIDs() const
{
    QList<QUuid> ids;
    for (QTreeWidgetItem* item : list_->selectedItems()) ids << item->data(0, kIDRole).toUuid();
    return ids;
}

void CompressionTabView::addFilesFromDialog()
{
    const QStringList paths = QFileDialog::getOpenFileNames(this, addDialogTitle(), QString(), addDialogFilter());
    if (!paths.isEmpty()) addFiles(paths);
}

void CompressionTabView::saveSelected()
{
    const QList<QUuid> ids = selectedTaskIDs();
    if (!ids.isEmpty()) save(ids);
}

void CompressionTabView::saveAll()
{
    QList<QUuid> ids;
    for (const Row& row : rows()) ids << row.id;
    save(ids);
}

void CompressionTabView::settingsChanged()
{
    settingsPause_->start();
}

void CompressionTabView::applyPendingSettings()
{
    QList<QUuid> ids = selectedTaskIDs();
    const bool all = ids.isEmpty();
    if (all)
        for (const Row& row : rows()) ids << row.id;
    applySettings(all ? QList<QUuid>() : ids);
    updating_ = QSet<QUuid>(ids.begin(), ids.end());
    updatingCount_ = int(ids.size());
    if (!ids.isEmpty()) setStatusMessage(ids.size() == 1 && !all ? QStringLiteral("Updating preview...") : QStringLiteral("Updating all..."));
}

void CompressionTabView::taskChanged(const QUuid& id)
{
    if (updating_.contains(id) && !isRunning(id)) {
        updating_.remove(id);
        if (updating_.isEmpty()) {
            setStatusMessage(updatingCount_ == 1 ? QStringLiteral("Preview updated")
                                                 : QStringLiteral("Updated %1").arg(compressionCountText(updatingCount_, noun())));
        }
    }
    refresh();
    if (id == comparedID_) updateComparison(false);
}

void CompressionTabView::refresh()
{
    const std::vector<Row> current = rows();
    const QList<QUuid> selected = selectedTaskIDs();
    // Rows are updated in place, so selection and scroll stay where they are.
    if (list_->topLevelItemCount() != int(current.size())) {
        list_->clear();
        for (std::size_t i = 0; i < current.size(); ++i) list_->addTopLevelItem(new QTreeWidgetItem);
    }
    for (std::size_t i = 0; i < current.size(); ++i) {
        const Row& row = current[i];
        QTreeWidgetItem* item = list_->topLevelItem(int(i));
        const QStringList texts {row.name, row.original, row.result, row.saving, row.state};
        for (int column = 0; column < texts.size(); ++column)
            if (item->text(column) != texts[column]) item->setText(column, texts[column]);
        item->setData(0, kIDRole, row.id);
        item->setToolTip(4, row.error);
        const bool wasSelected = selected.contains(row.id);
        if (item->isSelected() != wasSelected) item->setSelected(wasSelected);
    }
    const bool busy = runningCompressions() > 0 || isSaving();
    progress_->setVisible(busy);
    cancel_->setEnabled(runningCompressions() > 0);
    save_->setEnabled(!selected.isEmpty() && !isSaving());
    saveAll_->setEnabled(!current.empty() && !isSaving());
    remove_->setEnabled(!selected.isEmpty());
    status_->setText(statusMessage());
    const QStringList issues = issueLines();
    issues_->setVisible(!issues.isEmpty());
    issues_->setText(issues.join(u'\n'));
    if (list_->topLevelItemCount() > 0 && selected.isEmpty() && comparedID_.isNull()) {
        list_->topLevelItem(0)->setSelected(true);
    }
}

// The selected file on the left of the divider and its result on the right, read on
// a worker; only the newest request lands.
void CompressionTabView::updateComparison(bool selectionChanged)
{
    const QList<QUuid> ids = selectedTaskIDs();
    const QUuid id = ids.size() == 1 ? ids.front() : QUuid();
    const std::optional<QString> source = id.isNull() ? std::nullopt : sourcePath(id);
    const std::optional<QString> result = id.isNull() ? std::nullopt : resultPath(id);
    if (!selectionChanged && id == comparedID_ && result == comparedResult_) return;
    const bool newSource = id != comparedID_ || selectionChanged;
    comparedID_ = id;
    comparedResult_ = result;
    const quint64 generation = ++comparisonGeneration_;
    if (!source) {
        viewport_->clear();
        return;
    }
    struct Loaded {
        QImage original;
        QImage compressed;
    };
    BackgroundTask::run(
        TaskExecutor::previews().get(), this,
        [load = comparisonLoader(), source = newSource ? source : std::nullopt, result](std::stop_token) {
            Loaded loaded;
            if (source) loaded.original = load(*source);
            if (result) loaded.compressed = load(*result);
            return loaded;
        },
        [this, generation, newSource](Loaded loaded) {
            if (generation != comparisonGeneration_) return;
            if (newSource) viewport_->setOriginalImage(loaded.original);
            // Before its first result the right side shows the original too.
            viewport_->setCompressedImage(loaded.compressed.isNull() && newSource ? loaded.original : loaded.compressed);
        });
}

void CompressionTabView::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void CompressionTabView::dropEvent(QDropEvent* event)
{
    // From the raw list, so names that are not UTF-8 arrive whole.
    const QStringList paths = FileURIList::pathsInURIList(event->mimeData()->data(QStringLiteral("text/uri-list")));
    if (paths.isEmpty()) return;
    addFiles(paths);
    event->acceptProposedAction();
}
