#pragma once

#include <QSocketNotifier>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

#include <X11/SM/SMlib.h>

namespace quibel::testing {

/// A session manager as desktops have one: programs register with it, and it tells them when the
/// session is saved and when it ends.
///
/// Source: X Session Management Protocol 1.0. Thread: main.
class SessionManager
{
public:
    SessionManager();
    SessionManager(const SessionManager&) = delete;
    SessionManager& operator=(const SessionManager&) = delete;
    ~SessionManager();

    /// What programs find it by, in `SESSION_MANAGER`; empty when it could not start.
    [[nodiscard]] QString address() const { return networkIds; }

    /// Asks the client to save itself, as at a logout; then it says when it is done.
    void logOut();
    [[nodiscard]] bool isSaved() const { return saved; }
    /// Whether the client says that a restored session does not start it; none when it says
    /// nothing.
    [[nodiscard]] std::optional<int> restartStyle() const { return style; }
    void endSession();

private:
    static Status accept(SmsConn connection,
                         SmPointer self,
                         unsigned long* mask,
                         SmsCallbacks* callbacks,
                         char** refusal);
    void answerConnection(IceListenObj listener);
    void watch(IceConn connection);

    QString networkIds;
    int listenerCount = 0;
    IceListenObj* listeners = nullptr;
    std::vector<std::unique_ptr<QSocketNotifier>> notifiers;
    SmsConn client = nullptr;
    bool saved = false;
    std::optional<int> style;
};

} // namespace quibel::testing
