#pragma once

#include "ui/TransitionLabel.h"

namespace quibel {

/// One of several choices of which the chosen one is emphasised; to assistive tools a radio button.
///
/// Thread: main.
class ChoiceLabel : public TransitionLabel
{
    Q_OBJECT

public:
    /// `identity` is that of the chosen label; the other has one of its own.
    ChoiceLabel(const QString& text, const QString& identity, bool initiallyChosen);

    [[nodiscard]] bool isChosen() const { return chosen; }
    void setChosen(bool nowChosen);

private:
    QString choiceIdentity;
    bool chosen;
};

} // namespace quibel
