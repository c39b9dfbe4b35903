#include "Views/SizeMapView.h"

#include "PathKit/FilePaths.h"
#include "State/SizeMapSession.h"
#include "State/VelmoStore.h"
#include "Support/ByteCountFormatter.h"
#include "Views/SizeMapChartView.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QToolButton>
#include <QTreeWidget>

namespace {

constexpr int kNodeIDRole = Qt::UserRole + 1;

QIcon swatch(const QColor& color)
{
    QPixmap pixmap(12, 12);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(0.5, 0.5, 11, 11), 3, 3);
    return QIcon(pixmap);
}

QString sizeText(qint64 bytes)
{
    return bytes == 0 ? QStringLiteral("0 KB") : ByteCountFormatter::string(bytes);
}

} // namespace

SizeMapView::SizeMapView(VelmoStore* app, SizeMapSession* session, QWidget* parent)
    : QWidget(parent), app_(app), session_(session)
{
    setObjectName(QStringLiteral("sizeMap"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 6, 8, 6);

    auto* top = new QHBoxLayout;
    crumbs_ = new QHBoxLayout;
    crumbs_->setSpacing(2);
    top->addLayout(crumbs_);
    top->addStretch(1);
    auto button = [this, top](const QString& title, const char* name) {
        auto* b = new QPushButton(title, this);
        b->setObjectName(QString::fromLatin1(name));
        top->addWidget(b);
        return b;
    };
    reveal_ = button(QStringLiteral("Reveal in Pane"), "revealInPane");
    trash_ = button(QStringLiteral("Move to Trash"), "moveToTrash");
    stop_ = button(QStringLiteral("Stop"), "stopScan");
    rescan_ = button(QStringLiteral("Rescan"), "rescan");
    layout->addLayout(top);

    auto* statusLine = new QHBoxLayout;
    status_ = new QLabel(this);
    status_->setObjectName(QStringLiteral("sizeMapStatus"));
    progress_ = new QProgressBar(this);
    progress_->setRange(0, 0);
    progress_->setMaximumHeight(6);
    progress_->setTextVisible(false);
    statusLine->addWidget(status_, 1);
    statusLine->addWidget(progress_, 1);
    layout->addLayout(statusLine);

    auto* split = new QSplitter(this);
    chart_ = new SizeMapChartView(split);
    if (app_) chart_->setClock(app_->clock());
    list_ = new QTreeWidget(split);
    list_->setObjectName(QStringLiteral("sizeMapChildren"));
    list_->setRootIsDecorated(false);
    // Hundreds of rows arrive with each new tree: one row height spares measuring each.
    list_->setUniformRowHeights(true);
    list_->setHeaderLabels({QStringLiteral("Name"), QStringLiteral("Size"), QStringLiteral("Share")});
    list_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    list_->setMouseTracking(true);
    split->addWidget(chart_);
    split->addWidget(list_);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 2);
    layout->addWidget(split, 1);

    connect(stop_, &QPushButton::clicked, this, [this] {
        if (session_) session_->stopScan(SizeMapSession::kStoppedMessage);
    });
    connect(rescan_, &QPushButton::clicked, this, &SizeMapView::rescan);
    connect(reveal_, &QPushButton::clicked, this, [this] { revealSelectionInPane(false); });
    connect(trash_, &QPushButton::clicked, this, &SizeMapView::trashSelection);
    connect(chart_, &SizeMapChartView::nodeClicked, this, [this](const QUuid& id) {
        if (session_) session_->openOrSelectNode(id);
    });
    connect(chart_, &SizeMapChartView::centerClicked, this, [this] {
        if (session_) session_->focusParentOrSelf();
    });
    connect(chart_, &SizeMapChartView::segmentsChanged, this, [this](int count) {
        if (session_) session_->reportSegmentsDrawn(count);
        recolorChildList();
    });
    connect(list_, &QTreeWidget::itemEntered, this, [this](QTreeWidgetItem* item) {
        chart_->setHighlightedNode(item->data(0, kNodeIDRole).toUuid());
    });
    connect(list_, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) {
        if (session_) session_->openOrSelectNode(item->data(0, kNodeIDRole).toUuid());
    });
    connect(list_, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item) {
        if (session_) session_->selectNode(item->data(0, kNodeIDRole).toUuid());
    });

    // Refresh, Move to Trash and Parent Folder come from the window's menus; these
    // two keys belong to the tab alone.
    const auto key = [this](const QKeySequence& sequence, std::function<void()> action) {
        auto* shortcut = new QShortcut(sequence, this);
        shortcut->setContext(Qt::WidgetWithChildrenShortcut);
        connect(shortcut, &QShortcut::activated, this, action);
    };
    key(QKeySequence(Qt::Key_Backspace), [this] { goUp(); });
    key(QKeySequence(Qt::Key_Escape), [this] {
        if (session_ && session_->isScanning()) session_->stopScan(SizeMapSession::kStoppedMessage);
    });
    // Progress comes several times a second and only touches the status line; the
    // chart, the list and the path bar follow trees and focus.
    connect(session, &SizeMapSession::scanStateChanged, this, &SizeMapView::showScanState);
    connect(session, &SizeMapSession::treeChanged, this, &SizeMapView::showFocus);
    connect(session, &SizeMapSession::focusChanged, this, &SizeMapView::showFocus);
    connect(session, &SizeMapSession::folderChanged, this, &SizeMapView::showFocus);
    showScanState();
    showFocus();
}

