#include "account/KeychainService.h"

#include <QObject>
#include <QStringDecoder>

#include <utility>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

KeyResult keyOf(const SecretAnswer& answer)
{
    if (answer.status == SecretStatus::locked || answer.status == SecretStatus::unavailable)
        return KeyError::noAnswer;
    if (answer.status != SecretStatus::success || !answer.data)
        return KeyError::noKey;

    QStringDecoder decoder(QStringDecoder::Utf8,
                           QStringDecoder::Flag::Stateless
                               | QStringDecoder::Flag::ConvertInitialBom);
    QString key = decoder.decode(*answer.data);
    return decoder.hasError() ? KeyResult(KeyError::noKey) : KeyResult(SecretText(std::move(key)));
}

} // namespace

KeychainService::KeychainService(SecretItems& secretItems, QString serviceName, QString accountName)
    : service(std::move(serviceName))
    , account(std::move(accountName))
    , items(secretItems)
{
}

void KeychainService::save(const QString& key, QObject& owner, std::function<void(bool)> done)
{
    if (!key.isValidUtf16()) {
        done(false);
        return;
    }
    const SecretBytes data(key.toUtf8());
    const SecretStatus status = replace(data);
    if (status != SecretStatus::locked) {
        done(status == SecretStatus::success);
        return;
    }
    items.unlock(identity(), owner, [self = *this, data, done = std::move(done)] {
        done(self.replace(data) == SecretStatus::success);
    });
}

void KeychainService::read(QObject& owner, Receive receive, std::chrono::milliseconds hold) const
{
    items.copyMatching(
        identity(), hold, owner, [receive = std::move(receive)](const SecretAnswer& answer) {
            receive(keyOf(answer));
        });
}

void KeychainService::readAsking(QObject& owner, Receive receive) const
{
    const auto take
        = [self = *this, &owner, receive = std::move(receive)](const SecretAnswer& answer) {
              if (answer.status == SecretStatus::locked)
                  self.items.unlock(self.identity(), owner, [self, &owner, receive] {
                      self.read(owner, receive);
                  });
              else
                  receive(keyOf(answer));
          };
    items.copyMatching(identity(), {}, owner, take);
}

void KeychainService::readWhenAnswered(QObject& owner, Receive receive) const
{
    read(owner, [self = *this, &owner, receive = std::move(receive)](const KeyResult& result) {
        if (result == KeyResult(KeyError::noAnswer))
            self.readAfterChange(owner, receive);
        else
            receive(result);
    });
}

void KeychainService::readAfterChange(QObject& owner, Receive receive) const
{
    // The store may have changed between its last answer and now, so it is asked once more.
    auto* const waiting = new QObject(&owner);
    items.awaitChange(*waiting, [self = *this, &owner, waiting, receive] {
        delete waiting;
        self.readAfterChange(owner, receive);
    });
    read(*waiting, [waiting, receive = std::move(receive)](const KeyResult& result) {
        if (result == KeyResult(KeyError::noAnswer))
            return;
        delete waiting;
        receive(result);
    });
}

void KeychainService::remove()
{
    items.remove(identity());
}

SecretStatus KeychainService::replace(const QByteArray& data) const
{
    const SecretStatus status = items.add(identity(), data);
    return status == SecretStatus::duplicateItem ? items.update(identity(), data) : status;
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
