#include <QApplication>

#include <gtest/gtest.h>

// QtPdf keeps a few document-loader objects alive past exit, and the PDF view's scroller
// registers a gesture recogniser that Qt never frees; our own leaks stay reported.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libQt6Pdf.so\nleak:QScroller::grabGesture\n";
}

// Store and view tests need an event loop and a (headless) screen.
int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
