#pragma once

#include <QString>

#include <memory>
#include <mutex>
#include <optional>
#include <variant>

struct gnutls_certificate_credentials_st;

namespace quibel::inbox {

/// The certificate and the key with which the service proves who it is, from two PEM files.
///
/// Thread: any.
class TlsCredentials
{
public:
    struct Files
    {
        QString certificate; ///< Its own first, then those that lead to the authority.
        QString key;
    };
    using Pair = std::shared_ptr<gnutls_certificate_credentials_st>;

    /// Errors: what is wrong with the files, for a person.
    [[nodiscard]] static std::variant<std::shared_ptr<TlsCredentials>, QString>
    load(const Files& files);

    /// Reads the files again. New connections get what is in them now, running ones go on with
    /// what they have.
    ///
    /// Errors: what is wrong with the files, for a person; what was there stays.
    [[nodiscard]] std::optional<QString> reload();

    /// What a new connection shall use, and keep for as long as it is open.
    [[nodiscard]] Pair current() const;

private:
    TlsCredentials(Files pemFiles, Pair firstPair);

    Files files;
    mutable std::mutex mutex; ///< Guards the pair.
    Pair pair;
};

} // namespace quibel::inbox
