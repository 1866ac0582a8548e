#include "inbox/http/RequestTarget.h"

namespace quibel::inbox {

namespace {

bool isHexDigit(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f')
        || (character >= 'A' && character <= 'F');
}

/// QByteArray::fromPercentEncoding lets a "%" pass that begins no escape.
bool hasWholeEscapes(const QByteArray& text)
{
    for (auto at = text.indexOf('%'); at >= 0; at = text.indexOf('%', at + 1))
        if (at + 2 >= text.size() || !isHexDigit(text.at(at + 1)) || !isHexDigit(text.at(at + 2)))
            return false;
    return true;
}

QByteArray unescaped(QByteArray text)
{
    return QByteArray::fromPercentEncoding(text.replace('+', ' '));
}

QHash<QByteArray, QByteArray> parseQuery(const QByteArray& text)
{
    QHash<QByteArray, QByteArray> query;
    for (const auto& field : text.split('&')) {
        if (field.isEmpty())
            continue;
        const auto equals = field.indexOf('=');
        query.insert(unescaped(equals < 0 ? field : field.first(equals)),
                     equals < 0 ? QByteArray() : unescaped(field.sliced(equals + 1)));
    }
    return query;
}

/// Where the path begins; -1 when this is not the form of a target.
qsizetype pathBegin(const QByteArray& text)
{
    if (text.startsWith('/'))
        return 0;
    for (const QByteArrayView scheme : { "http://", "https://" })
        if (text.first(qMin(text.size(), scheme.size())).toLower() == scheme)
            return text.indexOf('/', scheme.size());
    return -1;
}

} // namespace

std::optional<RequestTarget> RequestTarget::parse(const QByteArray& text)
{
    const auto queryMark = text.indexOf('?');
    const auto target = queryMark < 0 ? text : text.first(queryMark);
    const auto query = queryMark < 0 ? QByteArray() : text.sliced(queryMark + 1);
    const auto begin = pathBegin(target);
    if (begin < 0 || !hasWholeEscapes(query))
        return {};
    return RequestTarget { .path = target.sliced(begin), .query = parseQuery(query) };
}

} // namespace quibel::inbox
