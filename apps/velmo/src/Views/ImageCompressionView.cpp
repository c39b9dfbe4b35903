#include "Views/ImageCompressionView.h"

#include "PathKit/FilePaths.h"
#include "State/ImageCompressionSession.h"

#include <MediaCompression/AvifCodec.h>
#include <MediaCompressionViews/ImageComparisonImageLoader.h>

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSlider>

namespace {

QString savingText(const ImageCompressionTask& task)
{
    if (!task.compressedSize || task.originalSize <= 0) return {};
    return QString::asprintf("%.1f%%", double(task.originalSize - *task.compressedSize) / double(task.originalSize) * 100);
}

QString stateText(const ImageCompressionTask& task)
{
    switch (task.status) {
    case CompressionTaskStatus::pending: return QStringLiteral("Waiting");
    case CompressionTaskStatus::processing: return QStringLiteral("Compressing…");
    case CompressionTaskStatus::done:
        return ImageCompressionSession::isUpToDate(task) ? QStringLiteral("Ready") : QStringLiteral("Settings changed");
    case CompressionTaskStatus::error: return QStringLiteral("Failed");
    }
    return {};
}

QSlider* slider(QWidget* parent, int minimum, int maximum, const QString& name)
{
    auto* s = new QSlider(Qt::Horizontal, parent);
    s->setRange(minimum, maximum);
    s->setObjectName(name);
    return s;
}

} // namespace

ImageCompressionView::ImageCompressionView(VelmoStore* app, ImageCompressionSession* session, QWidget* parent)
    : CompressionTabView(app, session, parent)
    , session_(session)
{
    // Results may be AVIF, which Qt's image readers here do not decode.
    static const bool avifWired = [] {
        ImageComparisonImageLoader::setFallbackDecoder(&decodeAvif);
        return true;
    }();
    Q_UNUSED(avifWired);
    auto* form = new QFormLayout;
    format_ = new QComboBox(this);
    format_->setObjectName(QStringLiteral("format"));
    for (OutputFormat format : session->availableFormats())
        format_->addItem(title(format), rawValue(format));
    quality_ = slider(this, 1, 100, QStringLiteral("quality"));
    qualityValue_ = new QLabel(this);
    scale_ = slider(this, 5, 100, QStringLiteral("scale"));
    scaleValue_ = new QLabel(this);
    suffix_ = new QLineEdit(this);
    suffix_->setObjectName(QStringLiteral("suffix"));
    auto row = [this](QSlider* s, QLabel* value) {
        auto* box = new QHBoxLayout;
        box->addWidget(s, 1);
        value->setMinimumWidth(fontMetrics().horizontalAdvance(QStringLiteral("100%")));
        box->addWidget(value);
        return box;
    };
    form->addRow(QStringLiteral("Format"), format_);
    form->addRow(QStringLiteral("Quality"), row(quality_, qualityValue_));
    form->addRow(QStringLiteral("Scale"), row(scale_, scaleValue_));
    form->addRow(QStringLiteral("Suffix"), suffix_);
    settingsLayout()->addLayout(form);

    connect(format_, &QComboBox::currentIndexChanged, this, [this] {
        if (!showing_) settingsChanged();
    });
    connect(quality_, &QSlider::valueChanged, this, [this](int value) {
        qualityValue_->setNum(value);
        if (!showing_) settingsChanged();
    });
    connect(scale_, &QSlider::valueChanged, this, [this](int value) {
        scaleValue_->setText(QStringLiteral("%1%").arg(value));
        if (!showing_) settingsChanged();
    });
    connect(suffix_, &QLineEdit::textEdited, this, [this] { settingsChanged(); });
    connect(taskList(), &QTreeWidget::itemSelectionChanged, this, [this] { showSettingsOf(selectedTaskIDs()); });
    showSettingsOf({});
    refresh();
}

