#include "PathKit/FilePaths.h"
#include "TestSupport.h"
#include "Views/ImagePreviewView.h"
#include "Views/PDFPreviewView.h"

#include <QImage>

#include <gtest/gtest.h>

#include <sys/stat.h>

// Quick changes of selection: only the newest file is ever shown, however the reads
// finish. A large picture is decoded shrunk.
TEST(SidePreviewViews, OnlyTheNewestPictureIsShownAndLargeOnesAreShrunk)
{
    TemporaryFolder folder;
    QImage big(5000, 3000, QImage::Format_RGB32);
    big.fill(Qt::red);
    ASSERT_TRUE(big.save(folder / "big.png"));
    QImage small(40, 30, QImage::Format_RGB32);
    small.fill(Qt::blue);
    ASSERT_TRUE(small.save(folder / "small.png"));

    ImagePreviewView view;
    view.resize(400, 300);
    view.load(folder / "big.png");
    view.load(folder / "small.png");
    ASSERT_TRUE(waitUntil([&] { return !view.isLoading(); }));
    EXPECT_EQ(view.image().pixelColor(0, 0), QColor(Qt::blue));

    view.load(folder / "big.png");
    ASSERT_TRUE(waitUntil([&] { return !view.isLoading(); }));
    EXPECT_EQ(view.image().width(), ImagePreviewView::kMaximumSide);
    EXPECT_EQ(view.image().pixelColor(10, 10), QColor(Qt::red));
}

// What cannot be shown says why, and nothing waits on a FIFO's writer.
TEST(SidePreviewViews, APreviewThatCannotBeShownSaysWhy)
{
    TemporaryFolder folder;
    ASSERT_EQ(::mkfifo(FilePaths::toNative(folder / "pipe.pdf").constData(), 0644), 0);
    TestTree::writeFile(folder / "broken.pdf", "%PDF-1.4 not really");
    TestTree::writeFile(folder / "broken.png", "\x89PNG\r\n\x1a\n truncated");
    struct Case {
        const char* name;
        const char* expected;
    };
    for (const Case& c : {Case {"pipe.pdf", "Not a regular file."}, Case {"broken.pdf", "The PDF could not be read."},
                          Case {"missing.pdf", ""}}) {
        PDFPreviewView pdf;
        bool loaded = false;
        QObject::connect(&pdf, &PDFPreviewView::loaded, [&] { loaded = true; });
        pdf.load(folder / c.name);
        ASSERT_TRUE(waitUntil([&] { return loaded; })) << c.name;
        if (*c.expected) EXPECT_EQ(pdf.errorText(), QString::fromUtf8(c.expected)) << c.name;
        else EXPECT_FALSE(pdf.errorText().isEmpty()) << c.name;
    }
    ImagePreviewView image;
    image.load(folder / "broken.png");
    ASSERT_TRUE(waitUntil([&] { return !image.isLoading(); }));
    EXPECT_TRUE(image.errorText().startsWith("The image could not be read"));
}
