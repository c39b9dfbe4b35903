#pragma once

#include "Models/FileEntrySortColumn.h"

#include <QPointer>
#include <QWidget>

#include <functional>

class QPushButton;
class VelmoStore;

// The folder-layout commands of the settings: make the current pane's columns
// the default, give them to every saved folder, or forget every folder's layout.
// The last two change many folders at once, so each asks first.
class FolderLayoutSettingsSection : public QWidget {
    Q_OBJECT

public:
    // Asks `question`, explaining with `text`; true when the user goes ahead.
    using Confirmation = std::function<bool(const QString& question, const QString& text, const QString& action)>;

    explicit FolderLayoutSettingsSection(VelmoStore* store, QWidget* parent = nullptr);

    // By default a dialog over this widget.
    void setConfirmation(Confirmation confirmation) { confirm_ = std::move(confirmation); }
    // The list columns as the user reads them, in their order on screen.
    static QString columnTitles(const QSet<FileEntryColumn>& visible, const QStringList& order);

private:
    void applyCurrentColumnsToAllFolders();
    void resetAllFolderLayouts();
    bool confirmWithDialog(const QString& question, const QString& text, const QString& action);

    QPointer<VelmoStore> store_;
    Confirmation confirm_;
};
