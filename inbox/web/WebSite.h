#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"
#include "inbox/web/PageApi.h"
#include "inbox/web/PageFiles.h"
#include "inbox/web/SignIn.h"
#include "inbox/web/SignInLimiter.h"

#include <QString>

namespace quibel::inbox {

class LiveUpdates;
struct Storage;

/// Everything that a browser sees of the service.
///
/// What only somebody who is signed in may see or change is decided here, in one place, for all
/// of it: a request that no session stands behind learns nothing, not even which paths exist.
class WebSite
{
public:
    WebSite(Storage& storage,
            LiveUpdates& liveUpdates,
            const QString& programVersion,
            SignInLimiter signInLimiter = SignInLimiter());

    [[nodiscard]] HttpResponse answer(const HttpRequest& request);

private:
    [[nodiscard]] HttpResponse checked(const HttpRequest& request);
    [[nodiscard]] HttpResponse routed(const HttpRequest& request);
    [[nodiscard]] HttpResponse page(const HttpRequest& request, const QByteArray& file);
    [[nodiscard]] HttpResponse forSession(const HttpRequest& request);

    LiveUpdates& updates;
    PageApi api;
    PageFiles files;
    SignIn signIn;
};

} // namespace quibel::inbox
