#include "Views/PaneStatusBar.h"

#include "Services/VolumeSpaceService.h"
#include "State/FilePaneStore.h"
#include "Support/ByteCountFormatter.h"
#include "Views/FilePaneTableModel.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>

#include <limits>

namespace {

qint64 saturatingAdd(qint64 a, qint64 b)
{
    return a > std::numeric_limits<qint64>::max() - b ? std::numeric_limits<qint64>::max() : a + b;
}

// A file's bytes; folders and items without a size count as none.
std::optional<qint64> fileBytes(const FileEntry& entry)
{
    if (entry.isDirectory || !entry.byteSize) return std::nullopt;
    return std::max<qint64>(*entry.byteSize, 0);
}

} // namespace

PaneStatusBar::PaneStatusBar(FilePaneStore* store, const FilePaneTableModel* rows, QWidget* parent)
    : QWidget(parent), store_(store), rows_(rows), spaceService_(new VolumeSpaceService(TaskExecutor::fileOperations(), this))
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 0, 4, 0);
    counts_ = new QLabel(this);
    counts_->setObjectName(QStringLiteral("status"));
    space_ = new QLabel(this);
    space_->setObjectName(QStringLiteral("statusSpace"));
    space_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    // Long texts are cut rather than widening the pane.
    for (QLabel* label : {counts_, space_}) label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    layout->addWidget(counts_, 3);
    layout->addWidget(space_, 2);

    connect(store, &FilePaneStore::rowsChanged, this, [this] {
        allFiles_.reset();
        updateCounts();
    });
    connect(store, &FilePaneStore::selectionChanged, this, &PaneStatusBar::updateCounts);
    // Another folder may be on another volume: the old figure goes at once.
    connect(store, &FilePaneStore::currentURLChanged, space_, &QLabel::clear);
    connect(store, &FilePaneStore::loadStateChanged, this, &PaneStatusBar::askForSpace);
    updateCounts();
    askForSpace();
}

void PaneStatusBar::updateCounts()
{
    if (!store_) return;
    const auto count = qint64(store_->treeRows().size());
    const auto selected = qint64(store_->selectedEntryIDs().size());
    const QLocale locale;
    if (selected == 0) {
        counts_->setText(count == 1 ? QStringLiteral("1 item") : locale.toString(count) + QStringLiteral(" items"));
        return;
    }
    bool anyFile = false;
    const qint64 bytes = selectedFileBytes(&anyFile);
    QString text = locale.toString(selected) + QStringLiteral(" of ") + locale.toString(count) + QStringLiteral(" selected");
    if (anyFile) text += QStringLiteral(", ") + ByteCountFormatter::string(bytes);
    counts_->setText(text);
}

qint64 PaneStatusBar::selectedFileBytes(bool* anyFile)
{
    const auto& ids = store_->selectedEntryIDs();
    // Everything selected (Select All in a large folder): one walk per change of rows.
    if (std::size_t(ids.size()) == store_->treeRows().size()) {
        if (!allFiles_) {
            qint64 total = 0;
            bool any = false;
            for (const FilePaneRow& row : store_->treeRows()) {
                if (auto bytes = fileBytes(*row.entry)) {
                    total = saturatingAdd(total, *bytes);
                    any = true;
                }
            }
            allFiles_ = {total, any};
        }
        *anyFile = allFiles_->second;
        return allFiles_->first;
    }
    qint64 total = 0;
    for (const QString& id : ids) {
        const FilePaneRow* row = rows_->row(rows_->rowOfEntry(id));
        if (auto bytes = row ? fileBytes(*row->entry) : std::nullopt) {
            total = saturatingAdd(total, *bytes);
            *anyFile = true;
        }
    }
    return total;
}

void PaneStatusBar::askForSpace()
{
    if (!store_ || store_->loadState().isLoading()) return;
    spaceService_->ask(store_->currentURL(), space_, [this](VolumeSpaceService::Result result) {
        space_->setText(result ? ByteCountFormatter::string(*result) + QStringLiteral(" available") : QString());
    });
}
