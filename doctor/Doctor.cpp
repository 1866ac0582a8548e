#include "doctor/Doctor.h"

#include "account/KeychainService.h"
#include "account/ServiceRequest.h"
#include "doctor/AccountChecks.h"
#include "doctor/DesktopChecks.h"

#include <QPointer>
#include <QTimer>

#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace quibel {

namespace {

/// Long for a store that answers; the other checks still come to their end behind one that does
/// not.
constexpr auto keyHold = 1s;

std::optional<QString> nonEmpty(const QString& text)
{
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

std::optional<QString> keyIn(const SecretAnswer& answer)
{
    if (answer.status != SecretStatus::success || !answer.data || !answer.data->isValidUtf8())
        return std::nullopt;
    return nonEmpty(QString::fromUtf8(*answer.data));
}

std::optional<QString> keyInEnvironment(const QProcessEnvironment& environment)
{
    return nonEmpty(environment.value(u"QUIBEL_API_KEY"_s));
}

} // namespace

const std::vector<Doctor::Named>& Doctor::subjects()
{
    static const std::vector<Named> all {
        { Subject::display, u"display"_s, u"display"_s },
        { Subject::hotKey, u"hotKey"_s, u"hot key"_s },
        { Subject::tray, u"tray"_s, u"tray"_s },
        { Subject::secretService, u"secretService"_s, u"secret service"_s },
        { Subject::preferences, u"preferences"_s, u"preferences"_s },
        { Subject::service, u"service"_s, u"service"_s },
        { Subject::screenCapture, u"screenCapture"_s, u"screen capture"_s },
    };
    return all;
}

Doctor::Doctor(Patient patientToExamine)
    : patient(std::move(patientToExamine))
{
}

void Doctor::examine(QDeadlineTimer deadline, Completion whenDone)
{
    completion = std::move(whenDone);
    QTimer::singleShot(deadline.remainingTime(), this, [this] { finish(); });
    found(Subject::display, judgeDisplay(patient.display));
    found(Subject::preferences, judgePreferences(patient.preferencesFile));
    if (patient.display) {
        examineDisplay(*patient.display);
    } else {
        found(Subject::hotKey, needsDisplay(Verdict::failure));
        found(Subject::tray, needsDisplay(Verdict::warning));
        found(Subject::screenCapture, needsDisplay(Verdict::failure));
    }
    examineAccount();
}

void Doctor::examineDisplay(const Patient::Display& display)
{
    const auto availability = display.hotKeys.availability(display.hotKey.key);
    found(Subject::hotKey, judgeHotKey(availability, patient.sessionBus, display));
    display.statusArea.identify(
        [self = QPointer(this), facts = display.facts](StatusAreaKind kind) {
            if (self)
                self->found(Subject::tray, judgeTray(kind, facts));
        });
    trialFrame
        = std::make_unique<TrialFrame>(display.workspace, display.screens, display.screenCapture);
    trialFrame->take([this, facts = display.facts](const std::optional<TrialPicture>& picture) {
        found(Subject::screenCapture, judgeTrial(picture, facts));
    });
}

void Doctor::examineAccount()
{
    const SecretStoreState store = patient.secretItems.state();
    const KeychainService keychain = makeAgentKeychain(patient.secretItems);
    // One that does not answer would not do so the second time either.
    if (store == SecretStoreState::absent)
        keyRead(store, {});
    else
        patient.secretItems.copyMatching(
            { .service = keychain.service, .account = keychain.account },
            keyHold,
            *this,
            [this, store](const SecretAnswer& answer) { keyRead(store, answer); });
    askService();
}

void Doctor::keyRead(SecretStoreState store, const SecretAnswer& answer)
{
    storedKey = keyIn(answer);
    const SecretFacts secrets { .store = store,
                                .keyIsStored = storedKey.has_value(),
                                .keyIsInEnvironment
                                = !storedKey && keyInEnvironment(patient.environment) };
    found(Subject::secretService, judgeSecrets(secrets, patient.sessionBus));
}

void Doctor::askService()
{
    address = findServiceAddress(patient.preferences, patient.environment);
    if (!address) {
        found(Subject::service, judgeMissingAddress());
        return;
    }
    const auto key = storedKey ? storedKey : keyInEnvironment(patient.environment);
    HttpRequest request = makeGetRequest(address->url, u"api/projects"_s, key.value_or(QString()));
    if (!key)
        request.headers.clear();
    patient.session.send(request, [self = QPointer(this), key](const HttpOutcome& outcome) {
        if (self)
            self->found(
                Subject::service,
                judgeService(*self->address, outcome, key, QDateTime::currentDateTimeUtc()));
    });
}

void Doctor::found(Subject subject, Finding finding)
{
    findings.insert_or_assign(subject, std::move(finding));
    if (findings.size() == subjects().size())
        QMetaObject::invokeMethod(
            this, [this] { finish(); }, Qt::QueuedConnection);
}

Finding Doctor::silence(Subject subject) const
{
    if (subject != Subject::service)
        return { .verdict = subject == Subject::tray ? Verdict::warning : Verdict::failure,
                 .text = u"no answer in time"_s,
                 .advice
                 = u"Look again when the machine is less busy; if it stays so, log in anew."_s,
                 .details = { { u"state"_s, u"noAnswer"_s } } };
    const HttpOutcome unanswered {
        .error = TransportError { TransportErrorCode::timedOut, u"no answer in time"_s },
        .status = {},
        .body = {},
    };
    return judgeService(*address, unanswered, std::nullopt, QDateTime::currentDateTimeUtc());
}

void Doctor::finish()
{
    if (!completion)
        return;
    Diagnosis diagnosis;
    for (const Named& each : subjects()) {
        const auto known = findings.find(each.subject);
        diagnosis.push_back(
            { .name = each.name,
              .title = each.title,
              .finding = known != findings.end() ? known->second : silence(each.subject) });
    }
    std::exchange(completion, nullptr)(diagnosis);
}

} // namespace quibel
