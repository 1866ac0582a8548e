#include "inbox/api/ByMethod.h"

#include <QByteArrayList>

namespace quibel::inbox {

HttpResponse byMethod(const HttpRequest& request, const std::vector<MethodAnswer>& answers)
{
    QByteArrayList allowed;
    for (const auto& [method, answer] : answers) {
        if (method == request.method)
            return answer();
        allowed.append(method);
        if (method == "GET")
            allowed.append("HEAD");
    }
    return HttpResponse::wrongMethod(allowed.join(", "));
}

} // namespace quibel::inbox
