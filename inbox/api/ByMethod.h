#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"

#include <functional>
#include <vector>

namespace quibel::inbox {

/// A method that a path takes, and what then answers.
struct MethodAnswer
{
    QByteArray method;
    std::function<HttpResponse()> answer;
};

/// The answer for the method of a request, or the one that names the methods there are.
[[nodiscard]] HttpResponse byMethod(const HttpRequest& request,
                                    const std::vector<MethodAnswer>& answers);

} // namespace quibel::inbox
