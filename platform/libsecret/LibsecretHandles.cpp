#include "platform/libsecret/LibsecretHandles.h"

namespace quibel {

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

} // namespace quibel
