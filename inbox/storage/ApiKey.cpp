#include "inbox/storage/ApiKey.h"

#include <QCryptographicHash>
#include <QRandomGenerator>

#include <array>

namespace quibel::inbox {

QByteArray generateApiKey()
{
    std::array<quint32, 8> random {};
    QRandomGenerator::system()->fillRange(random.data(), random.size());
    const QByteArray bytes(reinterpret_cast<const char*>(random.data()), sizeof random);
    return "sk_" + bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

QByteArray hashApiKey(const QByteArray& key)
{
    return QCryptographicHash::hash(key, QCryptographicHash::Sha256).toHex();
}

} // namespace quibel::inbox
