#pragma once

#include <QString>
#include <QValidator>

namespace quibel {

/// `text` with one space for each line break in it.
[[nodiscard]] QString oneLine(QString text);

/// Lets a line editor take any text, however it got in, as one line.
class OneLineValidator : public QValidator
{
    Q_OBJECT

public:
    using QValidator::QValidator;

    State validate(QString& input, int& position) const override;
};

} // namespace quibel
