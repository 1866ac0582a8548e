#include "account/KeychainService.h"

#include <QStringDecoder>

#include <utility>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

std::optional<QString> keyOf(const SecretAnswer& answer)
{
    if (answer.status != SecretStatus::success || !answer.data)
        return std::nullopt;

    QStringDecoder decoder(QStringDecoder::Utf8,
                           QStringDecoder::Flag::Stateless
                               | QStringDecoder::Flag::ConvertInitialBom);
    QString key = decoder.decode(*answer.data);
    return decoder.hasError() ? std::nullopt : std::optional(std::move(key));
}

} // namespace

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

    const QByteArray data = key.toUtf8();
    SecretStatus status = items.add(identity(), data);
    if (status == SecretStatus::duplicateItem)
        status = items.update(identity(), data);
    return status == SecretStatus::success;
}

void KeychainService::read(QObject& owner, Receive receive, std::chrono::milliseconds hold) const
{
    items.copyMatching(
        identity(), hold, owner, [receive = std::move(receive)](const SecretAnswer& answer) {
            receive(keyOf(answer));
        });
}

void KeychainService::remove()
{
    items.remove(identity());
}

SecretIdentity KeychainService::identity() const
{
    return { .service = service, .account = account };
}

KeychainService makeAgentKeychain(SecretItems& items)
{
    return { items, u"QuibelDesktop"_s, u"apiKey"_s };
}

} // namespace quibel
