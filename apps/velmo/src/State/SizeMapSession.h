#pragma once

#include "FileSizeScanner/ProgressSnapshot.h"
#include "FileSizeScanner/ScanEngineProviding.h"
#include "FileSizeScanner/ScanSummary.h"
#include "FileSizeScanner/ScanTree.h"
#include "FileSizeScanner/ScanUpdate.h"

#include <QObject>
#include <QSet>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>
#include <utility>

// One entry of the size map's path bar: the volume, then each folder down to the
// deepest place visited. Entries inside the scanned folder carry the node they
// focus; entries above it only a path, and activating one scans there.
struct SizeMapBreadcrumbEntry {
    QString id;
    QString title;
    std::optional<QUuid> nodeID;
    std::optional<QString> url;
    bool isActive = false;

    bool operator==(const SizeMapBreadcrumbEntry&) const = default;
};

// The state behind one disk-usage tab: the scan of one folder, its growing tree,
// the focused node (the chart's centre) and the selected one. Main thread only.
//
// Each scan is a generation. Its updates are read off the engine's stream by a
// thread of its own and handed to the main thread one at a time: the next is taken
// only once the last was applied, so a busy window never queues more than one
// update and the stream's own buffer (newest few kept) absorbs the rest. Stopping,
// rescanning or closing closes the stream and returns at once; whatever of the old
// generation is still under way is dropped when it arrives.
class SizeMapSession : public QObject {
    Q_OBJECT

public:
    enum class ScanPhase { idle, scanning, finished, failed, stopped };

    SizeMapSession(const QString& folderURL, std::optional<QUuid> originBrowserTabID,
                   std::shared_ptr<ScanEngineProviding> scanEngine, QObject* parent = nullptr);
    ~SizeMapSession() override;

    static inline const QString kStoppedMessage = QStringLiteral("Scan stopped.");

    const QUuid& id() const { return id_; }
    const std::optional<QUuid>& originBrowserTabID() const { return originBrowserTabID_; }
    const QString& folderURL() const { return folderURL_; }
    ScanPhase phase() const { return phase_; }
    bool isScanning() const { return phase_ == ScanPhase::scanning; }
    const std::optional<ProgressSnapshot>& progressSnapshot() const { return progressSnapshot_; }
    const std::optional<ScanTree>& tree() const { return tree_; }
    const std::optional<ScanSummary>& summary() const { return summary_; }
    const std::optional<QUuid>& selectedNodeID() const { return selectedNodeID_; }
    const std::optional<QUuid>& focusedNodeID() const { return focusedNodeID_; }
    const std::optional<QString>& errorMessage() const { return errorMessage_; }
    const QString& breadcrumbTrailURL() const { return breadcrumbTrailURL_; }
    quint64 scanGeneration() const { return scanGeneration_; }

    // Ends any running scan and starts a new generation on `folderURL`.
    void startScan();
    // Closes the running scan's stream without waiting for it; `status` becomes the
    // error message (kStoppedMessage for the Stop button).
    void stopScan(const std::optional<QString>& status = std::nullopt);
    // A new scan rooted at `url` (a breadcrumb above the scanned folder).
    void scanFolder(const QString& url);
    // A folder with children is focused; anything else is only selected.
    void openOrSelectNode(const QUuid& id);
    // Selects without moving the focus (a row of the side list).
    void selectNode(const QUuid& id);
    void focusNode(const QUuid& id);
    void focusParent();
    // The chart's centre button: up one level, or at the root, select the root.
    void focusParentOrSelf();
    void activateBreadcrumb(const SizeMapBreadcrumbEntry& entry);

    // The last path component of the folder, or "Size Map".
    QString title() const;
    std::optional<ScanNodeRecord> focusedNode() const;
    std::optional<ScanNodeRecord> selectedNode() const;
    // The focused node's children, larger first, then by name.
    QList<ScanNodeRecord> focusedChildren() const;
    // While the drawable part of a finished walk is shown, until the whole tree comes:
    // whether `id` is one of its stand-ins, which are no file-system objects.
    bool showsDrawablePart() const { return showsDrawablePart_; }
    bool isStandIn(const QUuid& id) const { return standInIDs_.contains(id); }
    QList<SizeMapBreadcrumbEntry> displayBreadcrumbs() const;

    // Counters while scanning, then the finished scan's.
    int itemsScanned() const;
    int foldersScanned() const;
    // The allocated size of the tree's root: what the live tree has counted so far,
    // and the total once the scan has finished.
    qint64 sizeSoFar() const;
    QString progressText() const;
    QString chromeStatus() const;

    // How the reading thread hands an update over: by default posted to the
    // application object, on the main thread. Tests queue them to order them by hand.
    using MainThreadDelivery = std::function<void(std::function<void()>)>;
    void setMainThreadDelivery(MainThreadDelivery delivery) { deliver_ = std::move(delivery); }

    // How many segments the chart drew for the focused node: set by the chart view
    // after each layout, so that the state dump can tell what is on screen.
    int segmentsDrawn() const { return segmentsDrawn_; }
    void reportSegmentsDrawn(int count) { segmentsDrawn_ = count; }

signals:
    // Scan phase, progress, tree, summary or message.
    void scanStateChanged();
    // Focus, selection or breadcrumb trail.
    void focusChanged();
    // A new live or finished tree (or none); progress alone doesn't raise it.
    void treeChanged();
    // The scanned folder, and with it the title.
    void folderChanged();

private:
    struct ScanReader;

    void consume(ScanUpdate update);
    void noteDrawablePart(const ScanUpdate::IntermediateTree* live);
    void applyTree(ScanTree tree, bool isComplete);
    void setFocus(std::optional<QUuid> focused, std::optional<QUuid> selected);
    void closeReader();

    QUuid id_ = QUuid::createUuid();
    std::optional<QUuid> originBrowserTabID_;
    QString folderURL_;
    ScanPhase phase_ = ScanPhase::idle;
    std::optional<ProgressSnapshot> progressSnapshot_;
    std::optional<ScanTree> tree_;
    std::optional<ScanSummary> summary_;
    std::optional<QUuid> selectedNodeID_;
    std::optional<QUuid> focusedNodeID_;
    // What the user last focused and selected. While a scan's tree is still partial
    // a node may be missing from it for a while; it comes back into focus once it
    // shows up, and is forgotten only when a complete tree lacks it.
    std::optional<QUuid> wantedFocusID_;
    std::optional<QUuid> wantedSelectionID_;
    std::optional<QString> errorMessage_;
    QString breadcrumbTrailURL_;
    std::shared_ptr<ScanEngineProviding> scanEngine_;
    std::shared_ptr<ScanReader> reader_;
    MainThreadDelivery deliver_;
    quint64 scanGeneration_ = 0;
    int segmentsDrawn_ = 0;
    // The drawable part's stand-ins, and the side list from before it with the node it lists.
    bool showsDrawablePart_ = false;
    QSet<QUuid> standInIDs_;
    std::optional<std::pair<QUuid, QList<ScanNodeRecord>>> heldChildren_;
};
