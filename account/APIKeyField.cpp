#include "account/APIKeyField.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QLoggingCategory>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

/// A password field without a text: the toolkit's own interface masks the text that it is asked
/// for, but lets every change be broadcast as it was typed.
class KeyInterface final : public QAccessibleWidget
{
public:
    explicit KeyInterface(APIKeyField* field)
        : QAccessibleWidget(field, QAccessible::EditableText)
    {
    }

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.editable = 1U;
        state.passwordEdit = 1U;
        return state;
    }
};

QAccessibleInterface* makeInterface(const QString& className, QObject* object)
{
    return className == u"quibel::APIKeyField"_s
        ? new KeyInterface(static_cast<APIKeyField*>(object))
        : nullptr;
}

} // namespace

APIKeyField::APIKeyField()
{
    // First: the interface is made, once and for all, as soon as there is something to tell.
    QAccessible::installFactory(makeInterface);
    // At each letter, newer toolkits say on standard error that this field has no text to tell.
    QLoggingCategory::setFilterRules(u"qt.accessibility.atspi.warning=false"_s);
    setAccessibleName(u"API Key"_s);
    setEchoMode(Password);
    setPlaceholderText(u"sk_..."_s);
}

} // namespace quibel
