#pragma once

#include "Views/CompressionTabView.h"

class ImageCompressionSession;
class QComboBox;
class QLineEdit;
class QSlider;

// An image compression tab: format, quality, scale and suffix beside the queue.
class ImageCompressionView : public CompressionTabView {
    Q_OBJECT

public:
    ImageCompressionView(VelmoStore* app, ImageCompressionSession* session, QWidget* parent = nullptr);
    ImageCompressionSession* session() const { return session_; }

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
    QString addDialogTitle() const override { return QStringLiteral("Add Images"); }
    QString addDialogFilter() const override;
    const char* noun() const override { return "image"; }

private:
    void showSettingsOf(const QList<QUuid>& ids);

    QPointer<ImageCompressionSession> session_;
    QComboBox* format_;
    QSlider* quality_;
    QLabel* qualityValue_;
    QSlider* scale_;
    QLabel* scaleValue_;
    QLineEdit* suffix_;
    bool showing_ = false;
};
