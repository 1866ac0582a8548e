#include "inbox/http/Exchange.h"

#include "inbox/http/ClientAddress.h"
#include "inbox/http/EventStream.h"
#include "inbox/http/RequestTarget.h"

#include <QByteArrayList>

#include <algorithm>
#include <array>

#include <microhttpd.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

const QByteArray other("other");

/// A header that comes several times is one list.
MHD_Result addHeader(void* headers, MHD_ValueKind /*kind*/, const char* name, const char* value)
{
    const auto key = QByteArray(name).toLower();
    auto& present = (*static_cast<QHash<QByteArray, QByteArray>*>(headers))[key];
    if (!present.isNull())
        present += key == "cookie" ? "; " : ", ";
    present += value ? value : "";
    return MHD_YES;
}

QByteArray knownMethod(const QByteArray& method)
{
    static constexpr std::array<QByteArrayView, 9> known { "GET",     "HEAD",    "POST",
                                                           "PUT",     "PATCH",   "DELETE",
                                                           "OPTIONS", "CONNECT", "TRACE" };
    return std::ranges::find(known, QByteArrayView(method)) == known.end() ? other : method;
}

/// Source: RFC 9110, 5.6.2.
bool isToken(const QByteArray& name)
{
    constexpr QByteArrayView marks("!#$%&'*+-.^_`|~");
    return !name.isEmpty() && std::ranges::all_of(name, [&](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
            || marks.contains(c);
    });
}

/// What the proxy itself added: all before it came from the client, which may lie.
QByteArray lastEntry(const QByteArray& list)
{
    return list.sliced(list.lastIndexOf(',') + 1).trimmed();
}

} // namespace

Exchange::Exchange(MHD_Connection* mhdConnection, const char* requestTarget)
    : connection(mhdConnection)
    , target(requestTarget)
    , targetEnd(requestTarget + target.size())
{
}

void Exchange::readHeader(const char* requestMethod,
                          const char* version,
                          const Transport& transport)
{
    headerRead = true;
    method = requestMethod;
    request.method = method == MHD_HTTP_METHOD_HEAD ? MHD_HTTP_METHOD_GET : method;
    MHD_get_connection_values(connection, MHD_HEADER_KIND, addHeader, &request.headers);
    readClient(transport);

    if (const auto problem = malformation(version); !problem.isEmpty()) {
        response = HttpResponse::error(MHD_HTTP_BAD_REQUEST, u"bad_request"_s, problem)
                       .with("Connection", "close");
        return;
    }
    auto parsed = *RequestTarget::parse(target);
    request.path = std::move(parsed.path);
    request.query = std::move(parsed.query);
}

QString Exchange::malformation(const char* version) const
{
    // libmicrohttpd ends texts at a NUL. Then the version is not where it has to be: behind it.
    if (version != targetEnd + 1)
        return u"the request line must have a method, a path and a version"_s;
    if (!RequestTarget::parse(target))
        return u"the request line does not name a path"_s;
    // A name with a blank behind it is a header for others on the way, but none for us.
    if (!std::all_of(request.headers.keyBegin(), request.headers.keyEnd(), isToken))
        return u"a header has a name without blanks, and a colon right behind it"_s;
    if (request.headers.value("host").contains(','))
        return u"a request names one host"_s;
    const auto length = request.headers.constFind("content-length");
    const auto encoding = request.headers.constFind("transfer-encoding");
    if (encoding != request.headers.constEnd() && encoding->toLower() != "chunked")
        return u"a body is taken as it is or in chunks, in no other encoding"_s;
    if (length == request.headers.constEnd())
        return {};
    if (encoding != request.headers.constEnd())
        return u"a body has a length or comes in chunks, not both"_s;
    // Two lengths are a list by now. What they end at, others between here and the client may see
    // differently.
    return length->contains(',') ? u"a body has one length"_s : QString();
}

void Exchange::readClient(const Transport& transport)
{
    const auto* info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    auto address
        = info && info->client_addr ? ClientAddress::of(*info->client_addr) : ClientAddress {};
    request.isSecure = transport.tls;
    if (transport.behindProxy) {
        const auto& headers = request.headers;
        if (const auto named = ClientAddress::parse(lastEntry(headers.value("x-forwarded-for")));
            !named.text.isEmpty())
            address = named;
        static const QByteArrayList wordsOfProxies {
            "x-forwarded-for", "x-forwarded-proto", "forwarded", "via", "x-real-ip"
        };
        if (std::ranges::any_of(wordsOfProxies,
                                [&](const auto& name) { return headers.contains(name); }))
            address.isThisMachine = false;
        request.isSecure
            = transport.tls || lastEntry(headers.value("x-forwarded-proto")).toLower() == "https";
    }
    client = address.text;
    request.client = client;
    request.clientIsLocal = address.isThisMachine;
}

std::optional<RequestRecord> Exchange::record() const
{
    // Also tells what libmicrohttpd answered by itself.
    const auto* answered = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_HTTP_STATUS);
    if (!answered)
        return {};
    RequestRecord record { .method = knownMethod(method),
                           .route = other,
                           .status = static_cast<int>(answered->http_status),
                           .duration = std::chrono::duration_cast<std::chrono::microseconds>(
                               Clock::now() - begin),
                           .bytesIn = received,
                           .client = client };
    if (!response)
        return record;
    if (!response->route.isEmpty())
        record.route = response->route;
    record.isStream = response->events != nullptr;
    if (record.isStream)
        record.bytesOut = response->events->bytesTaken();
    else if (method != MHD_HTTP_METHOD_HEAD)
        record.bytesOut = response->body.size();
    return record;
}

} // namespace quibel::inbox
