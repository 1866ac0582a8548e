#include "inbox/web/KeyRequests.h"

#include "inbox/api/Answers.h"
#include "inbox/storage/SecretToken.h"
#include "inbox/storage/Storage.h"
#include "inbox/web/PageDocuments.h"
#include "inbox/web/SmallBody.h"

#include <QJsonDocument>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

KeyRequests::KeyRequests(Storage& allStorage)
    : storage(allStorage)
{
}

HttpResponse KeyRequests::list(const WebSession& session)
{
    const auto found = storage.keys.ofAccount(session.account.id);
    if (const auto* error = std::get_if<StorageError>(&found))
        return storageFailed(*error);
    return HttpResponse::json(200, QJsonDocument(toJson(std::get<QList<StoredKey>>(found))));
}

HttpResponse KeyRequests::add(const HttpRequest& request, const WebSession& session)
{
    const auto body = readSmallBody(request, readName);
    if (const auto* refusal = std::get_if<HttpResponse>(&body))
        return *refusal;
    const auto& name = std::get<QString>(body);
    const auto key = generateApiKey();
    const auto added = storage.keys.add(session.account.id, name, hashSecret(key));
    if (const auto* error = std::get_if<StorageError>(&added))
        return storageFailed(*error);
    const QJsonObject shown { { u"id"_s, std::get<QString>(added) },
                              { u"name"_s, name },
                              { u"key"_s, QString::fromLatin1(key) } };
    return HttpResponse::json(201, QJsonDocument(shown));
}

HttpResponse KeyRequests::revoke(const WebSession& session, const QString& keyID)
{
    const auto revoked = storage.keys.revoke(session.account.id, keyID);
    if (const auto* error = std::get_if<StorageError>(&revoked))
        return storageFailed(*error);
    if (!std::get<bool>(revoked))
        return HttpResponse::error(404, u"unknown_key"_s, u"there is no key of this id"_s);
    return HttpResponse { .status = 204 }.with("Cache-Control", "no-store");
}

} // namespace quibel::inbox
