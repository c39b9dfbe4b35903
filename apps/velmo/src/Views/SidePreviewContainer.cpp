#include "Views/SidePreviewContainer.h"

#include "PathKit/FilePaths.h"
#include "State/VelmoStore.h"
#include "Views/ImagePreviewView.h"
#include "Views/PDFPreviewView.h"
#include "Views/VideoPreviewView.h"

#include <QHBoxLayout>
#include <QLabel>
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
    header->addWidget(title_);
    header->addWidget(fileName_, 1);
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
        if (app_ && current_) app_->toggleSidePreview(current_->kind);
    });
}

void SidePreviewContainer::showPreview(const SidePreview& preview)
{
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
}

void SidePreviewContainer::clear()
{
    current_.reset();
    pdf_->clear();
    image_->clear();
    video_->clear();
}
