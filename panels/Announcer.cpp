#include "panels/Announcer.h"

#include "panels/PanelPart.h"

#include <QAccessible>
#include <QAccessibleWidget>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

QAccessibleInterface* makeInterface(const QString& className, QObject* object)
{
    return className == u"quibel::Announcer"_s
        ? new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::Notification)
        : nullptr;
}

} // namespace

Announcer::Announcer(QWidget* panel)
    : QWidget(panel)
{
    QAccessible::installFactory(makeInterface);
    resize(0, 0);
    hide();
}

void Announcer::announce(const QString& text)
{
    // What screen readers say of something other than the focus is a notification that appears. A
    // change of a name or a description reaches them without the text through this toolkit.
    PanelPart::setShown(*this, false);
    setAccessibleName(text);
    PanelPart::setShown(*this, !text.isEmpty());
}

} // namespace quibel
