#include "doctor/AccountChecks.h"

#include "account/ProjectsResponse.h"
#include "account/ServiceAddress.h"
#include "platform/DesktopFacts.h"
#include "platform/HttpSession.h"

#include <QUrl>

#include <algorithm>

namespace quibel {

using namespace Qt::StringLiterals;

namespace {

constexpr int soonInDays = 7;

/// Where an address comes from, for programs and for people.
struct Origin
{
    QString name;
    QString told;
};

Origin originOf(ServiceAddress::Source source)
{
    switch (source) {
    case ServiceAddress::Source::preference:
        return { u"preference"_s, u"from the preference quibel.apiBaseURL"_s };
    case ServiceAddress::Source::environment:
        return { u"environment"_s, u"from QUIBEL_API_BASE_URL"_s };
    case ServiceAddress::Source::builtIn:
        break;
    }
    return { u"builtIn"_s, u"built in"_s };
}

QString adviceAboutAddress(const ServiceAddress& address)
{
    if (address.source == ServiceAddress::Source::builtIn)
        return u"Set the preference quibel.apiBaseURL to the address of your service; "
               u"\"quibel-inbox serve\""
               " starts one of your own."_s;
    return u"See that the address is right, the service is up and this machine is online."_s;
}

/// How far the request came.
struct Reply
{
    const ServiceAddress& address;
    const HttpOutcome& outcome;
    const std::optional<QString>& key; ///< What it was sent with.
    std::optional<qint64> certificateDays;
};

QString certificate(const Reply& reply)
{
    if (reply.address.url.scheme() != u"https"_s)
        return u"none"_s;
    if (reply.outcome.status)
        return u"valid"_s;
    const bool isRefused = reply.outcome.error
        && reply.outcome.error->code == TransportErrorCode::secureConnectionFailed;
    return isRefused ? u"invalid"_s : u"unknown"_s;
}

bool hasControlCharacter(const QString& key)
{
    return std::ranges::any_of(
        key, [](QChar character) { return character < u' ' || character == u'\x7f'; });
}

Finding failed(const QString& text, const QString& advice)
{
    return { .verdict = Verdict::failure, .text = text, .advice = advice };
}

Finding judgeTransport(const Reply& reply)
{
    const TransportError error = reply.outcome.error.value_or(TransportError {});
    switch (error.code) {
    case TransportErrorCode::secureConnectionFailed:
        return failed(
            u"its certificate is not accepted: "_s + error.localizedDescription,
            u"Have the service get a valid certificate for this name, or put the authority"
            " that signed it into the system's store. See that this machine's clock is"
            " right."_s);
    case TransportErrorCode::requestRefused:
        return failed(u"nothing is sent there: "_s + error.localizedDescription,
                      reply.key && hasControlCharacter(*reply.key)
                          ? u"Paste the key anew: choose \"Connect Account…\" in the tray menu, or"
                            " run \"quibel-capture-agent --connect-account\"."_s
                          : u"Use an https address; http is for this machine only."_s);
    default:
        return failed(u"not reachable: "_s + error.localizedDescription,
                      adviceAboutAddress(reply.address));
    }
}

bool isSuccess(int status)
{
    return status >= 200 && status <= 299;
}

Finding judgeAnswerWithoutKey(const Reply& reply)
{
    const int status = *reply.outcome.status;
    Finding finding { .text = u"reachable (status %1 without a key)"_s.arg(status) };
    if (!isSuccess(status) && status != 401 && status != 403) {
        finding.verdict = Verdict::warning;
        finding.advice = adviceAboutAddress(reply.address);
    }
    return finding;
}

Finding judgeAnswer(const Reply& reply)
{
    const int status = *reply.outcome.status;
    if (!reply.key)
        return judgeAnswerWithoutKey(reply);
    const ProjectsResult result = readProjects(reply.outcome);
    if (const auto* projects = std::get_if<ProjectList>(&result))
        return { .text = u"reachable, the key is accepted, %1 %2"_s.arg(
                     QString::number(projects->size()),
                     projects->size() == 1 ? u"project"_s : u"projects"_s) };
    if (std::get<APIError>(result) == APIError::unauthorized)
        return failed(u"reachable, but it rejects the key (status 401)"_s,
                      u"Choose \"Connect Account…\" in the tray menu, or run"
                      " \"quibel-capture-agent --connect-account\", and paste a new key."_s);
    if (isSuccess(status))
        return failed(
            u"something answers (status %1), but not with a list of projects"_s.arg(status),
            adviceAboutAddress(reply.address));
    return failed(u"reachable, but it answers with status %1"_s.arg(status),
                  u"See that the address is right, or look into the service's own log."_s);
}

std::optional<qint64> daysLeft(const HttpOutcome& outcome, const QDateTime& now)
{
    std::optional<qint64> days;
    if (outcome.certificateExpiry)
        days = now.daysTo(*outcome.certificateExpiry);
    return days;
}

void addCertificate(Finding& finding, const Reply& reply)
{
    if (!reply.certificateDays)
        return;
    finding.text += u", certificate valid for %1 more days"_s.arg(*reply.certificateDays);
    if (*reply.certificateDays < soonInDays && finding.verdict == Verdict::fine) {
        finding.verdict = Verdict::warning;
        finding.advice = u"Have the service renew its certificate."_s;
    }
}

Finding judgeStoreWithoutKey(SecretStoreState store, const SessionBusFacts& bus)
{
    switch (store) {
    case SecretStoreState::absent:
        if (bus.state != SessionBusFacts::State::answers)
            return failed(bus.state == SessionBusFacts::State::silent
                              ? u"out of reach, the session bus does not answer"_s
                              : u"out of reach, there is no session bus"_s,
                          u"Run this in a desktop session, or below \"dbus-run-session\"."_s);
        return failed(u"there is none that answers"_s,
                      u"Install and start one: gnome-keyring, KWallet or KeePassXC."_s);
    case SecretStoreState::unmade:
        return failed(u"present, but it has no key ring yet"_s,
                      u"Make a default key ring, for example with seahorse, or log in anew."_s);
    case SecretStoreState::locked:
        return failed(
            u"present, but locked, so no key can be read"_s,
            u"Unlock the key ring, for example with seahorse. It is unlocked at login if you"
            " log in with a password and the key ring has the same one; after an automatic"
            " login, only a key ring without a password is."_s);
    case SecretStoreState::unlocked:
        break;
    }
    return failed(u"present, no key is stored"_s,
                  u"Choose \"Connect Account…\" in the tray menu, or run"
                  " \"quibel-capture-agent --connect-account\"."_s);
}

QString nameOf(SecretStoreState store)
{
    switch (store) {
    case SecretStoreState::absent:
        return u"absent"_s;
    case SecretStoreState::unmade:
        return u"withoutKeyRing"_s;
    case SecretStoreState::locked:
        return u"locked"_s;
    case SecretStoreState::unlocked:
        break;
    }
    return u"present"_s;
}

} // namespace

Finding judgeSecrets(const SecretFacts& secrets, const SessionBusFacts& bus)
{
    Finding finding = secrets.keyIsStored ? Finding { .text = u"present, the key is stored"_s }
                                          : judgeStoreWithoutKey(secrets.store, bus);
    if (!secrets.keyIsStored && secrets.keyIsInEnvironment)
        finding.text += u"; QUIBEL_API_KEY serves for the list of projects only"_s;
    finding.details = { { u"state"_s, nameOf(secrets.store) },
                        { u"keyStored"_s, secrets.keyIsStored },
                        { u"keyInEnvironment"_s, secrets.keyIsInEnvironment } };
    return finding;
}

Finding judgeService(const ServiceAddress& address,
                     const HttpOutcome& outcome,
                     const std::optional<QString>& key,
                     const QDateTime& now)
{
    const Reply reply { .address = address,
                        .outcome = outcome,
                        .key = key,
                        .certificateDays = daysLeft(outcome, now) };
    const bool isAnswered = outcome.status && (!outcome.error || outcome.status == 401);
    Finding finding = isAnswered ? judgeAnswer(reply) : judgeTransport(reply);
    addCertificate(finding, reply);
    const QString shown = address.url.toDisplayString(QUrl::RemoveUserInfo | QUrl::RemoveQuery
                                                      | QUrl::RemoveFragment);
    finding.text = u"%1 (%2): %3"_s.arg(shown, originOf(address.source).told, finding.text);
    finding.details
        = { { u"baseURL"_s, shown },
            { u"source"_s, originOf(address.source).name },
            { u"reachable"_s, outcome.status.has_value() },
            { u"status"_s, outcome.status ? QJsonValue(*outcome.status) : QJsonValue() },
            { u"certificate"_s, certificate(reply) },
            { u"certificateDaysLeft"_s,
              reply.certificateDays ? QJsonValue(*reply.certificateDays) : QJsonValue() } };
    return finding;
}

Finding judgeMissingAddress()
{
    return { .verdict = Verdict::failure,
             .text = u"no address of a service is known"_s,
             .advice = u"Set the preference quibel.apiBaseURL, or QUIBEL_API_BASE_URL."_s,
             .details = { { u"baseURL"_s, QJsonValue() } } };
}

} // namespace quibel
