#include "Views/PDFCompressionView.h"

#include "PathKit/FilePaths.h"
#include "State/PDFCompressionSession.h"

#include <MediaCompressionViews/PDFComparisonImageLoader.h>

#include <QCheckBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSlider>

#include <cmath>

namespace {

QString savingText(const PDFCompressionTask& task)
{
    if (!task.compressedSize || task.originalSize <= 0) return {};
    if (task.keptOriginal) return QStringLiteral("0.0%");
    return QString::asprintf("%.1f%%", double(task.originalSize - *task.compressedSize) / double(task.originalSize) * 100);
}

QString stateText(const PDFCompressionTask& task)
{
    switch (task.status) {
    case CompressionTaskStatus::pending: return QStringLiteral("Waiting");
    case CompressionTaskStatus::processing: return QStringLiteral("Compressing…");
    case CompressionTaskStatus::done:
        if (!PDFCompressionSession::isUpToDate(task)) return QStringLiteral("Preview");
        return task.compressionStrategy.value_or(QStringLiteral("Ready"));
    case CompressionTaskStatus::error: return QStringLiteral("Failed");
    }
    return {};
}

// The slider's place for stored settings: the quality it would give.
int strengthOf(const PDFCompressionSettings& settings)
{
    return std::clamp(int(std::lround((90.0 - settings.jpegQuality) * 100 / 60)), 0, 100);
}

} // namespace

PDFCompressionView::PDFCompressionView(VelmoStore* app, PDFCompressionSession* session, QWidget* parent)
    : CompressionTabView(app, session, parent)
    , session_(session)
{
    auto* form = new QFormLayout;
    strength_ = new QSlider(Qt::Horizontal, this);
    strength_->setObjectName(QStringLiteral("strength"));
    strength_->setRange(0, 100);
    strengthLabel_ = new QLabel(this);
    profile_ = new QLabel(this);
    profile_->setWordWrap(true);
    scans_ = new QCheckBox(QStringLiteral("Scan"), this);
    scans_->setObjectName(QStringLiteral("scans"));
    const auto& profiles = session->availableProfiles();
    scans_->setEnabled(std::find(profiles.begin(), profiles.end(), PDFCompressionProfile::scans) != profiles.end());
    scans_->setToolTip(PDFCompressionProfiles::detail(PDFCompressionProfile::scans));
    keepSmaller_ = new QCheckBox(QStringLiteral("Keep the original when it is smaller"), this);
    keepSmaller_->setObjectName(QStringLiteral("keepSmaller"));
    suffix_ = new QLineEdit(this);
    suffix_->setObjectName(QStringLiteral("suffix"));
    auto* strengthRow = new QHBoxLayout;
    strengthRow->addWidget(strength_, 1);
    strengthRow->addWidget(strengthLabel_);
    form->addRow(QStringLiteral("Strength"), strengthRow);
    form->addRow(QString(), profile_);
    form->addRow(QString(), scans_);
    form->addRow(QString(), keepSmaller_);
    form->addRow(QStringLiteral("Suffix"), suffix_);
    settingsLayout()->addLayout(form);

    connect(strength_, &QSlider::valueChanged, this, [this] {
        showStrengthLabels();
        if (!showing_) settingsChanged();
    });
    for (QCheckBox* box : {scans_, keepSmaller_})
        connect(box, &QCheckBox::toggled, this, [this] {
            showStrengthLabels();
            if (!showing_) settingsChanged();
        });
    connect(suffix_, &QLineEdit::textEdited, this, [this] { settingsChanged(); });
    connect(taskList(), &QTreeWidget::itemSelectionChanged, this, [this] { showSettingsOf(selectedTaskIDs()); });
    showSettingsOf({});
    refresh();
}

PDFCompressionSettings PDFCompressionView::shownSettings() const
{
    PDFCompressionSettings settings = session_ ? session_->settings() : PDFCompressionSettings();
    settings = PDFCompressionStrength::apply(strength_->value(), settings,
                                             session_ ? session_->availableProfiles() : std::vector<PDFCompressionProfile>());
    if (scans_->isChecked() && scans_->isEnabled()) settings.profile = PDFCompressionProfile::scans;
    settings.keepSmaller = keepSmaller_->isChecked();
    settings.fileSuffix = suffix_->text();
    return settings;
}

