#include "ui/ChoiceLabel.h"

#include <QAccessible>
#include <QAccessibleWidget>

#include <utility>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

constexpr TextStyle chosenStyle { .weight = QFont::Medium, .foreground = Foreground::primary };
constexpr TextStyle otherStyle;

TransitionLabel::Content contentOf(const QString& text, const QString& identity, bool chosen)
{
    if (chosen)
        return { .identity = identity, .text = text, .style = chosenStyle };
    return { .identity = identity + u"-inactive"_s, .text = text, .style = otherStyle };
}

class ChoiceInterface final : public QAccessibleWidget
{
public:
    explicit ChoiceInterface(ChoiceLabel* label)
        : QAccessibleWidget(label, QAccessible::RadioButton)
    {
    }

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.checkable = 1U;
        state.checked = static_cast<ChoiceLabel*>(widget())->isChosen() ? 1U : 0U;
        return state;
    }
};

QAccessibleInterface* makeInterface(const QString& className, QObject* object)
{
    return className == u"quibel::ChoiceLabel"_s
        ? new ChoiceInterface(static_cast<ChoiceLabel*>(object))
        : nullptr;
}

} // namespace

ChoiceLabel::ChoiceLabel(const QString& text, const QString& identity, bool initiallyChosen)
    : TransitionLabel(contentOf(text, identity, initiallyChosen))
    , choiceIdentity(identity)
    , chosen(initiallyChosen)
{
    QAccessible::installFactory(makeInterface);
}

void ChoiceLabel::setChosen(bool nowChosen)
{
    if (std::exchange(chosen, nowChosen) == nowChosen)
        return;
    setContent(contentOf(content().text, choiceIdentity, chosen));
    QAccessible::State checked;
    checked.checked = 1U;
    QAccessibleStateChangeEvent event(this, checked);
    QAccessible::updateAccessibility(&event);
}

} // namespace quibel
