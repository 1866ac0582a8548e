#include "inbox/http/HttpRequest.h"

namespace quibel::inbox {

QByteArray HttpRequest::cookie(const QByteArray& name) const
{
    for (const auto& pair : headers.value("cookie").split(';')) {
        const auto equals = pair.indexOf('=');
        if (equals >= 0 && pair.first(equals).trimmed() == name)
            return pair.sliced(equals + 1).trimmed();
    }
    return {};
}

} // namespace quibel::inbox
