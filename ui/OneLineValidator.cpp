#include "ui/OneLineValidator.h"

#include <algorithm>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

bool isLineBreak(QChar character)
{
    constexpr QChar nextLine(0x85);
    return (character >= QChar::LineFeed && character <= QChar::CarriageReturn)
        || character == nextLine || character == QChar::LineSeparator
        || character == QChar::ParagraphSeparator;
}

} // namespace

QString oneLine(QString text)
{
    text.replace(u"\r\n"_s, u" "_s);
    std::ranges::replace_if(text, isLineBreak, QChar::Space);
    return text;
}

QValidator::State OneLineValidator::validate(QString& input, int& position) const
{
    position = static_cast<int>(oneLine(input.left(position)).size());
    input = oneLine(input);
    return Acceptable;
}

} // namespace quibel
