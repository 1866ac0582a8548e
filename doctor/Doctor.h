#pragma once

#include "account/ServiceAddress.h"
#include "doctor/Check.h"
#include "doctor/Patient.h"
#include "doctor/TrialFrame.h"
#include "platform/SecretItems.h"

#include <QDeadlineTimer>
#include <QObject>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace quibel {

/// Looks at everything that branching off a thought needs, and changes nothing: no key is removed,
/// whatever the service says of it, and no file is touched.
///
/// Thread: main.
class Doctor final : public QObject
{
public:
    using Completion = std::function<void(const Diagnosis&)>;

    explicit Doctor(Patient patientToExamine);

    /// Call once. Calls `completion` once, in a later turn of the event loop, at the latest when
    /// `deadline` is over; what has not answered by then is said not to answer.
    void examine(QDeadlineTimer deadline, Completion whenDone);

private:
    enum class Subject {
        display,
        hotKey,
        tray,
        secretService,
        preferences,
        service,
        screenCapture,
    };

    struct Named
    {
        Subject subject;
        QString name;
        QString title;
    };

    /// In the order in which they are to be read.
    [[nodiscard]] static const std::vector<Named>& subjects();
    void examineDisplay(const Patient::Display& display);
    void examineAccount();
    void keyRead(SecretStoreState store, const SecretAnswer& answer);
    void askService();
    void found(Subject subject, Finding finding);
    /// What is said of something that has not answered in time.
    [[nodiscard]] Finding silence(Subject subject) const;
    void finish();

    Patient patient;
    std::optional<QString> storedKey;
    std::optional<ServiceAddress> address;
    std::map<Subject, Finding> findings;
    Completion completion;
    std::unique_ptr<TrialFrame> trialFrame;
};

} // namespace quibel
