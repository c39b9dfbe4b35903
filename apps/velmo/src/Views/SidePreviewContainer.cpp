#include "Views/SidePreviewContainer.h"

#include "PathKit/FilePaths.h"
#include "State/VelmoStore.h"
#include "Views/ImagePreviewView.h"
#include "Views/PDFPreviewView.h"
#include "Views/VideoPreviewView.h"

#include "MarkupKitUI/MarkupEditor.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QStackedWidget>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

struct KindTexts {
    const char* title;
    const char* closeTip;
};

KindTexts textsOf(SidePreviewKind kind)
{
    switch (kind) {
    case SidePreviewKind::pdf: return {"PDF Preview", "Close PDF preview"};
    case SidePreviewKind::image: return {"Image Preview", "Close image preview"};
    case SidePreviewKind::video: return {"Video Preview", "Close video preview"};
    }
    return {"", ""};
}

} // namespace

SidePreviewContainer::SidePreviewContainer(VelmoStore* app, QWidget* parent)
    : QWidget(parent)
    , app_(app)
{
    setObjectName(QStringLiteral("sidePreview"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    auto* header = new QHBoxLayout;
    title_ = new QLabel(this);
    QFont bold = title_->font();
    bold.setBold(true);
    title_->setFont(bold);
    fileName_ = new QLabel(this);
    fileName_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    close_ = new QToolButton(this);
    close_->setObjectName(QStringLiteral("closePreview"));
    close_->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));
    close_->setAutoRaise(true);
    const auto headerButton = [this](const QString& text, const QString& tip, const QString& name) {
        auto* b = new QToolButton(this);
        b->setText(text);
        b->setToolTip(tip);
        b->setObjectName(name);
        b->setAutoRaise(true);
        return b;
    };
    markupButton_ = headerButton(QStringLiteral("Mark Up"), QStringLiteral("Markup image"), QStringLiteral("markup"));
    cancelMarkupButton_ = headerButton(QStringLiteral("Cancel"), QStringLiteral("Cancel markup"), QStringLiteral("cancelMarkup"));
    saveMarkupButton_ = headerButton(QStringLiteral("Save Copy"), QStringLiteral("Save markup copy"), QStringLiteral("saveMarkup"));
    header->addWidget(title_);
    header->addWidget(fileName_, 1);
    header->addWidget(markupButton_);
    header->addWidget(cancelMarkupButton_);
    header->addWidget(saveMarkupButton_);
    header->addWidget(close_);
    layout->addLayout(header);

    stack_ = new QStackedWidget(this);
    pdf_ = new PDFPreviewView(stack_);
    image_ = new ImagePreviewView(stack_);
    video_ = new VideoPreviewView(stack_);
    stack_->addWidget(pdf_);
    stack_->addWidget(image_);
    stack_->addWidget(video_);
    layout->addWidget(stack_, 1);

    connect(close_, &QToolButton::clicked, this, [this] {
        if (isEditingMarkup()) cancelMarkup();
        if (!isEditingMarkup() && app_ && current_) app_->toggleSidePreview(current_->kind);
    });
    connect(markupButton_, &QToolButton::clicked, this, &SidePreviewContainer::beginMarkup);
    connect(cancelMarkupButton_, &QToolButton::clicked, this, &SidePreviewContainer::cancelMarkup);
    connect(saveMarkupButton_, &QToolButton::clicked, this, &SidePreviewContainer::saveMarkup);
    connect(image_, &ImagePreviewView::loaded, this, &SidePreviewContainer::updateMarkupButtons);
    updateMarkupButtons();
}

void SidePreviewContainer::updateMarkupButtons()
{
    const bool image = current_ && current_->kind == SidePreviewKind::image;
    markupButton_->setVisible(image && !isEditingMarkup());
    markupButton_->setEnabled(!image_->image().isNull());
    cancelMarkupButton_->setVisible(isEditingMarkup());
    saveMarkupButton_->setVisible(isEditingMarkup());
    saveMarkupButton_->setEnabled(isEditingMarkup() && !markup_->isSaving());
}

// The canvas works on the picture already decoded for the preview; the copy is made
// from the file at its own size.
void SidePreviewContainer::beginMarkup()
{
    if (isEditingMarkup() || !current_ || current_->kind != SidePreviewKind::image || image_->image().isNull()) return;
    if (!markup_) {
        markup_ = new MarkupEditor(app_ ? app_->markupDefaults() : nullptr, stack_);
        markup_->setObjectName(QStringLiteral("markupEditor"));
        stack_->addWidget(markup_);
        connect(markup_, &MarkupEditor::saveFinished, this, [this](const QString& path) {
            if (!markupPreview_) return;
            if (app_) app_->handleImageMarkupSaveResult(*markupPreview_, path.isEmpty() ? std::nullopt : std::optional(path));
            // A failed save keeps the drawing, so it can be tried again.
            if (!path.isEmpty()) endMarkup();
            else updateMarkupButtons();
        });
    }
    markupPreview_ = current_;
    markup_->open(current_->url, image_->image(), image_->originalSize());
    stack_->setCurrentWidget(markup_);
    updateMarkupButtons();
}

void SidePreviewContainer::saveMarkup()
{
    if (!isEditingMarkup()) return;
    markup_->saveCopy();
    updateMarkupButtons();
}

void SidePreviewContainer::cancelMarkup()
{
    if (!isEditingMarkup()) return;
    if (markup_->hasAnnotations()
        && QMessageBox::question(this, QStringLiteral("Cancel markup"), QStringLiteral("Discard the markup?"),
                                 QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Cancel) != QMessageBox::Discard)
        return;
    endMarkup();
}

void SidePreviewContainer::endMarkup()
{
    markupPreview_.reset();
    if (current_ && current_->kind == SidePreviewKind::image) stack_->setCurrentWidget(image_);
    updateMarkupButtons();
    emit markupEnded();
}

void SidePreviewContainer::showPreview(const SidePreview& preview)
{
    if (isEditingMarkup()) return; // asked again when the editing ends
    if (current_ && current_->url == preview.url && current_->kind == preview.kind) {
        current_ = preview;
        return;
    }
    if (current_ && current_->kind != preview.kind) clear();
    current_ = preview;
    const KindTexts texts = textsOf(preview.kind);
    title_->setText(QString::fromLatin1(texts.title));
    close_->setToolTip(QString::fromLatin1(texts.closeTip));
    fileName_->setText(FilePaths::displayName(preview.fileName));
    switch (preview.kind) {
    case SidePreviewKind::pdf:
        stack_->setCurrentWidget(pdf_);
        pdf_->load(preview.url);
        break;
    case SidePreviewKind::image:
        stack_->setCurrentWidget(image_);
        image_->load(preview.url);
        break;
    case SidePreviewKind::video:
        stack_->setCurrentWidget(video_);
        video_->load(preview.url);
        break;
    }
    updateMarkupButtons();
}

void SidePreviewContainer::clear()
{
    if (isEditingMarkup()) return;
    current_.reset();
    pdf_->clear();
    image_->clear();
    video_->clear();
}
