#include "TestSupport.h"

#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonArray>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

// One run of the program as a reviewer starts it: the size map of `folder`, drawn
// offscreen once the scan has ended and the chart is at rest.
QJsonObject runSizeMap(const QString& folder, const QString& picture, const QString& dump)
{
    QProcess velmo;
    QStringList arguments {"--size-map", folder, "--screenshot", picture, folder};
    if (!dump.isEmpty()) arguments << "--dump-state" << dump;
    velmo.start(QStringLiteral(VELMO_BINARY), arguments);
    EXPECT_TRUE(velmo.waitForFinished(60'000));
    EXPECT_EQ(velmo.exitCode(), 0) << velmo.readAllStandardError().toStdString();
    if (dump.isEmpty()) return {};
    QFile file(dump);
    file.open(QIODevice::ReadOnly);
    for (const auto tab : QJsonDocument::fromJson(file.readAll()).object().value("tabs").toArray())
        if (tab.toObject().value("kind") == "sizeMap") return tab.toObject().value("sizeMap").toObject();
    return {};
}

} // namespace

TEST(ScriptedSizeMap, AFinishedScanIsTheSamePictureInEveryRun)
{
    TemporaryFolder tmp;
    const QString root = tmp.folder("tree");
    for (int i = 0; i < 30; ++i)
        tmp.file(QStringLiteral("tree/f%1/g%2/file%3.bin").arg(i % 5).arg(i % 3).arg(i), QByteArray(4096 * (i + 1), 'x'));
    tmp.file("tree/name\nwith newline.txt", QByteArray(70000, 'y'));

    const QJsonObject first = runSizeMap(root, tmp / "first.png", tmp / "first.json");
    runSizeMap(root, tmp / "second.png", {});
    EXPECT_EQ(first.value("scanState"), "finished");
    EXPECT_GT(first.value("segmentsDrawn").toInt(), 30);
    const QImage a(tmp / "first.png");
    const QImage b(tmp / "second.png");
    ASSERT_FALSE(a.isNull());
    EXPECT_EQ(a, b);
}
