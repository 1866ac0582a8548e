#pragma once

#include "inbox/api/Answers.h"

#include <variant>

namespace quibel::inbox {

/// The document in the body of one of the page's own requests, or the answer that says what is
/// wrong with it.
template <typename Document>
[[nodiscard]] std::variant<Document, HttpResponse> readSmallBody(const HttpRequest& request,
                                                                 Document (*read)(JsonFields&))
{
    constexpr qsizetype largest = 64LL * 1024;
    if (auto refusal = refuseOtherThanJson(request))
        return *std::move(refusal);
    if (request.bodyOverLimit || request.body.size() > largest)
        return tooLarge(QStringLiteral("the body of this request may have 64 KiB"));
    auto decoded = decodeJson(request.body, read);
    if (const auto* error = std::get_if<DocumentError>(&decoded))
        return invalidBody(*error);
    return std::get<Document>(std::move(decoded));
}

} // namespace quibel::inbox
