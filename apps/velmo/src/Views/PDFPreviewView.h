#pragma once

#include <QWidget>

class QBuffer;
class QLabel;
class QPdfDocument;
class QPdfView;
class QStackedWidget;

// A PDF shown large: all pages scrolled, fitted to the width or zoomed. The file is
// read on a worker and the document loads from memory, so a file on a stuck mount or
// a FIFO named .pdf never holds the window; pages render as they come into view.
class PDFPreviewView : public QWidget {
    Q_OBJECT

public:
    explicit PDFPreviewView(QWidget* parent = nullptr);
    void load(const QString& path);
    void clear();
    QPdfDocument* document() const { return document_; }
    QString errorText() const;

signals:
    void loaded();

private:
    void showMessage(const QString& text);
    void updatePageLabel();

    QPdfDocument* document_;
    QPdfView* view_;
    QBuffer* buffer_ = nullptr;
    QStackedWidget* stack_;
    QLabel* message_;
    QLabel* pageLabel_;
    QString readError_;
    quint64 generation_ = 0;
};
