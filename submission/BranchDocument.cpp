#include "submission/BranchDocument.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace quibel {

namespace {

constexpr qsizetype titleWords = 7;

QStringList words(const QString& text)
{
    QStringList found;
    QString word;
    for (const QChar character : text) {
        if (!character.isSpace())
            word += character;
        else if (!word.isEmpty())
            found << std::exchange(word, {});
    }
    if (!word.isEmpty())
        found << word;
    return found;
}

QString title(const QString& text)
{
    const QString trimmed = text.trimmed();
    const QStringList found = words(trimmed);
    return found.size() > titleWords ? found.first(titleWords).join(u' ') : trimmed;
}

QJsonValue textOrNull(const std::optional<QString>& text)
{
    return text && !text->isEmpty() ? QJsonValue(*text) : QJsonValue();
}

} // namespace

std::optional<QByteArray> buildBranchDocument(const QString& text,
                                              const CaptureContext& context,
                                              const QString& projectID,
                                              bool isMock,
                                              const QDateTime& capturedAt)
{
    const auto texts = {
        text, context.appName, context.bundleID, context.windowTitle.value_or(QString()), projectID
    };
    if (!std::ranges::all_of(texts, &QString::isValidUtf16))
        return std::nullopt;

    const QJsonObject snapshot {
        { u"source"_s, u"desktop-capture"_s },
        { u"captured_text"_s, text },
        { u"active_app"_s,
          QJsonObject { { u"name"_s, context.appName }, { u"bundle_id"_s, context.bundleID } } },
        { u"active_window_title"_s, textOrNull(context.windowTitle) },
        { u"captured_at"_s, capturedAt.toUTC().toString(Qt::ISODate) },
    };
    const QJsonObject document {
        { u"title"_s, title(text) },
        { u"summary"_s, u"Captured a branch to revisit: "_s + text + u'.' },
        { u"why_forked"_s,
          u"This was forked because it would interrupt the current line of work and needs to be"
          u" revisited separately."_s },
        { u"expected_future_value"_s, QJsonValue() },
        { u"project_id"_s, isMock ? QJsonValue() : QJsonValue(projectID) },
        { u"context_snapshot"_s, snapshot },
    };
    return QJsonDocument(document).toJson(QJsonDocument::Compact);
}

} // namespace quibel
