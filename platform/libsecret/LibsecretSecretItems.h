#pragma once

#include "platform/SecretItems.h"
#include "platform/glib/ContextDriver.h"
#include "platform/glib/GLibHandles.h"
#include "platform/libsecret/SecretConnection.h"

#include <QObject>

#include <functional>
#include <optional>
#include <vector>

#include <libsecret/secret.h>

namespace quibel {

class SecretTask;
class TimedCalls;

/// The items of the desktop's Secret Service (GNOME Keyring, KWallet, KeePassXC).
///
/// An item's attributes are `service` and `account`, its label is the service.
class LibsecretSecretItems final : public SecretItems
{
    Q_DISABLE_COPY_MOVE(LibsecretSecretItems)

public:
    LibsecretSecretItems();
    ~LibsecretSecretItems() override;

    [[nodiscard]] SecretStoreState state() override;
    [[nodiscard]] SecretStatus add(const SecretIdentity& identity, const QByteArray& data) override;
    [[nodiscard]] SecretStatus update(const SecretIdentity& identity,
                                      const QByteArray& data) override;
    void copyMatching(const SecretIdentity& identity,
                      std::chrono::milliseconds hold,
                      QObject& owner,
                      std::function<void(const SecretAnswer&)> receive) override;
    SecretStatus remove(const SecretIdentity& identity) override;
    void
    unlock(const SecretIdentity& identity, QObject& owner, std::function<void()> done) override;
    void awaitChange(QObject& owner, std::function<void()> changed) override;

private:
    struct Awaited;
    using Items = std::vector<GLibHandle<SecretItem>>;
    /// Yields none when the service failed it.
    using Operation = std::function<std::optional<SecretStatus>(const TimedCalls&, SecretService*)>;
    using StartChange
        = std::function<void(SecretItem*, GCancellable*, GAsyncReadyCallback, gpointer)>;
    using FinishChange = gboolean (*)(SecretItem*, GAsyncResult*, GError**);

    [[nodiscard]] SecretStatus perform(const Operation& operation);
    [[nodiscard]] std::optional<SecretStatus> attempt(const TimedCalls& calls,
                                                      const Operation& operation);
    void await(std::unique_ptr<SecretTask> task, QObject& owner, std::function<void()> tell);
    void deliver(int number);
    [[nodiscard]] std::optional<Awaited> take(int number);
    enum class IfSomeAreLocked { leaveAll, changeOthers };

    [[nodiscard]] SecretStatus changeEach(const SecretIdentity& identity,
                                          const StartChange& start,
                                          FinishChange finish,
                                          IfSomeAreLocked policy);
    [[nodiscard]] static std::optional<Items>
    search(const TimedCalls& calls, SecretService* service, const SecretIdentity& identity);
    /// The key ring that new items go to; none when there is none.
    [[nodiscard]] static GLibHandle<SecretCollection>
    defaultCollection(const TimedCalls& calls, SecretService* service, GLibError& error);
    [[nodiscard]] static std::optional<SecretStatus> create(const TimedCalls& calls,
                                                            SecretService* service,
                                                            const SecretIdentity& identity,
                                                            const QByteArray& data);

    GLibHandle<GMainContext> context;
    SecretConnection connection;
    std::vector<Awaited> awaited; ///< Each until it is told, or its owner is gone.
    int lastNumber = 0;
    ContextDriver driver; ///< Runs while answers are awaited.
    QObject deliveries;   ///< The context of queued calls of ours.
};

} // namespace quibel
