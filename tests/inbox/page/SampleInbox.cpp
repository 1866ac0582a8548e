#include "tests/inbox/page/SampleInbox.h"

#include "tests/inbox/agent/SampleDocuments.h"

#include <QDateTime>

#include <chrono>

namespace quibel::inbox::testing {

namespace {

using namespace std::chrono_literals;

struct Sample
{
    QString text;
    QString project;
    QString app;
    QString window;
    std::chrono::minutes age;
    bool isPictured = false;
};

QList<Sample> samples(const QString& garden, const QString& thesis)
{
    return {
        { u"Ask Mira whether the seeds need light"_s,
          garden,
          u"Firefox"_s,
          u"Sowing calendar"_s,
          6000min,
          false },
        { u"Compare both layouts for narrow windows and write down what each of them costs"_s,
          {},
          u"Inkscape"_s,
          u"layouts.svg"_s,
          1500min,
          true },
        { u"Sent twice"_s, {}, u"Terminal"_s, u"~/thesis"_s, 300min, false },
        { u"Sent twice"_s, {}, u"Terminal"_s, u"~/thesis"_s, 300min, false },
        { u"Repot the ferns in spring"_s, garden, u"Evince"_s, u"ferns.pdf"_s, 130min, true },
        { u"Why is the second request not sent over the same connection?"_s,
          thesis,
          u"Terminal"_s,
          u"~/thesis/measurements"_s,
          47min,
          true },
        { u"Look up who said that"_s,
          thesis,
          u"LibreOffice Writer"_s,
          u"chapter-2.odt"_s,
          12min,
          false },
        { u"Done already"_s, thesis, u"Kate"_s, u"notes.txt"_s, 11min, false },
        { u"The figure needs units on both axes"_s,
          thesis,
          u"Evince"_s,
          u"chapter-3.pdf"_s,
          3min,
          true },
    };
}

QJsonObject documentOf(const Sample& sample, const QDateTime& now)
{
    const auto moment = now.addDuration(-sample.age);
    auto branch = branchOf(sample.text, sample.project.isEmpty() ? QJsonValue() : sample.project);
    branch = changed(branch, u"context_snapshot.active_app.name"_s, sample.app);
    branch = changed(branch, u"context_snapshot.active_window_title"_s, sample.window);
    return changed(branch, u"context_snapshot.captured_at"_s, moment.toString(Qt::ISODate));
}

} // namespace

void fillInbox(InboxUnderTest& inbox)
{
    const auto garden = inbox.run({ u"projects"_s, u"add"_s, u"Garden"_s });
    const auto thesis = inbox.run({ u"projects"_s, u"add"_s, u"Thesis"_s });
    const auto now = QDateTime::currentDateTimeUtc();
    int seed = 0;
    for (const auto& sample : samples(garden, thesis)) {
        const auto id = inbox.post(documentOf(sample, now));
        if (++seed; sample.isPictured && !inbox.attach(id, windowPicture(seed)))
            qWarning("a picture was refused");
    }
}

} // namespace quibel::inbox::testing
