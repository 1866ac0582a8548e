#include "inbox/web/SignIn.h"

#include "inbox/api/Answers.h"
#include "inbox/storage/SecretToken.h"
#include "inbox/storage/Storage.h"
#include "inbox/web/PasswordHash.h"
#include "inbox/web/SmallBody.h"

#include <QMessageAuthenticationCode>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

struct Credentials
{
    QString account;
    QString password;
};

Credentials readCredentials(JsonFields& fields)
{
    Credentials credentials;
    credentials.account = fields.text(u"account"_s).trimmed();
    credentials.password = fields.text(u"password"_s);
    fields.nothingElse();
    return credentials;
}

/// Over TLS under a name that no other host and no cleartext answer can set.
QByteArray cookieName(const HttpRequest& request)
{
    return request.isSecure ? "__Host-quibel_inbox_session"_ba : "quibel_inbox_session"_ba;
}

HttpResponse withCookie(HttpResponse response,
                        const HttpRequest& request,
                        const QByteArray& secret,
                        std::chrono::seconds lifetime)
{
    auto cookie = cookieName(request) + '=' + secret
        + "; Path=/; HttpOnly; SameSite=Strict; Max-Age="
        + QByteArray::number(static_cast<qint64>(lifetime.count()));
    if (request.isSecure)
        cookie += "; Secure";
    return std::move(response).with("Set-Cookie", cookie);
}

HttpResponse redirect(const QByteArray& target)
{
    return HttpResponse { .status = 303 }
        .with("Location", target)
        .with("Cache-Control", "no-store");
}

/// Nobody without the cookie can work it out, and so it need not be stored.
QByteArray csrfTokenOf(const QByteArray& secret)
{
    return QMessageAuthenticationCode::hash("csrf token", secret, QCryptographicHash::Sha256)
        .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

} // namespace

SignIn::SignIn(Storage& allStorage, SignInLimiter signInLimiter)
    : storage(allStorage)
    , limiter(std::move(signInLimiter))
{
}

HttpResponse SignIn::withPassword(const HttpRequest& request)
{
    const auto body = readSmallBody(request, readCredentials);
    if (const auto* refusal = std::get_if<HttpResponse>(&body))
        return *refusal;
    const auto& [name, password] = std::get<Credentials>(body);
    if (const auto wait = limiter.admit(request.client, name); wait.count() > 0)
        return HttpResponse::error(429, u"too_many_tries"_s, u"wait, then try again"_s)
            .with("Retry-After", QByteArray::number(static_cast<qint64>(wait.count())));

    const auto account = accountOf(name, password);
    if (const auto* error = std::get_if<StorageError>(&account))
        return storageFailed(*error);
    const auto& accountID = std::get<std::optional<QString>>(account);
    if (!accountID) {
        limiter.failed(request.client, name);
        return HttpResponse::error(
            401, u"wrong_password"_s, u"the account or the password is wrong"_s);
    }
    limiter.succeeded(name);
    return begun({ .status = 204 }, request, *accountID);
}

HttpResponse SignIn::withLink(const HttpRequest& request, const QByteArray& token)
{
    if (!request.clientIsLocal)
        return HttpResponse::error(
            403, u"not_local"_s, u"this link works only on the machine of the service"_s);
    const auto taken = storage.sessions.takeLink(hashSecret(token));
    if (const auto* error = std::get_if<StorageError>(&taken))
        return storageFailed(*error);
    const auto& accountID = std::get<std::optional<QString>>(taken);
    return accountID ? begun(redirect("/"), request, *accountID) : redirect("/sign-in#link");
}

HttpResponse SignIn::end(const HttpRequest& request, const WebSession& session)
{
    if (const auto error = storage.sessions.end(session.hash))
        return storageFailed(*error);
    return withCookie({ .status = 204 }, request, {}, std::chrono::seconds(0));
}

StorageResult<std::optional<WebSession>> SignIn::session(const HttpRequest& request)
{
    const auto secret = request.cookie(cookieName(request));
    if (secret.isEmpty())
        return std::optional<WebSession>();
    const auto hash = hashSecret(secret);
    auto used = storage.sessions.use(hash);
    if (auto* error = std::get_if<StorageError>(&used))
        return std::move(*error);
    auto& account = std::get<std::optional<Account>>(used);
    if (!account)
        return std::optional<WebSession>();
    return WebSession { *std::move(account), hash, csrfTokenOf(secret) };
}

HttpResponse SignIn::renewed(HttpResponse response, const HttpRequest& request)
{
    return withCookie(
        std::move(response), request, request.cookie(cookieName(request)), Sessions::lifetime);
}

StorageResult<std::optional<QString>> SignIn::accountOf(const QString& name,
                                                        const QString& password)
{
    const auto named = storage.accounts.named(name);
    if (const auto* error = std::get_if<StorageError>(&named))
        return *error;
    const auto& account = std::get<std::optional<Account>>(named);
    const auto found
        = account ? storage.accounts.passwordHash(account->id) : std::optional<QString>();
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;

    const auto& hash = std::get<std::optional<QString>>(found);
    if (!hash) {
        // As much work as for a wrong password, so that the time does not tell which accounts
        // there are.
        (void)hashPassword(password);
        return std::optional<QString>();
    }
    if (!verifyPassword(*hash, password))
        return std::optional<QString>();
    if (needsRehash(*hash))
        if (const auto better = hashPassword(password))
            if (auto error = storage.accounts.setPasswordHash(account->id, *better))
                return *std::move(error);
    return account->id;
}

HttpResponse
SignIn::begun(HttpResponse response, const HttpRequest& request, const QString& accountID)
{
    if (const auto before = request.cookie(cookieName(request)); !before.isEmpty())
        if (const auto error = storage.sessions.end(hashSecret(before)))
            return storageFailed(*error);
    const auto secret = generateSecretToken();
    if (const auto error = storage.sessions.begin(accountID, hashSecret(secret)))
        return storageFailed(*error);
    return withCookie(std::move(response), request, secret, Sessions::lifetime);
}

} // namespace quibel::inbox
