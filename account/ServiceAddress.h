#pragma once

#include <QProcessEnvironment>
#include <QUrl>

#include <optional>

namespace quibel {

class Preferences;

/// Where the service is, and who says so.
struct ServiceAddress
{
    enum class Source { preference, environment, builtIn };

    QUrl url;
    Source source = Source::builtIn;

    bool operator==(const ServiceAddress&) const = default;
};

/// The first address that parses: of the preference, the environment, the build.
///
/// Errors: none when nothing parses.
[[nodiscard]] std::optional<ServiceAddress>
findServiceAddress(const Preferences& defaults, const QProcessEnvironment& environment);

} // namespace quibel
