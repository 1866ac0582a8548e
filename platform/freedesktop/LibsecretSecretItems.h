#pragma once

#include "platform/SecretItems.h"
#include "platform/freedesktop/GLibHandles.h"

#include <functional>
#include <vector>

#include <libsecret/secret.h>

namespace quibel {

class TimedCalls;

/// The items of the desktop's Secret Service (GNOME Keyring, KWallet, KeePassXC).
///
/// An item's attributes are `service` and `account`, its label is the service. Nothing here ever
/// asks the user: what is locked is unavailable.
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
    [[nodiscard]] SecretAnswer copyMatching(const SecretIdentity& identity) override;
    SecretStatus remove(const SecretIdentity& identity) override;

private:
    using Items = std::vector<GLibHandle<SecretItem>>;
    /// Yields none when the service failed it.
    using Operation = std::function<std::optional<SecretAnswer>(TimedCalls&)>;
    using StartChange
        = std::function<void(SecretItem*, GCancellable*, GAsyncReadyCallback, gpointer)>;
    using FinishChange = gboolean (*)(SecretItem*, GAsyncResult*, GError**);

    [[nodiscard]] SecretAnswer perform(const Operation& operation);
    [[nodiscard]] std::optional<SecretAnswer> attempt(TimedCalls& calls,
                                                      const Operation& operation);
    [[nodiscard]] bool connectToService(TimedCalls& calls);
    [[nodiscard]] SecretStatus
    changeEach(const SecretIdentity& identity, const StartChange& start, FinishChange finish);
    [[nodiscard]] std::optional<Items>
    search(TimedCalls& calls, const SecretIdentity& identity, SecretSearchFlags flags) const;
    /// The key ring that new items go to; none when there is none.
    [[nodiscard]] GLibHandle<SecretCollection> defaultCollection(TimedCalls& calls,
                                                                 GLibError& error) const;
    [[nodiscard]] std::optional<SecretAnswer>
    create(TimedCalls& calls, const SecretIdentity& identity, const QByteArray& data) const;

    GLibHandle<GMainContext> context;
    GLibHandle<SecretService> service; ///< Kept while it answers.
};

} // namespace quibel
