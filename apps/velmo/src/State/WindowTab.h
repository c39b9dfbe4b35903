#pragma once

#include "State/BrowserPanes.h"
#include "State/ImageCompressionSession.h"
#include "State/PDFCompressionSession.h"
#include "State/SearchSession.h"
#include "State/SizeMapSession.h"

#include <QObject>
#include <QUuid>

#include <memory>
#include <variant>

// One tab of the window: two browsing panes, or a work surface.
class WindowTab : public QObject {
    Q_OBJECT

public:
    struct Browser {
        std::unique_ptr<BrowserPanes> panes;
    };
    struct Search {
        std::unique_ptr<SearchSession> session;
    };
    struct SizeMap {
        std::unique_ptr<SizeMapSession> session;
    };
    struct ImageCompression {
        std::unique_ptr<ImageCompressionSession> session;
    };
    struct PDFCompression {
        std::unique_ptr<PDFCompressionSession> session;
    };
    struct Settings { };
    using Kind = std::variant<Browser, Search, SizeMap, ImageCompression, PDFCompression, Settings>;

    WindowTab(QUuid id, Kind kind, QObject* parent = nullptr);

    const QUuid& id() const { return id_; }
    BrowserPanes* browserPanes() const;
    bool isBrowser() const { return browserPanes() != nullptr; }
    SearchSession* searchSession() const;
    SizeMapSession* sizeMapSession() const;
    ImageCompressionSession* imageCompressionSession() const;
    PDFCompressionSession* pdfCompressionSession() const;
    bool isSettings() const { return std::holds_alternative<Settings>(kind_); }
    QString title() const;
    void teardown();

signals:
    // The title may have changed (the active pane or the size map moved to another
    // folder, the search's query changed).
    void titleChanged();

private:
    QUuid id_;
    Kind kind_;
};

enum class TabCloseResult { closed, lastTab, notFound };
