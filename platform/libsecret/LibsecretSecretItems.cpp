#include "platform/libsecret/LibsecretSecretItems.h"

#include "platform/glib/DefaultContext.h"
#include "platform/glib/TimedCalls.h"
#include "platform/libsecret/LibsecretHandles.h"
#include "platform/libsecret/SecretReading.h"
#include "platform/libsecret/SecretUnlocking.h"
#include "platform/libsecret/SecretWatch.h"

#include <QMetaObject>

#include <algorithm>
#include <chrono>
#include <utility>

namespace quibel {

namespace {

using namespace std::chrono_literals;

// Less than the two seconds a call may take, to leave time for what is under way to be cancelled.
constexpr auto patience = 1500ms;

/// Holds nobody up, and what waits for it may be lost without the answer.
constexpr auto patienceToRead = 10s;

/// Some services tell of a change whenever they are asked, which must not become a busy loop.
constexpr auto shortestWatch = 3s;

SecretValueHandle makeValue(const QByteArray& data)
{
    return SecretValueHandle(secret_value_new(data.constData(), data.size(), "text/plain"));
}

bool isLocked(const GLibHandle<SecretItem>& item)
{
    return secret_item_get_locked(item.get()) != FALSE;
}

} // namespace

struct LibsecretSecretItems::Awaited
{
    int number = 0;
    std::unique_ptr<SecretTask> task;
    std::function<void()> tell;
    QMetaObject::Connection whenOwnerIsGone;
};

LibsecretSecretItems::LibsecretSecretItems()
    : context(g_main_context_new_with_flags(G_MAIN_CONTEXT_FLAGS_OWNERLESS_POLLING))
    , driver(context.get())
{
}

LibsecretSecretItems::~LibsecretSecretItems()
{
    awaited.clear();
    connection.close();
    // A signal of the service that waits to be delivered keeps the context alive, and the bus.
    DefaultContext(context.get()).runWhatIsDue();
}

SecretStoreState LibsecretSecretItems::state()
{
    SecretStoreState found = SecretStoreState::absent;
    const auto operation
        = [&](const TimedCalls& calls, SecretService* service) -> std::optional<SecretStatus> {
        GLibError error;
        const auto collection = defaultCollection(calls, service, error);
        if (error)
            return std::nullopt;
        if (!collection)
            found = SecretStoreState::unmade;
        else if (secret_collection_get_locked(collection.get()) != FALSE)
            found = SecretStoreState::locked;
        else
            found = SecretStoreState::unlocked;
        return SecretStatus::success;
    };
    static_cast<void>(perform(operation));
    return found;
}

SecretStatus LibsecretSecretItems::add(const SecretIdentity& identity, const QByteArray& data)
{
    const auto operation
        = [&](const TimedCalls& calls, SecretService* service) -> std::optional<SecretStatus> {
        const auto items = search(calls, service, identity);
        if (!items)
            return std::nullopt;
        if (items->empty())
            return create(calls, service, identity, data);
        return std::ranges::all_of(*items, isLocked) ? SecretStatus::locked
                                                     : SecretStatus::duplicateItem;
    };
    return perform(operation);
}

SecretStatus LibsecretSecretItems::update(const SecretIdentity& identity, const QByteArray& data)
{
    const SecretValueHandle value = makeValue(data);
    return changeEach(
        identity,
        [&](SecretItem* item, GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
            secret_item_set_secret(item, value.get(), cancellable, done, slot);
        },
        secret_item_set_secret_finish,
        IfSomeAreLocked::leaveAll);
}

SecretStatus LibsecretSecretItems::remove(const SecretIdentity& identity)
{
    return changeEach(
        identity, secret_item_delete, secret_item_delete_finish, IfSomeAreLocked::changeOthers);
}

void LibsecretSecretItems::copyMatching(const SecretIdentity& identity,
                                        std::chrono::milliseconds hold,
                                        QObject& owner,
                                        std::function<void(const SecretAnswer&)> receive)
{
    auto reading
        = std::make_unique<SecretReading>(context.get(), connection, identity, patienceToRead);
    const Deadline held(context.get(), hold);
    DefaultContext(context.get()).runUntil([&] { return reading->answer() || held.passed(); });
    if (reading->answer()) {
        receive(*reading->answer());
        return;
    }
    auto tell = [receive = std::move(receive), answered = reading.get()] {
        receive(*answered->answer());
    };
    await(std::move(reading), owner, std::move(tell));
}

void LibsecretSecretItems::unlock(const SecretIdentity& identity,
                                  QObject& owner,
                                  std::function<void()> done)
{
    await(std::make_unique<SecretUnlocking>(context.get(), connection, identity),
          owner,
          std::move(done));
}

void LibsecretSecretItems::awaitChange(QObject& owner, std::function<void()> changed)
{
    await(std::make_unique<SecretWatch>(context.get(), connection, shortestWatch),
          owner,
          std::move(changed));
}

void LibsecretSecretItems::await(std::unique_ptr<SecretTask> task,
                                 QObject& owner,
                                 std::function<void()> tell)
{
    const int number = ++lastNumber;
    task->onEnd = [this, number] {
        QMetaObject::invokeMethod(
            &deliveries, [this, number] { deliver(number); }, Qt::QueuedConnection);
    };
    const auto forget = [this, number] { static_cast<void>(take(number)); };
    awaited.push_back(
        { .number = number,
          .task = std::move(task),
          .tell = std::move(tell),
          .whenOwnerIsGone = QObject::connect(&owner, &QObject::destroyed, &deliveries, forget) });
    driver.start();
}

void LibsecretSecretItems::deliver(int number)
{
    if (const auto arrived = take(number))
        arrived->tell();
}

std::optional<LibsecretSecretItems::Awaited> LibsecretSecretItems::take(int number)
{
    const auto found = std::ranges::find(awaited, number, &Awaited::number);
    if (found == awaited.end())
        return std::nullopt;
    std::optional<Awaited> taken = std::move(*found);
    awaited.erase(found);
    QObject::disconnect(taken->whenOwnerIsGone);
    if (awaited.empty())
        driver.stop();
    return taken;
}

SecretStatus LibsecretSecretItems::changeEach(const SecretIdentity& identity,
                                              const StartChange& start,
                                              FinishChange finish,
                                              IfSomeAreLocked policy)
{
    const auto operation
        = [&](const TimedCalls& calls, SecretService* service) -> std::optional<SecretStatus> {
        auto items = search(calls, service, identity);
        if (!items)
            return std::nullopt;
        if (items->empty())
            return SecretStatus::itemNotFound;
        const bool someAreLocked = std::erase_if(*items, isLocked) > 0;
        if (someAreLocked && policy == IfSomeAreLocked::leaveAll)
            return SecretStatus::locked;
        for (const auto& item : *items) {
            const auto result = calls.resultOf(
                [&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
                    start(item.get(), cancellable, done, slot);
                });
            GLibError error;
            if (finish(item.get(), result.get(), error.receiver()) == FALSE)
                return std::nullopt;
        }
        return someAreLocked ? SecretStatus::locked : SecretStatus::success;
    };
    return perform(operation);
}

SecretStatus LibsecretSecretItems::perform(const Operation& operation)
{
    const TimedCalls calls(context.get(), patience);
    auto answer = attempt(calls, operation);
    if (!answer && !calls.expired())
        answer = attempt(calls, operation);
    return answer.value_or(SecretStatus::unavailable);
}

std::optional<SecretStatus> LibsecretSecretItems::attempt(const TimedCalls& calls,
                                                          const Operation& operation)
{
    std::optional<GLibHandle<SecretService>> opened;
    connection.open(calls.cancellable(),
                    [&opened](GLibHandle<SecretService> service) { opened = std::move(service); });
    calls.waitUntil([&opened] { return opened.has_value(); });
    SecretService* const service = opened->get();
    if (service == nullptr)
        return std::nullopt;
    auto answer = operation(calls, service);
    if (!answer)
        connection.drop(service);
    return answer;
}

std::optional<LibsecretSecretItems::Items> LibsecretSecretItems::search(
    const TimedCalls& calls, SecretService* service, const SecretIdentity& identity)
{
    const GLibHandle<GHashTable> attributes = makeAttributes(identity);
    const auto result
        = calls.resultOf([&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
              secret_service_search(
                  service, nullptr, attributes.get(), SECRET_SEARCH_ALL, cancellable, done, slot);
          });
    GLibError error;
    GList* const found = secret_service_search_finish(service, result.get(), error.receiver());
    if (error)
        return std::nullopt;
    Items items;
    for (const GList* link = found; link != nullptr; link = link->next)
        items.emplace_back(SECRET_ITEM(link->data));
    g_list_free(found);
    return items;
}

GLibHandle<SecretCollection> LibsecretSecretItems::defaultCollection(const TimedCalls& calls,
                                                                     SecretService* service,
                                                                     GLibError& error)
{
    const auto aliased = calls.resultOf([&](GCancellable* cancellable,
                                            GAsyncReadyCallback done,
                                            gpointer slot) {
        secret_collection_for_alias(
            service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, cancellable, done, slot);
    });
    return GLibHandle<SecretCollection>(
        secret_collection_for_alias_finish(aliased.get(), error.receiver()));
}

std::optional<SecretStatus> LibsecretSecretItems::create(const TimedCalls& calls,
                                                         SecretService* service,
                                                         const SecretIdentity& identity,
                                                         const QByteArray& data)
{
    GLibError error;
    const auto collection = defaultCollection(calls, service, error);
    if (error)
        return std::nullopt;
    if (!collection)
        return SecretStatus::unavailable;
    if (secret_collection_get_locked(collection.get()) != FALSE)
        return SecretStatus::locked;

    const GLibHandle<GHashTable> attributes = makeAttributes(identity);
    const SecretValueHandle value = makeValue(data);
    const auto created
        = calls.resultOf([&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
              secret_item_create(collection.get(),
                                 nullptr,
                                 attributes.get(),
                                 identity.service.toUtf8().constData(),
                                 value.get(),
                                 SECRET_ITEM_CREATE_NONE,
                                 cancellable,
                                 done,
                                 slot);
          });
    const GLibHandle<SecretItem> item(secret_item_create_finish(created.get(), error.receiver()));
    return item ? std::optional(SecretStatus::success) : std::nullopt;
}

} // namespace quibel
