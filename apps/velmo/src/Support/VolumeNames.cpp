#include "Support/VolumeNames.h"

#include "PathKit/FilePaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

QString rootDevice()
{
    QFile mountinfo(QStringLiteral("/proc/self/mountinfo"));
    if (!mountinfo.open(QIODevice::ReadOnly)) return {};
    // "id parent major:minor root mountpoint options ... - fstype source superoptions"
    for (const QByteArray& line : mountinfo.readAll().split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() < 10 || fields[4] != "/") continue;
        const qsizetype dash = fields.indexOf("-");
        if (dash > 0 && dash + 2 < fields.size()) return QString::fromUtf8(fields[dash + 2]);
    }
    return {};
}

} // namespace

QString VolumeNames::labelForDevice(const QString& devicePath)
{
    if (!devicePath.startsWith(u"/dev/")) return {};
    const QString device = QFileInfo(devicePath).canonicalFilePath();
    QDir labels(QStringLiteral("/dev/disk/by-label"));
    for (const QFileInfo& link : labels.entryInfoList(QDir::System | QDir::Files | QDir::NoDotAndDotDot)) {
        if (link.canonicalFilePath() != device) continue;
        // udev escapes characters such as "/" and spaces as \xNN.
        QString label = link.fileName();
        QString out;
        for (qsizetype i = 0; i < label.size(); ++i) {
            if (label[i] == u'\\' && i + 3 < label.size() && label[i + 1] == u'x') {
                out.append(QChar(label.mid(i + 2, 2).toInt(nullptr, 16)));
                i += 3;
            } else {
                out.append(label[i]);
            }
        }
        return out;
    }
    return {};
}

QString VolumeNames::rootVolumeName()
{
    static const QString name = [] {
        const QString label = labelForDevice(rootDevice());
        return label.isEmpty() ? QStringLiteral("Computer") : label;
    }();
    return name;
}
