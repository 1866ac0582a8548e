#pragma once

#include "platform/SecretItems.h"
#include "platform/glib/GLibHandles.h"

#include <libsecret/secret.h>

namespace quibel {

struct SecretValueRelease
{
    void operator()(gpointer value) const { secret_value_unref(value); }
};
using SecretValueHandle = std::unique_ptr<SecretValue, SecretValueRelease>;

struct StringListRelease
{
    void operator()(gchar** list) const { g_strfreev(list); }
};
/// Ends with a null.
using StringListHandle = std::unique_ptr<gchar*, StringListRelease>; // NOLINT

/// What an item is searched by.
[[nodiscard]] GLibHandle<GHashTable> makeAttributes(const SecretIdentity& identity);

} // namespace quibel
