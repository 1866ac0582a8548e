#include "platform/x11/XcbStatusArea.h"

#include "platform/x11/XcbProperty.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

const QString watcherService = u"org.kde.StatusNotifierWatcher"_s;
const QString watcherPath = u"/StatusNotifierWatcher"_s;

} // namespace

XcbStatusArea::XcbStatusArea(XcbConnection& connection)
    : x(connection)
    , tray(x, x.screenAtom("_NET_SYSTEM_TRAY_S"))
{
    connect(&x, &XcbConnection::received, this, &XcbStatusArea::handleEvent);
    connect(&tray, &XcbSelectionOwner::changed, this, &XcbStatusArea::greetTray);
    greetTray();
    watchBus();
}

bool XcbStatusArea::isPresent() const
{
    return host || tray.window() != XCB_WINDOW_NONE;
}

std::optional<QColor> XcbStatusArea::foreground() const
{
    if (host || tray.window() == XCB_WINDOW_NONE)
        return std::nullopt;
    // Source: System Tray Protocol 0.3: red, green and blue of 16 bits, first those of the
    // foreground.
    const auto question = askProperty(x.get(), tray.window(), x.atom("_NET_SYSTEM_TRAY_COLORS"));
    const std::vector<std::uint32_t> colors = XcbProperty(x.get(), question).values();
    if (colors.size() < 3)
        return std::nullopt;
    const auto component = [&](std::size_t index) { return static_cast<int>(colors[index] >> 8U); };
    return QColor(component(0), component(1), component(2));
}

bool XcbStatusArea::colorsThemedIcons() const
{
    return host;
}

void XcbStatusArea::watchBus()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    auto* owner = new QDBusServiceWatcher(
        watcherService, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(owner, &QDBusServiceWatcher::serviceOwnerChanged, this, &XcbStatusArea::askForHost);
    for (const auto& signal :
         { u"StatusNotifierHostRegistered"_s, u"StatusNotifierHostUnregistered"_s })
        bus.connect(watcherService, watcherPath, watcherService, signal, this, SLOT(askForHost()));
    askForHost();
}

void XcbStatusArea::identify(std::function<void(StatusAreaKind)> completion)
{
    askBus([this, completion = std::move(completion)](bool present) {
        setHost(present);
        const bool hasTray = tray.window() != XCB_WINDOW_NONE;
        if (present)
            completion(StatusAreaKind::statusNotifier);
        else
            completion(hasTray ? StatusAreaKind::embedding : StatusAreaKind::none);
    });
}

void XcbStatusArea::askForHost()
{
    askBus([this](bool present) { setHost(present); });
}

void XcbStatusArea::askBus(std::function<void(bool hasHost)> completion)
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    // Nobody would tell of a call that cannot even be made.
    if (!bus.isConnected()) {
        QMetaObject::invokeMethod(
            this,
            [completion = std::move(completion)] { completion(false); },
            Qt::QueuedConnection);
        return;
    }
    auto question = QDBusMessage::createMethodCall(
        watcherService, watcherPath, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    question.setArguments({ watcherService, u"IsStatusNotifierHostRegistered"_s });
    question.setAutoStartService(false);
    auto* answer = new QDBusPendingCallWatcher(bus.asyncCall(question), this);
    const auto take = [answer, completion = std::move(completion)] {
        const QDBusPendingReply<QDBusVariant> reply = *answer;
        answer->deleteLater();
        completion(reply.isValid() && reply.value().variant().toBool());
    };
    connect(answer, &QDBusPendingCallWatcher::finished, this, take);
}

void XcbStatusArea::setHost(bool present)
{
    if (std::exchange(host, present) == present)
        return;
    if (present)
        Q_EMIT appeared();
    Q_EMIT foregroundChanged();
}

void XcbStatusArea::greetTray()
{
    if (tray.window() != XCB_WINDOW_NONE) {
        watchTrayColors();
        Q_EMIT appeared();
    }
    Q_EMIT foregroundChanged();
}

void XcbStatusArea::watchTrayColors()
{
    const std::array<std::uint32_t, 1> properties { XCB_EVENT_MASK_PROPERTY_CHANGE };
    xcb_change_window_attributes(x.get(), tray.window(), XCB_CW_EVENT_MASK, properties.data());
    x.flush();
}

void XcbStatusArea::handleEvent(const xcb_generic_event_t* event)
{
    if ((event->response_type & 0x7FU) != XCB_PROPERTY_NOTIFY)
        return;
    const auto& property = eventAs<xcb_property_notify_event_t>(event);
    if (property.window == tray.window() && property.atom == x.atom("_NET_SYSTEM_TRAY_COLORS"))
        Q_EMIT foregroundChanged();
}

} // namespace quibel
