#include "platform/freedesktop/LibsecretSecretItems.h"

#include "platform/freedesktop/TimedCalls.h"

#include <algorithm>
#include <chrono>

namespace quibel {

namespace {

using namespace std::chrono_literals;

// Less than the two seconds a call may take, to leave time for what is under way to be cancelled.
constexpr auto patience = 1500ms;

struct SecretValueRelease
{
    void operator()(gpointer value) const { secret_value_unref(value); }
};
using SecretValueHandle = std::unique_ptr<SecretValue, SecretValueRelease>;

SecretValueHandle makeValue(const QByteArray& data)
{
    return SecretValueHandle(secret_value_new(data.constData(), data.size(), "text/plain"));
}

GLibHandle<GHashTable> makeAttributes(const SecretIdentity& identity)
{
    GLibHandle<GHashTable> attributes(
        g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free));
    const auto insert = [&](const char* name, const QString& value) {
        g_hash_table_insert(attributes.get(), g_strdup(name), g_strdup(value.toUtf8().constData()));
    };
    insert("service", identity.service);
    insert("account", identity.account);
    return attributes;
}

void refusePrompt(SecretService* service,
                  SecretPrompt* /*prompt*/,
                  const GVariantType* /*answer*/,
                  GCancellable* /*cancellable*/,
                  GAsyncReadyCallback callback,
                  gpointer data)
{
    g_task_report_new_error(service,
                            callback,
                            data,
                            nullptr,
                            SECRET_ERROR,
                            SECRET_ERROR_IS_LOCKED,
                            "%s",
                            "the store wants to ask the user");
}

GVariant* finishRefusedPrompt(SecretService* /*service*/, GAsyncResult* result, GError** error)
{
    return static_cast<GVariant*>(g_task_propagate_pointer(G_TASK(result), error));
}

void makePromptless(gpointer type, gpointer /*data*/)
{
    SecretServiceClass* const functions = SECRET_SERVICE_CLASS(type);
    functions->prompt_async = refusePrompt;
    functions->prompt_finish = finishRefusedPrompt;
}

/// A store may answer any change by a prompt, which libsecret would start unasked.
GType promptlessService()
{
    static const GType type = g_type_register_static_simple(SECRET_TYPE_SERVICE,
                                                            "QuibelPromptlessSecretService",
                                                            sizeof(SecretServiceClass),
                                                            makePromptless,
                                                            sizeof(SecretService),
                                                            nullptr,
                                                            GTypeFlags {});
    return type;
}

bool isLocked(const GLibHandle<SecretItem>& item)
{
    return secret_item_get_locked(item.get()) != FALSE;
}

SecretAnswer status(SecretStatus value)
{
    return { .status = value, .data = std::nullopt };
}

} // namespace

LibsecretSecretItems::LibsecretSecretItems()
    : context(g_main_context_new())
{
}

LibsecretSecretItems::~LibsecretSecretItems() = default;

SecretStoreState LibsecretSecretItems::state()
{
    SecretStoreState found = SecretStoreState::absent;
    const auto operation = [&](TimedCalls& calls) -> std::optional<SecretAnswer> {
        GLibError error;
        const auto collection = defaultCollection(calls, error);
        if (error)
            return std::nullopt;
        if (!collection)
            found = SecretStoreState::unmade;
        else if (secret_collection_get_locked(collection.get()) != FALSE)
            found = SecretStoreState::locked;
        else
            found = SecretStoreState::unlocked;
        return status(SecretStatus::success);
    };
    static_cast<void>(perform(operation));
    return found;
}

SecretStatus LibsecretSecretItems::add(const SecretIdentity& identity, const QByteArray& data)
{
    const auto operation = [&](TimedCalls& calls) -> std::optional<SecretAnswer> {
        const auto items = search(calls, identity, SECRET_SEARCH_ALL);
        if (!items)
            return std::nullopt;
        if (items->empty())
            return create(calls, identity, data);
        return status(std::ranges::all_of(*items, isLocked) ? SecretStatus::unavailable
                                                            : SecretStatus::duplicateItem);
    };
    return perform(operation).status;
}

SecretStatus LibsecretSecretItems::update(const SecretIdentity& identity, const QByteArray& data)
{
    const SecretValueHandle value = makeValue(data);
    return changeEach(
        identity,
        [&](SecretItem* item, GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
            secret_item_set_secret(item, value.get(), cancellable, done, slot);
        },
        secret_item_set_secret_finish);
}

SecretStatus LibsecretSecretItems::remove(const SecretIdentity& identity)
{
    return changeEach(identity, secret_item_delete, secret_item_delete_finish);
}

