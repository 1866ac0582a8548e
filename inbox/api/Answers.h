#pragma once

#include "inbox/api/JsonBody.h"
#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"
#include "inbox/storage/StorageError.h"

#include <QString>

#include <optional>

namespace quibel::inbox {

/// The answer when the storage could not do what a request needs; the reason goes to standard
/// error only.
[[nodiscard]] HttpResponse storageFailed(const StorageError& error);

/// The answer to a document that cannot be taken.
[[nodiscard]] HttpResponse invalidBody(const DocumentError& error);

/// The answer to a body over its limit; `limit` says what that is.
[[nodiscard]] HttpResponse tooLarge(const QString& limit);

/// The answer to a body that does not claim to be JSON; none when it does.
[[nodiscard]] std::optional<HttpResponse> refuseOtherThanJson(const HttpRequest& request);

} // namespace quibel::inbox
