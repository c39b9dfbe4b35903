#pragma once

#include <QString>

#include <utility>

// Why one image could not be compressed. errorDescription() is the text the user sees.
struct ImageProcessorError {
    enum class Kind {
        unsupportedOutputFormat, // carries formatName
        failedToReadImage,
        failedToDecodeImage,
        failedToCreateDestination,
        failedToFinalize,
        failedToCreateContext,
    };

    Kind kind = Kind::failedToReadImage;
    QString formatName; // only for unsupportedOutputFormat

    static ImageProcessorError unsupportedOutputFormat(QString name) { return { Kind::unsupportedOutputFormat, std::move(name) }; }
    static ImageProcessorError failedToReadImage() { return { Kind::failedToReadImage, {} }; }
    static ImageProcessorError failedToDecodeImage() { return { Kind::failedToDecodeImage, {} }; }
    static ImageProcessorError failedToCreateDestination() { return { Kind::failedToCreateDestination, {} }; }
    static ImageProcessorError failedToFinalize() { return { Kind::failedToFinalize, {} }; }
    static ImageProcessorError failedToCreateContext() { return { Kind::failedToCreateContext, {} }; }

    QString errorDescription() const;

    bool operator==(const ImageProcessorError&) const = default;
};

// The same text, for callers that hold errors of several kinds.
inline QString message(const ImageProcessorError& error) { return error.errorDescription(); }
