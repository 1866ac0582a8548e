#include "inbox/api/Name.h"

#include <QList>

#include <algorithm>

namespace quibel::inbox {

namespace {

bool endsLine(char32_t character)
{
    const auto category = QChar::category(character);
    return category == QChar::Other_Control || category == QChar::Separator_Line
        || category == QChar::Separator_Paragraph;
}

} // namespace

std::optional<QString> toName(const QString& typed)
{
    constexpr qsizetype longest = 100;
    auto name = typed.trimmed();
    const auto characters = name.toUcs4();
    if (!name.isValidUtf16() || characters.isEmpty() || characters.size() > longest
        || std::any_of(characters.begin(), characters.end(), endsLine))
        return {};
    return name;
}

} // namespace quibel::inbox
