#include "inbox/api/Answers.h"

#include <cstdio>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

HttpResponse storageFailed(const StorageError& error)
{
    std::fprintf(stderr, "quibel-inbox: %s\n", qUtf8Printable(error.reason));
    switch (error.kind) {
    case StorageError::Kind::busy:
        return HttpResponse::error(503, u"busy"_s, u"the database is busy; send it again"_s)
            .with("Retry-After", "1");
    case StorageError::Kind::full:
        return HttpResponse::error(507, u"disk_full"_s, u"the service has no room left"_s);
    case StorageError::Kind::unavailable:
        return HttpResponse::error(
                   503, u"unavailable"_s, u"the database cannot be reached; send it again"_s)
            .with("Retry-After", "5");
    case StorageError::Kind::failed:
        break;
    }
    return HttpResponse::error(
        500, u"storage_failed"_s, u"the service could not use its database; see its output"_s);
}

HttpResponse invalidBody(const DocumentError& error)
{
    return HttpResponse::error(400, u"invalid_body"_s, error.message);
}

HttpResponse tooLarge(const QString& limit)
{
    return HttpResponse::error(413, u"too_large"_s, limit);
}

std::optional<HttpResponse> refuseOtherThanJson(const HttpRequest& request)
{
    const auto type = request.headers.value("content-type").split(';').first().trimmed().toLower();
    if (type == "application/json")
        return {};
    return HttpResponse::error(
        415, u"unsupported_media_type"_s, u"the header Content-Type must be application/json"_s);
}

} // namespace quibel::inbox
