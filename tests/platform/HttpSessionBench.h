#pragma once

#include "platform/qt/QtHttpSession.h"
#include "tests/service/ScriptedService.h"
#include "tests/service/TestCertificates.h"

#include <chrono>
#include <optional>

namespace quibel::testing {

/// What the tests of the HTTP session have in common: a process without proxies that trusts only
/// the certificates made here, and requests that carry a key.
struct HttpSessionBench
{
    /// To be called before the first request.
    void enter() const;

    TestCertificates certificates;
};

/// The key in each request, which is for the service's eyes only.
inline const QByteArray key = "secret-key";

/// How long a request of a test may make no progress.
constexpr std::chrono::milliseconds patience { 30'000 };

[[nodiscard]] HttpRequest makeRequest(const QByteArray& method, const QUrl& url);
[[nodiscard]] HttpRequest get(const QUrl& url);
[[nodiscard]] HttpRequest post(const QUrl& url, const HttpBody& body = QByteArray("{}"));

/// Sends one request and waits for its end.
HttpOutcome outcomeOf(const HttpRequest& request,
                      const HttpTimeouts& timeouts = { .idle = patience });

[[nodiscard]] std::optional<TransportErrorCode> errorOf(const HttpOutcome& outcome);
[[nodiscard]] bool tellsTheKey(const HttpOutcome& outcome);

/// A port of this machine where nobody listens.
[[nodiscard]] quint16 unusedPort();

} // namespace quibel::testing
