#include "doctor/TableReport.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

constexpr qsizetype lineWidth = 80;
constexpr int verdictWidth = 6;
constexpr int titleWidth = 16;
constexpr int textColumn = verdictWidth + titleWidth;

QString mark(Verdict verdict)
{
    switch (verdict) {
    case Verdict::fine:
        return u"ok"_s;
    case Verdict::warning:
        return u"warn"_s;
    case Verdict::failure:
        break;
    }
    return u"FAIL"_s;
}

/// `text` behind `head`, and going on below itself.
QString paragraph(const QString& head, const QString& text)
{
    QString lines;
    QString line = head;
    bool isFresh = true;
    const QStringList words = text.split(u' ');
    for (const QString& word : words) {
        if (!isFresh && line.size() + 1 + word.size() > lineWidth) {
            lines += line + u'\n';
            line = QString(head.size(), u' ');
            isFresh = true;
        }
        line += isFresh ? word : u' ' + word;
        isFresh = false;
    }
    return lines + line + u'\n';
}

QString conclusion(const Diagnosis& diagnosis)
{
    QStringList failed;
    for (const Check& check : diagnosis)
        if (check.finding.verdict == Verdict::failure)
            failed.append(check.title);
    if (failed.isEmpty())
        return u"Everything that branching off a thought needs works."_s;
    return u"Branching off a thought does not wholly work yet: %1."_s.arg(failed.join(u", "_s));
}

} // namespace

QString tableReport(const Diagnosis& diagnosis)
{
    QString report;
    for (const Check& check : diagnosis) {
        const Finding& finding = check.finding;
        report += paragraph(mark(finding.verdict).leftJustified(verdictWidth)
                                + check.title.leftJustified(titleWidth),
                            finding.text);
        if (!finding.advice.isEmpty())
            report += paragraph(QString(textColumn, u' '), u"-> "_s + finding.advice);
    }
    return report + u'\n' + paragraph({}, conclusion(diagnosis));
}

} // namespace quibel
