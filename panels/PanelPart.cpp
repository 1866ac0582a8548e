#include "panels/PanelPart.h"

#include <QAccessible>
#include <QAccessibleWidget>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

/// A child that was never shown nor hidden is shown together with its panel.
bool isLeftOut(const QWidget& child)
{
    return child.isHidden() && child.testAttribute(Qt::WA_WState_ExplicitShowHide);
}

class ShownPartsInterface final : public QAccessibleWidget
{
public:
    using QAccessibleWidget::QAccessibleWidget;

    [[nodiscard]] QAccessible::Role role() const override
    {
        return widget()->isWindow() ? QAccessible::Dialog : QAccessible::Client;
    }

    [[nodiscard]] int childCount() const override { return static_cast<int>(shownParts().size()); }

    [[nodiscard]] QAccessibleInterface* child(int index) const override
    {
        return QAccessible::queryAccessibleInterface(shownParts().value(index));
    }

    int indexOfChild(const QAccessibleInterface* child) const override
    {
        return static_cast<int>(shownParts().indexOf(child->object()));
    }

private:
    [[nodiscard]] QObjectList shownParts() const
    {
        QObjectList shown;
        for (auto* child : widget()->findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
            if (!child->isWindow() && !isLeftOut(*child))
                shown << child;
        return shown;
    }
};

QAccessibleInterface* makeInterface(const QString& className, QObject* object)
{
    return className == u"quibel::PanelPart"_s
        ? new ShownPartsInterface(static_cast<QWidget*>(object))
        : nullptr;
}

void tell(QWidget& child, QAccessible::Event what)
{
    // Nobody knows yet of what has no window.
    if (!child.window()->testAttribute(Qt::WA_WState_Created))
        return;
    QAccessibleEvent event(&child, what);
    QAccessible::updateAccessibility(&event);
}

} // namespace

PanelPart::PanelPart(QWidget* parent, Qt::WindowFlags flags)
    : QWidget(parent, flags)
{
    QAccessible::installFactory(makeInterface);
}

void PanelPart::setShown(QWidget& child, bool shown)
{
    if (!shown && !isLeftOut(child))
        tell(child, QAccessible::ObjectDestroyed);
    const bool comes = shown && child.isHidden();
    child.setVisible(shown);
    if (comes)
        tell(child, QAccessible::ObjectCreated);
}

} // namespace quibel
