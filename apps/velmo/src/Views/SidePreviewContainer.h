#pragma once

#include "Models/SidePreview.h"

#include <QPointer>
#include <QWidget>

class ImagePreviewView;
class MarkupEditor;
class PDFPreviewView;
class QLabel;
class QStackedWidget;
class QToolButton;
class VelmoStore;
class VideoPreviewView;

// What a pane shows in place of its list while it previews the other pane's file:
// a header with the kind, the file's name and a close button, then the PDF, image
// or video view. A new file replaces the old one at once; only the newest loads.
class SidePreviewContainer : public QWidget {
    Q_OBJECT

public:
    SidePreviewContainer(VelmoStore* app, QWidget* parent = nullptr);
    void showPreview(const SidePreview& preview);
    void clear();
    const std::optional<SidePreview>& currentPreview() const { return current_; }
    PDFPreviewView* pdfPreviewView() const { return pdf_; }
    ImagePreviewView* imagePreviewView() const { return image_; }
    VideoPreviewView* videoPreviewView() const { return video_; }
    MarkupEditor* markupEditor() const { return markup_; }

    // While the picture is being marked up, a new file or a close waits: the pane
    // asks again once `markupEnded` says the editing is over.
    bool isEditingMarkup() const { return markupPreview_.has_value(); }
    void beginMarkup();
    void cancelMarkup();
    void saveMarkup();

signals:
    void markupEnded();

private:
    QPointer<VelmoStore> app_;
    std::optional<SidePreview> current_;
    QLabel* title_;
    QLabel* fileName_;
    QToolButton* close_;
    QToolButton* markupButton_;
    QToolButton* saveMarkupButton_;
    QToolButton* cancelMarkupButton_;
    MarkupEditor* markup_ = nullptr;
    std::optional<SidePreview> markupPreview_;

    void endMarkup();
    void updateMarkupButtons();
    QStackedWidget* stack_;
    PDFPreviewView* pdf_;
    ImagePreviewView* image_;
    VideoPreviewView* video_;
};
