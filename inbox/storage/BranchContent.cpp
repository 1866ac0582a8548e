#include "inbox/storage/BranchContent.h"

#include "inbox/storage/StoredValues.h"

#include <QCryptographicHash>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

QString contentColumns()
{
    return u"title, summary, why_forked, captured_text, app_name, bundle_id, window_title, "
           u"captured_at"_s;
}

Row contentValues(const BranchDocument& document)
{
    return { presentText(document.title),        presentText(document.summary),
             presentText(document.whyForked),    presentText(document.capturedText),
             presentText(document.appName),      presentText(document.bundleID),
             nullableText(document.windowTitle), presentText(document.capturedAt) };
}

BranchDocument readContent(const Row& row, qsizetype first)
{
    return { .title = row.at(first).toString(),
             .summary = row.at(first + 1).toString(),
             .whyForked = row.at(first + 2).toString(),
             .capturedText = row.at(first + 3).toString(),
             .appName = row.at(first + 4).toString(),
             .bundleID = row.at(first + 5).toString(),
             .windowTitle = optionalText(row.at(first + 6)),
             .capturedAt = row.at(first + 7).toString() };
}

QString contentHash(const BranchDocument& document)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    const auto values = contentValues(document);
    for (const auto& value : values) {
        // With its length before it, so that no two documents run together into one text.
        const auto text = value.toString().toUtf8();
        hash.addData(QByteArray::number(value.isNull() ? -1 : text.size()) + ' ');
        hash.addData(text);
    }
    return QString::fromLatin1(hash.result().toHex());
}

} // namespace quibel::inbox
