#include "Models/FilePaneNameDateStyler.h"

#include <QRegularExpression>

std::optional<std::pair<int, int>> FilePaneNameDateStyler::leadingDateRange(const QString& name)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^\d{4}([-._])\d{2}\1\d{2})"));
    if (!pattern.isValid()) return std::nullopt;
    const auto match = pattern.match(name);
    if (!match.hasMatch()) return std::nullopt;
    return std::make_pair(int(match.capturedStart()), int(match.capturedLength()));
}
