#include "doctor/JsonReport.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

QString nameOf(Verdict verdict)
{
    switch (verdict) {
    case Verdict::fine:
        return u"ok"_s;
    case Verdict::warning:
        return u"warning"_s;
    case Verdict::failure:
        break;
    }
    return u"failure"_s;
}

} // namespace

QByteArray jsonReport(const Diagnosis& diagnosis)
{
    QJsonObject checks;
    for (const Check& check : diagnosis) {
        QJsonObject written = check.finding.details;
        written.insert(u"verdict"_s, nameOf(check.finding.verdict));
        written.insert(u"finding"_s, check.finding.text);
        written.insert(u"advice"_s, check.finding.advice);
        checks.insert(check.name, written);
    }
    return QJsonDocument(
               QJsonObject { { u"healthy"_s, isHealthy(diagnosis) }, { u"checks"_s, checks } })
        .toJson();
}

} // namespace quibel