void SizeMapView::rescan()
{
    if (session_) session_->startScan();
}

void SizeMapView::goUp()
{
    if (session_) session_->focusParentOrSelf();
}

// The root of the scan is never trashed from its own map.
bool SizeMapView::canTrashSelection() const
{
    const auto node = session_ ? session_->selectedNode() : std::nullopt;
    return node && node->parentID.has_value();
}

void SizeMapView::trashSelection()
{
    if (canTrashSelection()) revealSelectionInPane(true);
}

void SizeMapView::showScanState()
{
    if (!session_) return;
    const bool scanning = session_->isScanning();
    stop_->setEnabled(scanning);
    progress_->setVisible(scanning);
    QString status = session_->chromeStatus();
    if (scanning)
        status = QStringLiteral("%1 • %2 folders • %3")
                     .arg(session_->progressText())
                     .arg(session_->foldersScanned())
                     .arg(sizeText(session_->sizeSoFar()));
    else if (session_->errorMessage())
        status = *session_->errorMessage() + QStringLiteral("  ") + status;
    status_->setText(status);
    trash_->setEnabled(canTrashSelection());
}

void SizeMapView::showFocus()
{
    if (!session_) return;
    const auto& tree = session_->tree();
    if (tree && session_->focusedNodeID()) chart_->setScene(*tree, *session_->focusedNodeID(), session_->selectedNodeID());
    else chart_->setScene(ScanTree {}, QUuid(), std::nullopt);
    const bool selectedFile = session_->selectedNode().has_value();
    reveal_->setEnabled(selectedFile);
    trash_->setEnabled(canTrashSelection());
    rebuildBreadcrumbs();
    rebuildChildList();
}

