#pragma once

#include "platform/x11/Xcb.h"

#include <QByteArray>
#include <QHash>
#include <QObject>

#include <chrono>
#include <memory>

class QSocketNotifier;

namespace quibel {

/// A connection of our own to the X server, beside the toolkit's: its events are ours alone, and a
/// long answer on it holds nobody else up.
///
/// Thread: the one that made it. Events are delivered by that thread's event loop.
class XcbConnection : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(XcbConnection)

public:
    /// Connects to the server that DISPLAY names. Errors: null when there is none.
    [[nodiscard]] static std::unique_ptr<XcbConnection> open();
    /// Whether there is one.
    [[nodiscard]] static bool serverAnswers();
    /// The same; a server that says nothing for so long counts as none.
    [[nodiscard]] static bool serverAnswersWithin(std::chrono::milliseconds patience);
    ~XcbConnection() override;

    [[nodiscard]] xcb_connection_t* get() const { return connection; }
    [[nodiscard]] xcb_screen_t* screen() const { return defaultScreen; }
    [[nodiscard]] xcb_window_t root() const { return defaultScreen->root; }

    /// The atom of that name, asked from the server once. Errors: XCB_ATOM_NONE.
    [[nodiscard]] xcb_atom_t atom(const QByteArray& name);
    /// The atom that begins with `prefix` and ends with the number of the screen.
    [[nodiscard]] xcb_atom_t screenAtom(const QByteArray& prefix);

    /// Sends what is buffered; needed after requests that no reply is waited for.
    void flush();

Q_SIGNALS:
    /// One event, valid during the call only.
    void received(const xcb_generic_event_t* event);

private:
    XcbConnection(xcb_connection_t* opened, int numberOfScreen);

    void dispatch();

    xcb_connection_t* connection;
    int screenNumber;
    xcb_screen_t* defaultScreen = nullptr;
    QHash<QByteArray, xcb_atom_t> atoms;
    std::unique_ptr<QSocketNotifier> notifier;
};

} // namespace quibel
