#include "tests/service/Answer.h"

#include <algorithm>

namespace quibel::testing {

namespace {

QByteArray makeHead(int status, const Headers& headers)
{
    QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + " Scripted\r\n";
    for (const auto& [name, value] : headers)
        head += name + ": " + value + "\r\n";
    return head + "\r\n";
}

Headers withLength(Headers headers, qint64 length)
{
    headers.emplace_back("Content-Length", QByteArray::number(length));
    return headers;
}

} // namespace

std::optional<QByteArray> ReceivedRequest::header(const QByteArray& name) const
{
    const auto found = std::find_if(headers.begin(), headers.end(), [&](const auto& header) {
        return header.first.compare(name, Qt::CaseInsensitive) == 0;
    });
    return found == headers.end() ? std::nullopt : std::optional(found->second);
}

Answer Answer::reply(int status, const QByteArray& body, const Headers& headers)
{
    return { .head = makeHead(status, withLength(headers, body.size())), .body = body };
}

Answer Answer::json(int status, const QByteArray& body)
{
    return reply(status, body, { { "Content-Type", "application/json" } });
}

Answer Answer::redirect(int status, const QByteArray& location)
{
    return reply(status, {}, { { "Location", location } });
}

Answer Answer::blanks(int status, qint64 size)
{
    return { .head = makeHead(status, withLength({}, size)), .body = {}, .filling = size };
}

Answer Answer::chunked(int status, const QByteArray& body)
{
    QByteArray chunks;
    for (const char byte : body)
        chunks.append("1\r\n").append(byte).append("\r\n");
    return { .head = makeHead(status, { { "Transfer-Encoding", "chunked" } }),
             .body = chunks + "0\r\n\r\n" };
}

Answer Answer::never()
{
    return {};
}

Answer Answer::raw(const QByteArray& bytes)
{
    return { .head = bytes, .body = {}, .closes = true };
}

Answer Answer::cutInHeader() const
{
    return raw(head.first(head.size() / 2));
}

Answer Answer::cutInBody(qsizetype size) const
{
    Answer cut = *this;
    cut.filling = std::clamp<qint64>(size - body.size(), 0, filling);
    cut.body.truncate(size);
    cut.closes = true;
    return cut;
}

Answer Answer::slowly(std::chrono::milliseconds between) const
{
    Answer slow = *this;
    slow.pause = between;
    return slow;
}

Answer Answer::heldBack() const
{
    Answer later = *this;
    later.held = true;
    return later;
}

} // namespace quibel::testing
