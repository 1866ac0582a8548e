#include "account/KeychainService.h"

#include <QStringDecoder>

#include <utility>

namespace quibel {

using namespace Qt::StringLiterals;

KeychainService::KeychainService(SecretItems& secretItems, QString serviceName, QString accountName)
    : service(std::move(serviceName))
    , account(std::move(accountName))
    , items(secretItems)
{
}

bool KeychainService::save(const QString& key)
{
    if (!key.isValidUtf16())
        return false;

    const SecretIdentity identity { .service = service, .account = account };
    const QByteArray data = key.toUtf8();
    SecretStatus status = items.add(identity, data);
    if (status == SecretStatus::duplicateItem)
        status = items.update(identity, data);
    return status == SecretStatus::success;
}

std::optional<QString> KeychainService::read() const
{
    const SecretAnswer answer = items.copyMatching({ .service = service, .account = account });
    if (answer.status != SecretStatus::success || !answer.data)
        return std::nullopt;

    QStringDecoder decoder(QStringDecoder::Utf8,
                           QStringDecoder::Flag::Stateless
                               | QStringDecoder::Flag::ConvertInitialBom);
    QString key = decoder.decode(*answer.data);
    return decoder.hasError() ? std::nullopt : std::optional(std::move(key));
}

void KeychainService::remove()
{
    items.remove({ .service = service, .account = account });
}

KeychainService makeAgentKeychain(SecretItems& items)
{
    return { items, u"QuibelDesktop"_s, u"apiKey"_s };
}

} // namespace quibel
