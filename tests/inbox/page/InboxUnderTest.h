#pragma once

#include "tests/inbox/program/InboxProcess.h"

#include <QImage>
#include <QJsonObject>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

namespace quibel::inbox::testing {

/// The real program, serving on a free port from a fresh directory; it ends with this.
///
/// Thread: the one that made it; the calls wait.
class InboxUnderTest
{
public:
    InboxUnderTest();
    InboxUnderTest(const InboxUnderTest&) = delete;
    InboxUnderTest& operator=(const InboxUnderTest&) = delete;
    ~InboxUnderTest() = default;

    /// Errors: false, with what the program wrote on standard error.
    [[nodiscard]] bool start();
    void stop();

    [[nodiscard]] QUrl url(const QString& path = {}) const;
    /// Signs in whoever opens it, once.
    [[nodiscard]] QUrl signInLink();

    /// What another command of the program prints about the same data; what goes wrong is written
    /// to standard error.
    QString run(const QStringList& words, const QByteArray& input = {});

    /// Sends a branch as the agent does; returns its identifier.
    QString post(const QJsonObject& branch);
    /// Uploads a picture to a branch as the agent does.
    [[nodiscard]] bool attach(const QString& branchID, const QImage& picture);
    /// The names that the agent is offered with a key, in their order; the status if it is refused.
    [[nodiscard]] QStringList projectsOf(const QString& agentKey) const;

private:
    QTemporaryDir directory;
    InboxProcess inbox;
    QUrl address; ///< Stays the same when it is started again.
    QString key;
};

/// A branch as the agent sends it.
[[nodiscard]] QJsonObject branchOf(const QString& text, const QJsonValue& projectID = {});

/// What a window of an application looks like from a distance.
[[nodiscard]] QImage windowPicture(int seed, QSize size = { 960, 600 });

} // namespace quibel::inbox::testing
