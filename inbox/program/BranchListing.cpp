#include "inbox/program/BranchListing.h"

#include "inbox/api/OptionalText.h"
#include "inbox/storage/Branches.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <algorithm>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype widestCell = 48;

/// Captured texts are anybody's: an escape sequence in one must not reach the terminal.
QString toCell(const QString& text)
{
    // By code points: half of a surrogate pair is never printable.
    auto letters = text.toUcs4();
    std::ranges::replace_if(
        letters, [](uint letter) { return !QChar::isPrint(letter); }, uint { ' ' });
    const auto plain = [](const QList<uint>& points) {
        return QString::fromUcs4(reinterpret_cast<const char32_t*>(points.constData()),
                                 points.size());
    };
    letters = plain(letters).simplified().toUcs4();
    return letters.size() > widestCell ? plain(letters.first(widestCell - 1)) + u'…'
                                       : plain(letters);
}

QString describe(const QList<StoredScreenshot>& screenshots)
{
    if (screenshots.isEmpty())
        return u"none"_s;
    const auto& latest = screenshots.last();
    return u"%1x%2"_s.arg(latest.width).arg(latest.height);
}

QStringList toRow(const StoredBranch& branch)
{
    const auto& document = branch.document;
    auto row = QStringList {
        branch.id,        branch.receivedAt.left(19) + u'Z', branch.projectName.value_or(u"none"_s),
        document.appName, describe(branch.screenshots),      document.title
    };
    std::ranges::transform(row, row.begin(), toCell);
    return row;
}

QJsonArray toJson(const QList<StoredScreenshot>& screenshots)
{
    QJsonArray list;
    for (const auto& screenshot : screenshots)
        list.append(QJsonObject { { u"id"_s, screenshot.id },
                                  { u"sha256"_s, screenshot.sha256 },
                                  { u"width"_s, screenshot.width },
                                  { u"height"_s, screenshot.height },
                                  { u"byte_size"_s, screenshot.byteSize },
                                  { u"capture_type"_s, screenshot.captureType },
                                  { u"captured_at"_s, screenshot.capturedAt } });
    return list;
}

} // namespace

std::optional<StorageError> visitBranches(Branches& branches,
                                          const QString& accountID,
                                          const std::function<void(const StoredBranch&)>& visitor)
{
    BranchQuery query {
        .accountID = accountID, .search = {}, .state = BranchQuery::State::any, .limit = 200
    };
    while (true) {
        const auto found = branches.find(query);
        if (const auto* error = std::get_if<StorageError>(&found))
            return *error;
        const auto& page = std::get<QList<StoredBranch>>(found);
        std::ranges::for_each(page, visitor);
        if (page.size() < query.limit)
            return {};
        query.before = page.last().number;
    }
}

QByteArray toTable(const QList<StoredBranch>& branches)
{
    QList<QStringList> rows {
        { u"ID"_s, u"RECEIVED"_s, u"PROJECT"_s, u"APPLICATION"_s, u"SCREENSHOT"_s, u"TITLE"_s }
    };
    std::ranges::transform(branches, std::back_inserter(rows), toRow);

    QList<qsizetype> widths(rows.first().size(), 0);
    for (const auto& row : rows)
        for (qsizetype i = 0; i + 1 < row.size(); ++i)
            widths[i] = std::max(widths.at(i), row.at(i).size());

    QByteArray table;
    for (const auto& row : rows) {
        QStringList cells;
        for (qsizetype i = 0; i < row.size(); ++i)
            cells.append(row.at(i).leftJustified(widths.at(i)));
        table += cells.join(u"  "_s).toUtf8() + '\n';
    }
    return table;
}

QJsonObject toFullJson(const StoredBranch& branch)
{
    const auto& document = branch.document;
    return { { u"id"_s, branch.id },
             { u"project_id"_s, orNull(document.projectID) },
             { u"project_name"_s, orNull(branch.projectName) },
             { u"title"_s, document.title },
             { u"summary"_s, document.summary },
             { u"why_forked"_s, document.whyForked },
             { u"captured_text"_s, document.capturedText },
             { u"app_name"_s, document.appName },
             { u"bundle_id"_s, document.bundleID },
             { u"window_title"_s, orNull(document.windowTitle) },
             { u"captured_at"_s, document.capturedAt },
             { u"received_at"_s, branch.receivedAt },
             { u"done"_s, branch.done },
             { u"screenshots"_s, toJson(branch.screenshots) } };
}

QByteArray toJson(const QList<StoredBranch>& branches)
{
    QJsonArray list;
    for (const auto& branch : branches)
        list.append(toFullJson(branch));
    return QJsonDocument(list).toJson();
}

} // namespace quibel::inbox
