#pragma once

#include "Views/CompressionTabView.h"

#include <MediaCompression/PDFCompressionSettings.h>

class PDFCompressionSession;
class QCheckBox;
class QLineEdit;
class QSlider;

// A PDF compression tab: strength, scans, keeping a smaller original, and suffix beside the queue.
class PDFCompressionView : public CompressionTabView {
    Q_OBJECT

public:
    PDFCompressionView(VelmoStore* app, PDFCompressionSession* session, QWidget* parent = nullptr);
    PDFCompressionSession* session() const { return session_; }

protected:
    std::vector<Row> rows() const override;
    std::optional<QString> sourcePath(const QUuid& id) const override;
    std::optional<QString> resultPath(const QUuid& id) const override;
    std::function<QImage(const QString& path)> comparisonLoader() const override;
    void addFiles(const QStringList& paths) override;
    void save(const QList<QUuid>& ids) override;
    void remove(const QUuid& id) override;
    void cancelRuns() override;
    bool isSaving() const override;
    int runningCompressions() const override;
    QString statusMessage() const override;
    void setStatusMessage(const QString& text) override;
    QStringList issueLines() const override;
    bool isRunning(const QUuid& id) const override;
    void applySettings(const QList<QUuid>& ids) override;
    QString addDialogTitle() const override { return QStringLiteral("Add PDFs"); }
    QString addDialogFilter() const override;
    const char* noun() const override { return "PDF"; }

private:
    void showSettingsOf(const QList<QUuid>& ids);
    PDFCompressionSettings shownSettings() const;
    void showStrengthLabels();

    QPointer<PDFCompressionSession> session_;
    QSlider* strength_;
    QLabel* strengthLabel_;
    QLabel* profile_;
    QCheckBox* scans_;
    QCheckBox* keepSmaller_;
    QLineEdit* suffix_;
    bool showing_ = false;
};
