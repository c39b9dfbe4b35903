#include "State/WindowTab.h"

#include "PathKit/FilePaths.h"
#include "Support/VolumeNames.h"

WindowTab::WindowTab(QUuid id, Kind kind, QObject* parent) : QObject(parent), id_(id), kind_(std::move(kind))
{
    if (auto* panes = browserPanes()) {
        connect(panes, &BrowserPanes::activePaneChanged, this, &WindowTab::titleChanged);
        for (auto* pane : {panes->leftPane(), panes->rightPane()})
            connect(pane, &FilePaneStore::currentURLChanged, this, &WindowTab::titleChanged);
    }
    if (auto* session = sizeMapSession()) connect(session, &SizeMapSession::folderChanged, this, &WindowTab::titleChanged);
    if (auto* session = searchSession()) connect(session, &SearchSession::queryChanged, this, &WindowTab::titleChanged);
    if (auto* session = imageCompressionSession())
        connect(session, &CompressionQueueSignals::titleChanged, this, &WindowTab::titleChanged);
    if (auto* session = pdfCompressionSession())
        connect(session, &CompressionQueueSignals::titleChanged, this, &WindowTab::titleChanged);
}

ImageCompressionSession* WindowTab::imageCompressionSession() const
{
    if (auto* images = std::get_if<ImageCompression>(&kind_)) return images->session.get();
    return nullptr;
}

PDFCompressionSession* WindowTab::pdfCompressionSession() const
{
    if (auto* pdfs = std::get_if<PDFCompression>(&kind_)) return pdfs->session.get();
    return nullptr;
}

SearchSession* WindowTab::searchSession() const
{
    if (auto* search = std::get_if<Search>(&kind_)) return search->session.get();
    return nullptr;
}

SizeMapSession* WindowTab::sizeMapSession() const
{
    if (auto* sizeMap = std::get_if<SizeMap>(&kind_)) return sizeMap->session.get();
    return nullptr;
}

BrowserPanes* WindowTab::browserPanes() const
{
    if (auto* browser = std::get_if<Browser>(&kind_)) return browser->panes.get();
    return nullptr;
}

QString WindowTab::title() const
{
    if (auto* panes = browserPanes()) {
        const QString url = panes->activePane()->currentURL();
        const QString name = FilePaths::lastComponent(url);
        if (name.isEmpty() || name == u"/") return VolumeNames::rootVolumeName();
        return FilePaths::displayName(name);
    }
    if (auto* session = sizeMapSession()) return session->title();
    if (auto* session = searchSession()) return session->title();
    if (auto* session = imageCompressionSession()) return session->title();
    if (auto* session = pdfCompressionSession()) return session->title();
    return QStringLiteral("Settings");
}

void WindowTab::teardown()
{
    if (auto* panes = browserPanes()) {
        panes->leftPane()->teardown();
        panes->rightPane()->teardown();
    }
    // Closes the scan's stream; the scan's own thread winds down on its own.
    if (auto* session = sizeMapSession()) session->stopScan();
    if (auto* session = searchSession()) session->teardown();
    // Stops the runs and removes the tab's private cache of results.
    if (auto* session = imageCompressionSession()) session->teardown();
    if (auto* session = pdfCompressionSession()) session->teardown();
}
