#pragma once

#include "inbox/http/Descriptor.h"
#include "inbox/http/ListenAddress.h"

#include <QString>

#include <variant>

namespace quibel::inbox {

/// A socket that accepts connections, and the address it has with the port the system chose.
struct ListenSocket
{
    Descriptor descriptor;
    ListenAddress address;
};

/// Errors: the system's words for why not, for example that the port is taken.
[[nodiscard]] std::variant<ListenSocket, QString> openListenSocket(const ListenAddress& address);

} // namespace quibel::inbox