void PDFCompressionView::showStrengthLabels()
{
    const QStringList& labels = pdfCompressionStrengthLabels();
    strengthLabel_->setText(labels[std::min<qsizetype>(labels.size() - 1, strength_->value() * labels.size() / 101)]);
    const PDFCompressionSettings settings = shownSettings();
    profile_->setText(PDFCompressionProfiles::title(settings.profile) + QStringLiteral(": ")
                      + PDFCompressionProfiles::detail(settings.profile));
}

void PDFCompressionView::showSettingsOf(const QList<QUuid>& ids)
{
    if (!session_) return;
    const PDFCompressionTask* task = ids.isEmpty() ? nullptr : session_->task(ids.front());
    const PDFCompressionSettings& settings = task ? task->settings : session_->settings();
    showing_ = true;
    strength_->setValue(strengthOf(settings));
    scans_->setChecked(settings.profile == PDFCompressionProfile::scans);
    keepSmaller_->setChecked(settings.keepSmaller);
    if (suffix_->text() != settings.fileSuffix) suffix_->setText(settings.fileSuffix);
    showStrengthLabels();
    showing_ = false;
}

void PDFCompressionView::applySettings(const QList<QUuid>& ids)
{
    if (!session_) return;
    session_->updateSettings(shownSettings(), ids);
    for (const PDFCompressionTask& task : session_->tasks())
        if ((ids.isEmpty() || ids.contains(task.id)) && !PDFCompressionSession::isUpToDate(task)
            && task.compressionSignature != PDFCompressionKind::signature(task.settings, true))
            session_->recompress(task.id, true);
}

std::vector<CompressionTabView::Row> PDFCompressionView::rows() const
{
    std::vector<Row> out;
    if (!session_) return out;
    for (const PDFCompressionTask& task : session_->tasks())
        out.push_back({task.id, FilePaths::displayName(task.fileName), PDFCompressionSession::metadataSummaryText(task),
                       PDFCompressionSession::compressedSizeSummaryText(task), savingText(task), stateText(task),
                       task.errorMessage.value_or(QString())});
    return out;
}

std::optional<QString> PDFCompressionView::sourcePath(const QUuid& id) const
{
    const auto* task = session_ ? session_->task(id) : nullptr;
    return task ? std::optional(task->sourceURL) : std::nullopt;
}

std::optional<QString> PDFCompressionView::resultPath(const QUuid& id) const
{
    const auto* task = session_ ? session_->task(id) : nullptr;
    return task ? task->compressedFileURL : std::nullopt;
}

std::function<QImage(const QString&)> PDFCompressionView::comparisonLoader() const
{
    return [](const QString& path) { return PDFComparisonImageLoader::imageAt(path, 0, 2400); };
}

void PDFCompressionView::addFiles(const QStringList& paths)
{
    if (session_) session_->addPDFURLs(paths);
}

void PDFCompressionView::save(const QList<QUuid>& ids)
{
    if (session_) session_->saveTasks(ids);
}

void PDFCompressionView::remove(const QUuid& id)
{
    if (session_) session_->removeTask(id);
}

void PDFCompressionView::cancelRuns()
{
    if (session_) session_->cancelRuns();
}

bool PDFCompressionView::isSaving() const
{
    return session_ && session_->isSaving();
}

int PDFCompressionView::runningCompressions() const
{
    return session_ ? session_->runningCompressions() : 0;
}

QString PDFCompressionView::statusMessage() const
{
    return session_ ? session_->statusMessage().value_or(QString()) : QString();
}

void PDFCompressionView::setStatusMessage(const QString& text)
{
    if (session_) session_->setStatusMessage(text);
}

QStringList PDFCompressionView::issueLines() const
{
    return session_ ? compressionIssueLines(*session_) : QStringList();
}

bool PDFCompressionView::isRunning(const QUuid& id) const
{
    const auto* task = session_ ? session_->task(id) : nullptr;
    return task && task->status == CompressionTaskStatus::processing;
}

QString PDFCompressionView::addDialogFilter() const
{
    return QStringLiteral("PDF Documents (*.pdf);;All Files (*)");
}
