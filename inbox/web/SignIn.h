#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"
#include "inbox/storage/StorageError.h"
#include "inbox/web/SignInLimiter.h"
#include "inbox/web/WebSession.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace quibel::inbox {

struct Storage;

/// Who somebody is: signing in to the page with a password or a link, and the cookie that then
/// stands for it.
class SignIn
{
public:
    SignIn(Storage& allStorage, SignInLimiter signInLimiter);

    [[nodiscard]] HttpResponse withPassword(const HttpRequest& request);
    /// Takes a link of `quibel-inbox open`, from a browser on this machine.
    [[nodiscard]] HttpResponse withLink(const HttpRequest& request, const QByteArray& token);
    [[nodiscard]] HttpResponse end(const HttpRequest& request, const WebSession& session);

    /// None when the request comes from nobody who is signed in.
    [[nodiscard]] StorageResult<std::optional<WebSession>> session(const HttpRequest& request);
    /// Has the browser keep the cookie of a request as long as the session lasts from now on.
    [[nodiscard]] static HttpResponse renewed(HttpResponse response, const HttpRequest& request);

private:
    [[nodiscard]] StorageResult<std::optional<QString>> accountOf(const QString& name,
                                                                  const QString& password);
    /// Completes the response with the cookie of a new session, in place of the request's own.
    [[nodiscard]] HttpResponse
    begun(HttpResponse response, const HttpRequest& request, const QString& accountID);

    Storage& storage;
    SignInLimiter limiter;
};

} // namespace quibel::inbox
