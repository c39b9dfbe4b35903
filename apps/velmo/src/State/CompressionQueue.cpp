#include "State/CompressionQueue.h"

QString rawValue(CompressionTaskStatus status)
{
    switch (status) {
    case CompressionTaskStatus::pending: return QStringLiteral("pending");
    case CompressionTaskStatus::processing: return QStringLiteral("processing");
    case CompressionTaskStatus::done: return QStringLiteral("done");
    case CompressionTaskStatus::error: return QStringLiteral("error");
    }
    return {};
}

QString compressionCountText(qsizetype count, const char* noun)
{
    return QStringLiteral("%1 %2%3").arg(count).arg(QLatin1String(noun), QLatin1String(count == 1 ? "" : "s"));
}
