#pragma once

#include "platform/glib/GLibHandles.h"

#include <functional>

#include <libsecret/secret.h>

namespace quibel {

/// One call to an object of the Secret Service.
struct SecretCall
{
    const char* path = nullptr;
    const char* interface = nullptr;
    const char* method = nullptr;
    GVariant* arguments = nullptr; ///< A floating reference, which the call takes.
    int timeout = -1;              ///< Milliseconds; negative for the usual.
};

/// Hands the reply on from within the context; null if the call failed.
void callSecretService(SecretService* service,
                       const SecretCall& call,
                       GCancellable* cancellable,
                       std::function<void(GLibHandle<GVariant>)> receive);

/// Asks for the path of the key ring that new items go to. `receive` gets null if there is no
/// answer, and an empty text if there is no such key ring.
void readDefaultCollectionPath(SecretService* service,
                               GCancellable* cancellable,
                               std::function<void(const char*)> receive);

} // namespace quibel
