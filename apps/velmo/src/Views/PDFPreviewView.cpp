#include "Views/PDFPreviewView.h"

#include "Support/BackgroundTask.h"
#include "Support/PreviewFileReader.h"
#include "Support/TaskExecutor.h"

#include <QBuffer>
#include <QHBoxLayout>
#include <QLabel>
#include <QPdfDocument>
#include <QPdfPageNavigator>
#include <QPdfView>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

PDFPreviewView::PDFPreviewView(QWidget* parent)
    : QWidget(parent)
    , document_(new QPdfDocument(this))
{
    setObjectName(QStringLiteral("pdfPreview"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    auto* bar = new QHBoxLayout;
    auto button = [this, bar](const QString& text, const QString& tip) {
        auto* b = new QToolButton(this);
        b->setText(text);
        b->setToolTip(tip);
        b->setAutoRaise(true);
        bar->addWidget(b);
        return b;
    };
    QToolButton* zoomOut = button(QStringLiteral("−"), QStringLiteral("Zoom Out"));
    QToolButton* zoomIn = button(QStringLiteral("+"), QStringLiteral("Zoom In"));
    QToolButton* fit = button(QStringLiteral("Fit Width"), QStringLiteral("Fit the page width"));
    pageLabel_ = new QLabel(this);
    bar->addStretch(1);
    bar->addWidget(pageLabel_);
    layout->addLayout(bar);

    stack_ = new QStackedWidget(this);
    view_ = new QPdfView(stack_);
    view_->setPageMode(QPdfView::PageMode::MultiPage);
    view_->setZoomMode(QPdfView::ZoomMode::FitToWidth);
    view_->setDocument(document_);
    message_ = new QLabel(stack_);
    message_->setAlignment(Qt::AlignCenter);
    message_->setWordWrap(true);
    stack_->addWidget(view_);
    stack_->addWidget(message_);
    layout->addWidget(stack_, 1);

    auto zoomBy = [this](double factor) {
        view_->setZoomMode(QPdfView::ZoomMode::Custom);
        view_->setZoomFactor(std::clamp(view_->zoomFactor() * factor, 0.1, 8.0));
    };
    connect(zoomIn, &QToolButton::clicked, this, [zoomBy] { zoomBy(1.25); });
    connect(zoomOut, &QToolButton::clicked, this, [zoomBy] { zoomBy(0.8); });
    connect(fit, &QToolButton::clicked, this, [this] { view_->setZoomMode(QPdfView::ZoomMode::FitToWidth); });
    connect(view_->pageNavigator(), &QPdfPageNavigator::currentPageChanged, this, &PDFPreviewView::updatePageLabel);
    connect(document_, &QPdfDocument::statusChanged, this, [this](QPdfDocument::Status status) {
        if (status == QPdfDocument::Status::Error) showMessage(errorText());
        if (status == QPdfDocument::Status::Ready) {
            stack_->setCurrentWidget(view_);
            updatePageLabel();
        }
        if (status == QPdfDocument::Status::Ready || status == QPdfDocument::Status::Error) emit loaded();
    });
}

QString PDFPreviewView::errorText() const
{
    if (!readError_.isEmpty()) return readError_;
    if (document_->status() != QPdfDocument::Status::Error) return {};
    switch (document_->error()) {
    case QPdfDocument::Error::None: return {};
    case QPdfDocument::Error::IncorrectPassword: return QStringLiteral("This PDF is protected by a password.");
    case QPdfDocument::Error::UnsupportedSecurityScheme: return QStringLiteral("This PDF's protection is not supported.");
    default: return QStringLiteral("The PDF could not be read.");
    }
}

void PDFPreviewView::showMessage(const QString& text)
{
    message_->setText(text);
    stack_->setCurrentWidget(message_);
    pageLabel_->clear();
}

void PDFPreviewView::load(const QString& path)
{
    const quint64 generation = ++generation_;
    readError_.clear();
    document_->close();
    showMessage(QStringLiteral("Loading…"));
    using Read = std::expected<QByteArray, QString>;
    BackgroundTask::run(
        TaskExecutor::previews().get(), this,
        [path](std::stop_token) { return PreviewFileReader::readRegularFile(path); },
        [this, generation](Read bytes) {
            if (generation != generation_) return;
            if (!bytes) {
                readError_ = bytes.error();
                showMessage(readError_);
                emit loaded();
                return;
            }
            // The document reads from this buffer for as long as it is open.
            auto* buffer = new QBuffer(this);
            buffer->setData(std::move(*bytes));
            buffer->open(QIODevice::ReadOnly);
            document_->load(buffer);
            delete std::exchange(buffer_, buffer);
            if (document_->status() == QPdfDocument::Status::Error) showMessage(errorText());
        });
}

void PDFPreviewView::clear()
{
    ++generation_;
    readError_.clear();
    document_->close();
    delete std::exchange(buffer_, nullptr);
    showMessage(QString());
}

void PDFPreviewView::updatePageLabel()
{
    const int count = document_->pageCount();
    if (count <= 0) return pageLabel_->clear();
    pageLabel_->setText(QStringLiteral("Page %1 of %2").arg(view_->pageNavigator()->currentPage() + 1).arg(count));
}
