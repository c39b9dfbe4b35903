#pragma once

#include "State/CompressionQueue.h"

#include <MediaCompression/CompressionSettings.h>
#include <MediaCompression/ImageProcessor.h>

using ImageCompressionTaskStatus = CompressionTaskStatus;
using ImageCompressionImportIssue = CompressionIssue;
using ImageCompressionExportIssue = CompressionIssue;

struct ImageCompressionTask : CompressionTask<CompressionSettings> {
    int originalWidth = 0;
    int originalHeight = 0;
    QString originalFormatName;
    std::optional<int> compressedWidth;
    std::optional<int> compressedHeight;
    std::optional<OutputFormat> outputFormat;
};

// Images in a compression queue: read and encoded by ImageProcessor, the encoded
// bytes written into the cache by the run that is still the newest.
struct ImageCompressionKind {
    using Settings = CompressionSettings;
    using Task = ImageCompressionTask;
    using Info = ImageInfo;
    using Produced = CompressedImage;
    using Processing = ImageProcessor;

    static constexpr CompressionQueueTexts texts {"image", "Adding images...", "No new images added.",
                                                 "No compressed images to save.", "Images: ", "Image Compression"};

    static std::expected<Info, QString> read(const Processing& processor, const QString& path);
    static void makeTask(const Info& info, Task& task);
    static std::expected<Produced, QString> produce(const Processing& processor, const QString& path,
                                                    const Settings& settings, const QString& cacheFolder,
                                                    std::stop_token stop);
    static std::expected<QString, QString> commit(Produced& image, const QString& cacheFolder);
    static void discard(Produced&) { }
    static void apply(const Produced& image, Task& task);
    static QString signature(const Settings& settings, bool) { return settings.signature(); }
    static QString exportExtension(const Task& task);
    static QString suffix(const Settings& settings) { return settings.fileSuffix; }
};

// One image compression tab.
class ImageCompressionSession : public CompressionQueue<ImageCompressionKind> {
public:
    ImageCompressionSession(const QStringList& urls, std::optional<QUuid> originBrowserTabID,
                            CompressionSettings settings, Dependencies dependencies = {}, QObject* parent = nullptr);

    const std::vector<OutputFormat>& availableFormats() const { return availableFormats_; }
    void addImageURLs(const QStringList& urls) { addURLs(urls); }

    // "JPEG - 2.1 MB"; "4000x3000", with " → 2000x1500" when scaled; "Not compressed"
    // or "812 KB saved 61.3%".
    static QString metadataSummaryText(const ImageCompressionTask& task);
    static QString dimensionsSummaryText(const ImageCompressionTask& task);
    static QString compressedSizeSummaryText(const ImageCompressionTask& task);

private:
    std::vector<OutputFormat> availableFormats_;
};
