#include "MarkupKitUI/MarkupCanvas.h"
#include "MarkupKitUI/MarkupEditor.h"

#include <QFileInfo>
#include <QImageReader>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

// The canvas as a user drives it: a drag draws, Delete removes the selection, Ctrl+Z
// brings it back, Escape deselects; Save writes the copy off the main thread.
TEST(MarkupEditor, KeyboardAndMouseDrawEditAndSave)
{
    QTemporaryDir folder;
    const QString source = folder.filePath("screen.png");
    QImage picture(1200, 800, QImage::Format_RGB32);
    picture.fill(Qt::white);
    ASSERT_TRUE(picture.save(source));

    MarkupEditor editor;
    editor.resize(700, 500);
    editor.show();
    // The preview hands over a shrunk picture; the copy is still full size.
    editor.open(source, picture.scaled(600, 400), picture.size());
    MarkupCanvas* canvas = editor.canvas();
    const QRectF r = canvas->imageRect();
    ASSERT_FALSE(r.isEmpty());
    const QPoint from = (r.topLeft() + QPointF(40, 40)).toPoint(), to = (r.topLeft() + QPointF(160, 120)).toPoint();
    QTest::mousePress(canvas, Qt::LeftButton, {}, from);
    QTest::mouseMove(canvas, to);
    QTest::mouseRelease(canvas, Qt::LeftButton, {}, to);
    ASSERT_EQ(canvas->engine().annotations().size(), 1u);

    QTest::keyClick(canvas, Qt::Key_Delete);
    EXPECT_TRUE(canvas->engine().annotations().empty());
    QTest::keyClick(canvas, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(canvas->engine().annotations().size(), 1u);
    QTest::keyClick(canvas, Qt::Key_Escape);
    EXPECT_EQ(canvas->engine().selectedIndex(), std::nullopt);

    QSignalSpy finished(&editor, &MarkupEditor::saveFinished);
    editor.saveCopy();
    ASSERT_TRUE(finished.wait(10000));
    const QString written = finished.at(0).at(0).toString();
    EXPECT_EQ(written, folder.filePath("screen_markup.png"));
    EXPECT_EQ(QImageReader(written).size(), picture.size());
    EXPECT_TRUE(editor.canvas()->engine().annotations().empty()) << "a saved session starts afresh";
}
