#include "tests/service/ServiceConnection.h"

#include "tests/service/ScriptedService.h"

#include <algorithm>

namespace quibel::testing {

namespace {

constexpr qint64 outputLimit = qint64 { 256 } * 1024;

Headers parseHeaders(const QList<QByteArray>& lines)
{
    Headers headers;
    for (const QByteArray& line : lines) {
        const qsizetype colon = line.indexOf(':');
        headers.emplace_back(line.first(std::max<qsizetype>(colon, 0)),
                             line.sliced(colon + 1).trimmed());
    }
    return headers;
}

} // namespace

ServiceConnection::ServiceConnection(ScriptedService& owner, QTcpSocket* client)
    : QObject(&owner)
    , service(owner)
    , socket(client)
{
    socket->setParent(this);
    connect(socket, &QTcpSocket::readyRead, this, &ServiceConnection::takeBytes);
    connect(socket, &QTcpSocket::bytesWritten, this, [this](qint64 bytes) {
        service.given += bytes;
        continueAnswer();
    });
    connect(socket, &QTcpSocket::disconnected, this, &QObject::deleteLater);
    connect(&intake, &QTimer::timeout, this, &ServiceConnection::takeBytes);
    connect(&pace, &QTimer::timeout, this, &ServiceConnection::sendNextByte);
    if (service.intakeBytes > 0) {
        socket->setReadBufferSize(service.intakeBytes);
        // Else the system takes many megabytes on the service's behalf.
        socket->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, 64 * 1024);
        intake.start(service.intakeInterval);
    }
    takeBytes();
}

void ServiceConnection::release()
{
    if (!answer || !answer->held)
        return;
    answer->held = false;
    startAnswer();
}

void ServiceConnection::disconnectClient()
{
    socket->disconnectFromHost();
}

void ServiceConnection::takeBytes()
{
    if (intake.isActive() && sender() != &intake)
        return;
    const QByteArray bytes = socket->readAll();
    service.taken += bytes.size();
    input += bytes;
    takeRequests();
}

void ServiceConnection::takeRequests()
{
    if (answer)
        return;
    if (const auto request = nextRequest()) {
        last = service.requests().size();
        answer = service.answerTo(*request);
        startAnswer();
    }
}

std::optional<ReceivedRequest> ServiceConnection::nextRequest()
{
    const qsizetype headEnd = input.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return std::nullopt;
    QList<QByteArray> lines = input.first(headEnd).replace("\r\n", "\n").split('\n');
    const QList<QByteArray> requestLine = lines.takeFirst().split(' ');
    ReceivedRequest request { .method = requestLine.value(0),
                              .target = requestLine.value(1),
                              .headers = parseHeaders(lines),
                              .body = {} };

    const qsizetype bodyBegin = headEnd + 4;
    const qsizetype length = request.header("Content-Length").value_or("0").toLongLong();
    if (input.size() - bodyBegin < length)
        return std::nullopt;
    request.body = input.sliced(bodyBegin, length);
    input.remove(0, bodyBegin + length);
    return request;
}

void ServiceConnection::startAnswer()
{
    if (answer->held || answer->isNothing())
        return;
    socket->write(answer->head);
    if (answer->pause.count() > 0) {
        pace.start(answer->pause);
        return;
    }
    socket->write(answer->body);
    answer->body.clear();
    continueAnswer();
}

void ServiceConnection::continueAnswer()
{
    if (!answer || answer->held || answer->isNothing() || pace.isActive())
        return;
    const qint64 room = outputLimit - socket->bytesToWrite();
    if (const qint64 size = std::min(room, answer->filling); size > 0) {
        answer->filling -= size;
        socket->write(QByteArray(size, ' '));
    }
    if (answer->filling > 0)
        return;

    const bool closes = answer->closes;
    answer.reset();
    if (closes)
        socket->disconnectFromHost();
    else
        takeRequests();
}

void ServiceConnection::sendNextByte()
{
    socket->write(answer->body.first(std::min<qsizetype>(1, answer->body.size())));
    answer->body.remove(0, 1);
    if (!answer->body.isEmpty())
        return;
    pace.stop();
    continueAnswer();
}

} // namespace quibel::testing
