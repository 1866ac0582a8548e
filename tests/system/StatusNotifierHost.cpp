#include "tests/system/StatusNotifierHost.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

constexpr int patienceMs = 20'000;
const QString itemPath = u"/StatusNotifierItem"_s;
const QString itemInterface = u"org.kde.StatusNotifierItem"_s;
const QString menuInterface = u"com.canonical.dbusmenu"_s;

/// One item of (ia{sv}av), without the items below it.
StatusNotifierHost::MenuItem menuItem(const QDBusArgument& layout, QVariantList& below)
{
    StatusNotifierHost::MenuItem item;
    QVariantMap properties;
    layout.beginStructure();
    layout >> item.id >> properties >> below;
    layout.endStructure();
    item.label = properties.value(u"label"_s).toString();
    item.isSeparator = properties.value(u"type"_s) == u"separator"_s;
    item.isVisible = properties.value(u"visible"_s, true).toBool();
    item.isEnabled = properties.value(u"enabled"_s, true).toBool();
    const QVariant shortcuts = properties.value(u"shortcut"_s);
    if (shortcuts.isValid()) {
        const auto presses = qdbus_cast<QList<QStringList>>(shortcuts);
        item.shortcut = presses.value(0);
    }
    return item;
}

} // namespace

StatusNotifierHost::StatusNotifierHost()
{
    for (const auto& signal : { u"LayoutUpdated"_s, u"ItemsPropertiesUpdated"_s })
        QDBusConnection::sessionBus().connect(
            {}, {}, menuInterface, signal, this, SLOT(noteChange()));
    watcher.setHost(true);
}

bool StatusNotifierHost::activate()
{
    return call(itemPath, itemInterface, u"Activate"_s, { 0, 0 }).has_value();
}

std::optional<std::vector<StatusNotifierHost::MenuItem>> StatusNotifierHost::menu()
{
    const auto told = call(menuPath(), menuInterface, u"GetLayout"_s, { 0, -1, QStringList() });
    if (!told || told->size() != 2)
        return std::nullopt;
    QVariantList below;
    menuItem(told->at(1).value<QDBusArgument>(), below);
    std::vector<MenuItem> items;
    for (const QVariant& each : std::as_const(below)) {
        QVariantList none;
        items.push_back(menuItem(each.value<QDBusArgument>(), none));
    }
    return items;
}

QStringList StatusNotifierHost::visibleMenu()
{
    QStringList labels;
    for (const MenuItem& item : menu().value_or(std::vector<MenuItem>()))
        if (item.isVisible)
            labels << (item.isSeparator ? u"---"_s : item.label);
    return labels;
}

bool StatusNotifierHost::choose(const QString& label)
{
    const auto items = menu().value_or(std::vector<MenuItem>());
    const auto chosen = std::ranges::find(items, label, &MenuItem::label);
    if (chosen == items.end() || !chosen->isVisible || !chosen->isEnabled)
        return false;
    return call(menuPath(),
                menuInterface,
                u"Event"_s,
                { chosen->id,
                  u"clicked"_s,
                  QVariant::fromValue(QDBusVariant(QString())),
                  QVariant::fromValue(0U) })
        .has_value();
}

std::optional<QVariantList> StatusNotifierHost::call(const QString& path,
                                                     const QString& interface,
                                                     const QString& method,
                                                     const QVariantList& arguments)
{
    if (!hasItem())
        return std::nullopt;
    auto question = QDBusMessage::createMethodCall(
        watcher.registeredItems().constLast(), path, interface, method);
    question.setArguments(arguments);
    // The item may ask the watcher, which is in this process, before it answers.
    const QDBusPendingCall asked = QDBusConnection::sessionBus().asyncCall(question);
    const bool isAnswered = QTest::qWaitFor([&asked] { return asked.isFinished(); }, patienceMs);
    if (!isAnswered || asked.isError())
        return std::nullopt;
    return asked.reply().arguments();
}

QString StatusNotifierHost::menuPath()
{
    const auto told = call(
        itemPath, u"org.freedesktop.DBus.Properties"_s, u"Get"_s, { itemInterface, u"Menu"_s });
    if (!told || told->isEmpty())
        return u"/"_s;
    return told->constFirst().value<QDBusVariant>().variant().value<QDBusObjectPath>().path();
}

} // namespace quibel::testing
