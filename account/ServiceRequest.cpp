#include "account/ServiceRequest.h"

#include <QStringEncoder>

namespace quibel {

namespace {

/// Encodes in place, so that no copy of the key is left behind.
QByteArray bearer(const QString& apiKey)
{
    QByteArray value = "Bearer ";
    const qsizetype begin = value.size();
    QStringEncoder encoder(QStringEncoder::Utf8);
    value.resize(begin + encoder.requiredSpace(apiKey.size()));
    const char* const end = encoder.appendToBuffer(value.data() + begin, apiKey);
    value.truncate(end - value.constData());
    return value;
}

HttpRequest
makeRequest(const QByteArray& method, const QUrl& base, const QString& path, const QString& apiKey)
{
    return { .method = method,
             .url = appendingPathComponent(base, path),
             .headers = { { "Authorization", bearer(apiKey) } },
             .body = {} };
}

} // namespace

QUrl appendingPathComponent(const QUrl& base, const QString& path)
{
    QString joined = base.path(QUrl::FullyEncoded);
    if (!joined.endsWith(u'/'))
        joined += u'/';
    joined += QString::fromLatin1(QUrl::toPercentEncoding(path, "/!$&'()*+,;=:@"));

    QUrl url = base;
    url.setPath(joined, QUrl::StrictMode);
    return url;
}

HttpRequest makeGetRequest(const QUrl& base, const QString& path, const QString& apiKey)
{
    return makeRequest("GET", base, path, apiKey);
}

HttpRequest makePostRequest(const QUrl& base,
                            const QString& path,
                            const QString& apiKey,
                            const QByteArray& json)
{
    HttpRequest request = makeRequest("POST", base, path, apiKey);
    request.headers.emplace_back("Content-Type", "application/json");
    request.body = json;
    return request;
}

} // namespace quibel
