#include "Views/FolderLayoutSettingsSection.h"

#include "State/VelmoStore.h"
#include "Views/FilePaneTableModel.h"

#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

const QString kSetDefaultTitle = QStringLiteral("Set Current Columns as Default");
const QString kApplyToAllTitle = QStringLiteral("Apply Current Columns to All Saved Folders");
const QString kResetAllTitle = QStringLiteral("Reset All Folder Layouts");

} // namespace

FolderLayoutSettingsSection::FolderLayoutSettingsSection(VelmoStore* store, QWidget* parent)
    : QWidget(parent), store_(store)
{
    setObjectName(QStringLiteral("folderLayouts"));
    confirm_ = [this](const QString& question, const QString& text, const QString& action) {
        return confirmWithDialog(question, text, action);
    };
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* caption = new QLabel(QStringLiteral("Each folder remembers its sort, view and columns. Folders you "
                                              "haven't arranged use the default columns."),
                               this);
    caption->setWordWrap(true);
    layout->addWidget(caption);

    auto addButton = [&](const QString& title, const char* name, std::function<void()> run) {
        auto* button = new QPushButton(title, this);
        button->setObjectName(QString::fromLatin1(name));
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, std::move(run));
        layout->addWidget(button, 0, Qt::AlignLeft);
    };
    addButton(kSetDefaultTitle, "setCurrentColumnsAsDefault", [this] {
        if (store_) store_->useActiveFolderColumnsAsDefaults();
    });
    addButton(kApplyToAllTitle, "applyCurrentColumnsToAll", [this] { applyCurrentColumnsToAllFolders(); });
    addButton(kResetAllTitle, "resetAllFolderLayouts", [this] { resetAllFolderLayouts(); });
}

QString FolderLayoutSettingsSection::columnTitles(const QSet<FileEntryColumn>& visible, const QStringList& order)
{
    QStringList titles;
    for (FileEntrySortColumn column : FileEntryColumns::shown(visible, order))
        for (const auto& info : FilePaneTableModel::allColumns())
            if (info.column == column) titles.append(QString::fromLatin1(info.menuTitle));
    return titles.join(QStringLiteral(", "));
}

void FolderLayoutSettingsSection::applyCurrentColumnsToAllFolders()
{
    if (!store_) return;
    const FilePaneStore* pane = store_->folderLayoutSourcePane();
    if (!pane) return;
    const QString text = QStringLiteral("This will set these current list columns and widths on every saved folder "
                                        "layout: ")
        + columnTitles(pane->visibleColumns(), pane->columnOrder());
    if (!confirm_(kApplyToAllTitle + u'?', text, QStringLiteral("Apply"))) return;
    store_->useActiveFolderColumnsAsDefaults();
    store_->applyDefaultColumnsToAllSavedFolders();
}

void FolderLayoutSettingsSection::resetAllFolderLayouts()
{
    if (!store_) return;
    const FolderLayoutDefaults defaults = store_->folderLayoutDefaults();
    const QString text = QStringLiteral("This will remove all saved per-folder layouts. Folders will use the current "
                                        "default list columns: ")
        + columnTitles(defaults.visibleColumns, defaults.columnOrder);
    if (!confirm_(kResetAllTitle + u'?', text, QStringLiteral("Reset"))) return;
    store_->resetAllFolderLayouts();
}

bool FolderLayoutSettingsSection::confirmWithDialog(const QString& question, const QString& text, const QString& action)
{
    QMessageBox box(QMessageBox::Question, question, question, QMessageBox::NoButton, this);
    box.setInformativeText(text);
    QPushButton* go = box.addButton(action, QMessageBox::AcceptRole);
    QPushButton* cancel = box.addButton(QMessageBox::Cancel);
    // Both change every saved folder; a stray Return must not.
    box.setDefaultButton(cancel);
    box.exec();
    return box.clickedButton() == go;
}