void SizeMapView::rebuildBreadcrumbs()
{
    // Scan updates come several times a second; the bar only changes with the focus.
    const auto entries = session_->displayBreadcrumbs();
    if (entries == breadcrumbs_) return;
    breadcrumbs_ = entries;
    while (QLayoutItem* item = crumbs_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (qsizetype i = 0; i < entries.size(); ++i) {
        if (i > 0) crumbs_->addWidget(new QLabel(QStringLiteral("›"), this));
        auto* crumb = new QToolButton(this);
        crumb->setAutoRaise(true);
        crumb->setText(entries[i].title);
        QFont font = crumb->font();
        font.setBold(entries[i].isActive);
        crumb->setFont(font);
        connect(crumb, &QToolButton::clicked, this, [this, entry = entries[i]] {
            if (session_) session_->activateBreadcrumb(entry);
        });
        crumbs_->addWidget(crumb);
    }
}

// Rebuilt only when the rows differ (trees arrive several times a second during a
// scan, mostly with the same children); colours follow each new layout in place.
void SizeMapView::rebuildChildList()
{
    const auto focused = session_->focusedNode();
    QList<ScanNodeRecord> children;
    if (focused && session_->tree()) children = session_->focusedChildren();
    // A folder of a million files must not fill the list with a million rows.
    if (children.size() > 500) children.resize(500);
    QList<std::pair<QUuid, qint64>> rows {{focused ? focused->id : QUuid(), focused ? focused->allocatedSize : 0}};
    for (const ScanNodeRecord& child : children) rows.append({child.id, child.allocatedSize});
    if (rows != listedRows_) {
        listedRows_ = rows;
        list_->clear();
        const qint64 total = std::max<qint64>(focused ? focused->allocatedSize : 0, 1);
        QList<QTreeWidgetItem*> items;
        for (const ScanNodeRecord& child : children) {
            auto* item = new QTreeWidgetItem;
            item->setText(0, FilePaths::displayName(child.displayName));
            item->setText(1, sizeText(child.allocatedSize));
            item->setText(2, QStringLiteral("%1%").arg(100.0 * double(child.allocatedSize) / double(total), 0, 'f', 1));
            item->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
            item->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
            item->setData(0, kNodeIDRole, child.id);
            item->setToolTip(0, child.url);
            items.append(item);
        }
        list_->addTopLevelItems(items);
        recolorChildList();
    }
    // The chart's selection, when it is one of these rows.
    const auto selected = session_->selectedNodeID();
    for (int i = 0; i < list_->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = list_->topLevelItem(i);
        if (selected && item->data(0, kNodeIDRole).toUuid() == *selected) list_->setCurrentItem(item);
    }
}

// The chart's own colour; a child too small to be drawn has the list's neutral one.
void SizeMapView::recolorChildList()
{
    const QColor neutral = palette().color(QPalette::Mid);
    for (int i = 0; i < list_->topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = list_->topLevelItem(i);
        const QColor color = chart_->colorOf(item->data(0, kNodeIDRole).toUuid()).value_or(neutral);
        auto found = swatches_.constFind(color.rgba());
        if (found == swatches_.constEnd()) found = swatches_.insert(color.rgba(), swatch(color));
        // Most rows keep their colour from one layout to the next; each change repaints.
        if (item->icon(0).cacheKey() != found->cacheKey()) item->setIcon(0, *found);
    }
}

// Reveal and trash go through a browser pane, so that the pane's undo covers the trash.
void SizeMapView::revealSelectionInPane(bool thenTrash)
{
    if (!app_ || !session_) return;
    const auto node = session_->selectedNode();
    if (!node) return;
    const QString url = node->url;
    FilePaneStore* pane = app_->revealInBrowserPane(url, session_->originBrowserTabID());
    if (!pane || !thenTrash) return;
    if (!pane->isLoading()) {
        if (pane->selectedEntryIDs() == QSet<QString> {url}) trashInPane(pane);
        return;
    }
    // Trash once the pane shows the item selected; its own flow records the undo.
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = connect(pane, &FilePaneStore::loadStateChanged, this, [this, pane, url, connection] {
        if (pane->isLoading()) return;
        disconnect(*connection);
        if (pane->selectedEntryIDs() == QSet<QString> {url}) trashInPane(pane);
    });
}

// The trash runs off the main thread; the map scans again once it has ended, so
// that the new scan no longer finds what went.
void SizeMapView::trashInPane(FilePaneStore* pane)
{
    pane->moveSelectionToTrash();
    if (!pane->isBusy()) {
        if (session_) session_->startScan();
        return;
    }
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = connect(pane, &FilePaneStore::activeOperationChanged, this, [this, pane, connection] {
        if (pane->isBusy()) return;
        disconnect(*connection);
        if (session_) session_->startScan();
    });
}
