#include "Views/ActivityStrip.h"

#include "State/VelmoStore.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace {

constexpr int kLoadingShownAfterMilliseconds = 1000;

} // namespace

ActivityStrip::ActivityStrip(VelmoStore* store, QWidget* parent) : QWidget(parent), store_(store)
{
    setObjectName(QStringLiteral("activity"));
    layout_ = new QVBoxLayout(this);
    layout_->setContentsMargins(8, 4, 8, 4);
    layout_->setSpacing(2);
    connect(store, &VelmoStore::activityChanged, this, &ActivityStrip::update);
    update();
}

ActivityStrip::Line ActivityStrip::makeLine(const QString& id)
{
    Line line {};
    line.widget = new QWidget(this);
    line.widget->setObjectName(QStringLiteral("activityItem"));
    line.widget->setProperty("activityID", id);
    auto* row = new QHBoxLayout(line.widget);
    row->setContentsMargins(0, 0, 0, 0);
    line.title = new QLabel(line.widget);
    line.title->setObjectName(QStringLiteral("activityTitle"));
    QFont bold = line.title->font();
    bold.setBold(true);
    line.title->setFont(bold);
    line.detail = new QLabel(line.widget);
    line.detail->setObjectName(QStringLiteral("activityDetail"));
    line.detail->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    line.progress = new QProgressBar(line.widget);
    line.progress->setRange(0, 1000);
    line.progress->setTextVisible(false);
    line.progress->setFixedWidth(180);
    line.cancel = new QPushButton(QStringLiteral("Cancel"), line.widget);
    line.cancel->setObjectName(QStringLiteral("activityCancel"));
    line.cancel->setFocusPolicy(Qt::NoFocus);
    connect(line.cancel, &QPushButton::clicked, this, [this, id] {
        if (store_) store_->cancelActivity(id);
    });
    row->addWidget(line.title);
    row->addWidget(line.detail, 1);
    row->addWidget(line.progress);
    row->addWidget(line.cancel);
    layout_->addWidget(line.widget);
    return line;
}

void ActivityStrip::update()
{
    if (!store_) return;
    QSet<QString> shown;
    bool recheckLoading = false;
    const std::vector<FileActivityItem> items = store_->activityItems();
    for (const FileActivityItem& item : items) {
        if (item.id.endsWith(QStringLiteral("-loading"))) {
            auto since = loadingSince_.find(item.id);
            if (since == loadingSince_.end()) {
                since = loadingSince_.insert(item.id, QElapsedTimer());
                since->start();
            }
            if (since->elapsed() < kLoadingShownAfterMilliseconds) {
                recheckLoading = true;
                continue;
            }
        }
        shown.insert(item.id);
        auto it = lines_.find(item.id);
        if (it == lines_.end()) it = lines_.insert(item.id, makeLine(item.id));
        it->title->setText(item.title);
        it->detail->setText(item.detail);
        if (item.progressFraction) {
            it->progress->setRange(0, 1000);
            it->progress->setValue(int(*item.progressFraction * 1000));
        } else {
            // No total yet: a busy bar.
            it->progress->setRange(0, 0);
        }
        it->cancel->setVisible(item.isCancellable);
        it->cancel->setEnabled(!item.isCancelling);
    }
    for (auto it = loadingSince_.begin(); it != loadingSince_.end();) {
        bool stillLoading = false;
        for (const FileActivityItem& item : items) stillLoading |= item.id == it.key();
        it = stillLoading ? std::next(it) : loadingSince_.erase(it);
    }
    for (auto it = lines_.begin(); it != lines_.end();) {
        if (shown.contains(it.key())) {
            ++it;
            continue;
        }
        it->widget->deleteLater();
        it = lines_.erase(it);
    }
    setVisible(!lines_.isEmpty());
    if (recheckLoading) QTimer::singleShot(kLoadingShownAfterMilliseconds, this, &ActivityStrip::update);
}
