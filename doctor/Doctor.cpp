#include "doctor/Doctor.h"

#include "account/KeychainService.h"
#include "account/ServiceRequest.h"
#include "doctor/AccountChecks.h"
#include "doctor/DesktopChecks.h"

#include <QPointer>
#include <QTimer>

#include <utility>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

std::optional<QString> nonEmpty(std::optional<QString> text)
{
    return text && !text->isEmpty() ? std::move(text) : std::nullopt;
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
    QTimer::singleShot(deadline.remainingTime(), this, [this] { finish(); });
}

void Doctor::examineDisplay(const Patient::Display& display)
{
    const auto availability = display.hotKeys.availability(
        VirtualKey::b, HotKeyModifiers::command | HotKeyModifiers::shift);
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
    SecretFacts secrets { .store = patient.secretItems.state() };
    std::optional<QString> key;
    // One that does not answer would not do so the second time either.
    if (secrets.store != SecretStoreState::absent)
        key = nonEmpty(makeAgentKeychain(patient.secretItems).read());
    secrets.keyIsStored = key.has_value();
    if (!key)
        key = nonEmpty(patient.environment.value(u"QUIBEL_API_KEY"_s));
    secrets.keyIsInEnvironment = !secrets.keyIsStored && key;
    found(Subject::secretService, judgeSecrets(secrets, patient.sessionBus));
    askService(key);
}

void Doctor::askService(const std::optional<QString>& key)
{
    address = findServiceAddress(patient.preferences, patient.environment);
    if (!address) {
        found(Subject::service, judgeMissingAddress());
        return;
    }
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
