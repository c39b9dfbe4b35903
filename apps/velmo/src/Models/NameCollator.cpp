#include "Models/NameCollator.h"

#include <QLocale>

#include <unicode/ucol.h>

NameCollator& NameCollator::forThisThread()
{
    thread_local NameCollator collator;
    return collator;
}

NameCollator::NameCollator()
{
    // The C locale has no language to collate by; people read names in one, so
    // fall back to English there.
    const QLocale system;
    const QByteArray name = system.language() == QLocale::C ? QByteArray("en_US") : system.name().toLatin1();
    UErrorCode status = U_ZERO_ERROR;
    collator_ = ucol_open(name.constData(), &status);
    if (U_FAILURE(status)) {
        status = U_ZERO_ERROR;
        collator_ = ucol_open("", &status);
    }
    status = U_ZERO_ERROR;
    ucol_setAttribute(collator_, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
    ucol_setAttribute(collator_, UCOL_STRENGTH, UCOL_SECONDARY, &status);
}

NameCollator::~NameCollator()
{
    if (collator_) ucol_close(collator_);
}

std::size_t NameCollator::appendKey(QStringView name, std::string& arena)
{
    const std::size_t start = arena.size();
    const auto* text = reinterpret_cast<const UChar*>(name.utf16());
    std::size_t room = std::size_t(name.size()) * 3 + 16;
    for (;;) {
        arena.resize(start + room);
        const int32_t needed = ucol_getSortKey(collator_, text, int32_t(name.size()),
                                               reinterpret_cast<uint8_t*>(arena.data() + start), int32_t(room));
        if (needed <= int32_t(room)) {
            // The key ends with its NUL, which strcmp needs.
            arena.resize(start + std::size_t(needed));
            return start;
        }
        room = std::size_t(needed);
    }
}

int NameCollator::compare(QStringView a, QStringView b) const
{
    return ucol_strcoll(collator_, reinterpret_cast<const UChar*>(a.utf16()), int32_t(a.size()),
                        reinterpret_cast<const UChar*>(b.utf16()), int32_t(b.size()));
}
