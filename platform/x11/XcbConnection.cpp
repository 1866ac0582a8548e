#include "platform/x11/XcbConnection.h"

#include <QAbstractEventDispatcher>
#include <QSocketNotifier>

#include <future>
#include <thread>
#include <utility>

namespace quibel {

std::unique_ptr<XcbConnection> XcbConnection::open()
{
    int screenNumber = 0;
    xcb_connection_t* opened = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(opened) != 0) {
        xcb_disconnect(opened);
        return nullptr;
    }
    return std::unique_ptr<XcbConnection>(new XcbConnection(opened, screenNumber));
}

bool XcbConnection::serverAnswers()
{
    xcb_connection_t* tried = xcb_connect(nullptr, nullptr);
    const bool answers = xcb_connection_has_error(tried) == 0;
    xcb_disconnect(tried);
    return answers;
}

bool XcbConnection::serverAnswersWithin(std::chrono::milliseconds patience)
{
    std::packaged_task<bool()> question(&XcbConnection::serverAnswers);
    auto answer = question.get_future();
    // Connecting cannot be called off: a thread that gets no answer stays until the program ends.
    std::thread(std::move(question)).detach();
    return answer.wait_for(patience) == std::future_status::ready && answer.get();
}

XcbConnection::XcbConnection(xcb_connection_t* opened, int numberOfScreen)
    : connection(opened)
    , screenNumber(numberOfScreen)
    , notifier(
          std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(opened), QSocketNotifier::Read))
{
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int before = screenNumber; before > 0 && screens.rem > 1; --before)
        xcb_screen_next(&screens);
    defaultScreen = screens.data;

    connect(notifier.get(), &QSocketNotifier::activated, this, &XcbConnection::dispatch);
    // Waiting for a reply reads events along with it; the socket does not become readable for those
    // again, so they are looked for in each round of the loop, whether it sleeps or not.
    if (auto* loop = QAbstractEventDispatcher::instance(); loop != nullptr) {
        connect(loop, &QAbstractEventDispatcher::aboutToBlock, this, &XcbConnection::dispatch);
        connect(loop, &QAbstractEventDispatcher::awake, this, &XcbConnection::dispatch);
    }
}

XcbConnection::~XcbConnection()
{
    notifier.reset();
    xcb_disconnect(connection);
}

xcb_atom_t XcbConnection::atom(const QByteArray& name)
{
    const auto known = atoms.constFind(name);
    if (known != atoms.constEnd())
        return *known;
    const auto cookie
        = xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.constData());
    const auto reply = xcbReply(xcb_intern_atom_reply, connection, cookie);
    const xcb_atom_t atom = reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
    if (reply)
        atoms.insert(name, atom);
    return atom;
}

xcb_atom_t XcbConnection::screenAtom(const QByteArray& prefix)
{
    return atom(prefix + QByteArray::number(screenNumber));
}

void XcbConnection::flush()
{
    xcb_flush(connection);
}

void XcbConnection::dispatch()
{
    while (const XcbOwned<xcb_generic_event_t> next { xcb_poll_for_event(connection) })
        Q_EMIT received(next.get());
    // A server that has gone leaves the socket readable for ever.
    if (xcb_connection_has_error(connection) != 0)
        notifier->setEnabled(false);
}

} // namespace quibel
