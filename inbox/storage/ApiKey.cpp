#include "inbox/storage/ApiKey.h"

#include "inbox/storage/SecretToken.h"

namespace quibel::inbox {

QByteArray hashApiKey(const QByteArray& key)
{
    return hashSecret(key);
}

} // namespace quibel::inbox
