#include "account/ServiceAddress.h"

#include "platform/Preferences.h"

#include <array>
#include <utility>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

const QString apiBaseURLDefaultsKey = u"quibel.apiBaseURL"_s;

} // namespace

std::optional<ServiceAddress> findServiceAddress(const Preferences& defaults,
                                                 const QProcessEnvironment& environment)
{
    using Source = ServiceAddress::Source;
    const std::array<std::pair<QString, Source>, 3> candidates { {
        { defaults.text(apiBaseURLDefaultsKey).value_or(QString()), Source::preference },
        { environment.value(u"QUIBEL_API_BASE_URL"_s), Source::environment },
        { QStringLiteral(QUIBEL_DEFAULT_BASE_URL), Source::builtIn },
    } };
    for (const auto& [text, source] : candidates) {
        QUrl url(text, QUrl::StrictMode);
        if (url.isValid())
            return ServiceAddress { .url = std::move(url), .source = source };
    }
    return std::nullopt;
}

} // namespace quibel
