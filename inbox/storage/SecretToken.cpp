#include "inbox/storage/SecretToken.h"

#include <QCryptographicHash>
#include <QRandomGenerator>

#include <array>

namespace quibel::inbox {

QByteArray generateSecretToken()
{
    std::array<quint32, 8> random {};
    QRandomGenerator::system()->fillRange(random.data(), random.size());
    const QByteArray bytes(reinterpret_cast<const char*>(random.data()), sizeof random);
    return bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

QByteArray generateApiKey()
{
    return "sk_" + generateSecretToken();
}

QByteArray hashSecret(const QByteArray& secret)
{
    return QCryptographicHash::hash(secret, QCryptographicHash::Sha256).toHex();
}

} // namespace quibel::inbox
