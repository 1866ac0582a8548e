#pragma once

#include <QString>

#include <optional>

namespace quibel::inbox {

/// Where the service listens: a numeric address or "localhost", and a port.
struct ListenAddress
{
    QString host;     ///< An IPv6 address without its brackets.
    quint16 port = 0; ///< 0 lets the system choose.

    bool operator==(const ListenAddress&) const = default;

    /// Reads "127.0.0.1:8787", "[::1]:8787" or "localhost:8787"; none for anything else.
    [[nodiscard]] static std::optional<ListenAddress> parse(const QString& text);

    /// Whether only programs of this machine can reach it.
    [[nodiscard]] bool isLoopback() const;

    /// The form that `parse` reads, and that stands in a URL.
    [[nodiscard]] QString toString() const;
};

} // namespace quibel::inbox