// The controls show the first selected file's settings, else the tab's defaults.
void ImageCompressionView::showSettingsOf(const QList<QUuid>& ids)
{
    if (!session_) return;
    const ImageCompressionTask* task = ids.isEmpty() ? nullptr : session_->task(ids.front());
    const CompressionSettings& settings = task ? task->settings : session_->settings();
    showing_ = true;
    format_->setCurrentIndex(std::max(0, format_->findData(rawValue(settings.format))));
    quality_->setValue(settings.quality);
    qualityValue_->setNum(settings.quality);
    scale_->setValue(settings.scalePercent);
    scaleValue_->setText(QStringLiteral("%1%").arg(settings.scalePercent));
    if (suffix_->text() != settings.fileSuffix) suffix_->setText(settings.fileSuffix);
    showing_ = false;
}

void ImageCompressionView::applySettings(const QList<QUuid>& ids)
{
    if (!session_) return;
    CompressionSettings settings;
    settings.format = outputFormatFromRawValue(format_->currentData().toString()).value_or(OutputFormat::jpeg);
    settings.quality = quality_->value();
    settings.scalePercent = scale_->value();
    settings.fileSuffix = suffix_->text();
    session_->updateSettings(settings, ids);
    // Only what the new settings change is compressed again.
    for (const ImageCompressionTask& task : session_->tasks())
        if ((ids.isEmpty() || ids.contains(task.id)) && !ImageCompressionSession::isUpToDate(task))
            session_->recompress(task.id, true);
}

std::vector<CompressionTabView::Row> ImageCompressionView::rows() const
{
    std::vector<Row> out;
    if (!session_) return out;
    for (const ImageCompressionTask& task : session_->tasks())
        out.push_back({task.id, FilePaths::displayName(task.fileName),
                       ImageCompressionSession::metadataSummaryText(task) + QStringLiteral(", ")
                           + ImageCompressionSession::dimensionsSummaryText(task),
                       ImageCompressionSession::compressedSizeSummaryText(task), savingText(task), stateText(task),
                       task.errorMessage.value_or(QString())});
    return out;
}

std::optional<QString> ImageCompressionView::sourcePath(const QUuid& id) const
{
    const auto* task = session_ ? session_->task(id) : nullptr;
    return task ? std::optional(task->sourceURL) : std::nullopt;
}

std::optional<QString> ImageCompressionView::resultPath(const QUuid& id) const
{
    const auto* task = session_ ? session_->task(id) : nullptr;
    return task ? task->compressedFileURL : std::nullopt;
}

std::function<QImage(const QString&)> ImageCompressionView::comparisonLoader() const
{
    return [](const QString& path) { return ImageComparisonImageLoader::imageAt(path, 4096); };
}

void ImageCompressionView::addFiles(const QStringList& paths)
{
    if (session_) session_->addImageURLs(paths);
}

void ImageCompressionView::save(const QList<QUuid>& ids)
{
    if (session_) session_->saveTasks(ids);
}

void ImageCompressionView::remove(const QUuid& id)
{
    if (session_) session_->removeTask(id);
}

void ImageCompressionView::cancelRuns()
{
    if (session_) session_->cancelRuns();
}

bool ImageCompressionView::isSaving() const
{
    return session_ && session_->isSaving();
}

int ImageCompressionView::runningCompressions() const
{
    return session_ ? session_->runningCompressions() : 0;
}

QString ImageCompressionView::statusMessage() const
{
    return session_ ? session_->statusMessage().value_or(QString()) : QString();
}

void ImageCompressionView::setStatusMessage(const QString& text)
{
    if (session_) session_->setStatusMessage(text);
}

QStringList ImageCompressionView::issueLines() const
{
    return session_ ? compressionIssueLines(*session_) : QStringList();
}

bool ImageCompressionView::isRunning(const QUuid& id) const
{
    const auto* task = session_ ? session_->task(id) : nullptr;
    return task && task->status == CompressionTaskStatus::processing;
}

QString ImageCompressionView::addDialogFilter() const
{
    return QStringLiteral("Images (*.jpg *.jpeg *.png *.webp *.avif *.gif *.bmp *.tif *.tiff *.heic);;All Files (*)");
}