SecretAnswer LibsecretSecretItems::copyMatching(const SecretIdentity& identity)
{
    return perform([&](TimedCalls& calls) -> std::optional<SecretAnswer> {
        // Unlocked items come before locked ones.
        const auto items = search(calls, identity, SECRET_SEARCH_LOAD_SECRETS);
        if (!items)
            return std::nullopt;
        if (items->empty())
            return status(SecretStatus::itemNotFound);
        if (isLocked(items->front()))
            return status(SecretStatus::unavailable);
        const SecretValueHandle value(secret_item_get_secret(items->front().get()));
        if (!value)
            return std::nullopt;
        gsize length = 0;
        const gchar* const bytes = secret_value_get(value.get(), &length);
        return SecretAnswer { .status = SecretStatus::success,
                              .data = QByteArray(bytes, static_cast<qsizetype>(length)) };
    });
}

SecretStatus LibsecretSecretItems::changeEach(const SecretIdentity& identity,
                                              const StartChange& start,
                                              FinishChange finish)
{
    const auto operation = [&](TimedCalls& calls) -> std::optional<SecretAnswer> {
        const auto items = search(calls, identity, SECRET_SEARCH_ALL);
        if (!items)
            return std::nullopt;
        for (const auto& item : *items) {
            if (isLocked(item))
                continue;
            const auto result = calls.resultOf(
                [&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
                    start(item.get(), cancellable, done, slot);
                });
            GLibError error;
            if (finish(item.get(), result.get(), error.receiver()) == FALSE)
                return std::nullopt;
        }
        if (items->empty())
            return status(SecretStatus::itemNotFound);
        return status(std::ranges::any_of(*items, isLocked) ? SecretStatus::unavailable
                                                            : SecretStatus::success);
    };
    return perform(operation).status;
}

SecretAnswer LibsecretSecretItems::perform(const Operation& operation)
{
    TimedCalls calls(context.get(), patience);
    auto answer = attempt(calls, operation);
    // A service or a bus that was started again knows nothing of the connection that is kept.
    if (!answer && !calls.expired())
        answer = attempt(calls, operation);
    return answer.value_or(status(SecretStatus::unavailable));
}

std::optional<SecretAnswer> LibsecretSecretItems::attempt(TimedCalls& calls,
                                                          const Operation& operation)
{
    if (!service && !connectToService(calls))
        return std::nullopt;
    auto answer = operation(calls);
    if (!answer)
        service.reset();
    return answer;
}

bool LibsecretSecretItems::connectToService(TimedCalls& calls)
{
    const auto connected
        = calls.resultOf([](GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
              g_bus_get(G_BUS_TYPE_SESSION, cancellable, done, slot);
          });
    GLibError error;
    const GLibHandle<GDBusConnection> bus(g_bus_get_finish(connected.get(), error.receiver()));
    if (!bus)
        return false;
    // GLib would end the program together with the bus.
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);

    const auto opened = calls.resultOf(
        [](GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
            secret_service_open(
                promptlessService(), nullptr, SECRET_SERVICE_OPEN_SESSION, cancellable, done, slot);
        });
    service.reset(secret_service_open_finish(opened.get(), error.receiver()));
    return service != nullptr;
}

std::optional<LibsecretSecretItems::Items> LibsecretSecretItems::search(
    TimedCalls& calls, const SecretIdentity& identity, SecretSearchFlags flags) const
{
    const GLibHandle<GHashTable> attributes = makeAttributes(identity);
    const auto result
        = calls.resultOf([&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
              secret_service_search(
                  service.get(), nullptr, attributes.get(), flags, cancellable, done, slot);
          });
    GLibError error;
    GList* const found
        = secret_service_search_finish(service.get(), result.get(), error.receiver());
    if (error)
        return std::nullopt;
    Items items;
    for (const GList* link = found; link != nullptr; link = link->next)
        items.emplace_back(SECRET_ITEM(link->data));
    g_list_free(found);
    return items;
}

GLibHandle<SecretCollection> LibsecretSecretItems::defaultCollection(TimedCalls& calls,
                                                                     GLibError& error) const
{
    const auto aliased
        = calls.resultOf([&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer slot) {
              secret_collection_for_alias(service.get(),
                                          SECRET_COLLECTION_DEFAULT,
                                          SECRET_COLLECTION_NONE,
                                          cancellable,
                                          done,
                                          slot);
          });
    return GLibHandle<SecretCollection>(
        secret_collection_for_alias_finish(aliased.get(), error.receiver()));
}

std::optional<SecretAnswer> LibsecretSecretItems::create(TimedCalls& calls,
                                                         const SecretIdentity& identity,
                                                         const QByteArray& data) const
{
    GLibError error;
    const auto collection = defaultCollection(calls, error);
    if (error)
        return std::nullopt;
    if (!collection)
        return status(SecretStatus::unavailable);

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
    return item ? std::optional(status(SecretStatus::success)) : std::nullopt;
}

} // namespace quibel
