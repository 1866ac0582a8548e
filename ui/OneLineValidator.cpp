#include "ui/OneLineValidator.h"

#include <QRegularExpression>

namespace quibel {

using namespace Qt::StringLiterals;

QString oneLine(const QString& text)
{
    static const QRegularExpression lineBreak(u"\\R"_s);
    return QString(text).replace(lineBreak, u" "_s);
}

QValidator::State OneLineValidator::validate(QString& input, int& position) const
{
    position = static_cast<int>(oneLine(input.left(position)).size());
    input = oneLine(input);
    return Acceptable;
}

} // namespace quibel
