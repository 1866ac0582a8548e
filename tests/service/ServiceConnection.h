#pragma once

#include "tests/service/Answer.h"

#include <QObject>
#include <QTcpSocket>
#include <QTimer>

#include <optional>

namespace quibel::testing {

class ScriptedService;

/// One client of a ScriptedService: takes its requests one after the other and sends the answers.
/// Ends itself with the connection.
class ServiceConnection : public QObject
{
    Q_OBJECT

public:
    /// Takes `client` over; belongs to `owner`.
    ServiceConnection(ScriptedService& owner, QTcpSocket* client);

    void release();
    void disconnectClient();
    /// The place in ScriptedService::requests of the one that came last; none before the first.
    [[nodiscard]] std::optional<std::size_t> lastRequest() const { return last; }

private:
    void takeBytes();
    void takeRequests();
    [[nodiscard]] std::optional<ReceivedRequest> nextRequest();
    void startAnswer();
    void continueAnswer();
    void sendNextByte();

    ScriptedService& service;
    QTcpSocket* socket;
    QTimer intake;
    QTimer pace;
    QByteArray input;
    std::optional<std::size_t> last;
    std::optional<Answer> answer; ///< What is still to be sent; none between two requests.
};

} // namespace quibel::testing
