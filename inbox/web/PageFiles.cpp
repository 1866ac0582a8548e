#include "inbox/web/PageFiles.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <algorithm>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

QByteArray typeOf(const QString& fileName)
{
    static const QHash<QString, QByteArray> types {
        { u"html"_s, "text/html; charset=utf-8" },
        { u"css"_s, "text/css; charset=utf-8" },
        { u"js"_s, "text/javascript; charset=utf-8" },
        { u"svg"_s, "image/svg+xml" },
    };
    return types.value(fileName.section(u'.', -1));
}

} // namespace

PageFiles::PageFiles()
{
    const QDir directory(u":/inbox/page"_s);
    const auto names = directory.entryList();
    for (const auto& name : names) {
        QFile file(directory.filePath(name));
        if (!file.open(QFile::ReadOnly))
            continue;
        const auto content = file.readAll();
        const auto hash = QCryptographicHash::hash(content, QCryptographicHash::Sha256);
        files.insert(name.toUtf8(), { typeOf(name), content, '"' + hash.toHex().left(32) + '"' });
    }
}

HttpResponse PageFiles::page(const QByteArray& name) const
{
    const auto& file = files.value(name);
    return { .status = 200,
             .headers = { { "Content-Type", file.type }, { "Cache-Control", "no-store" } },
             .body = file.content };
}

HttpResponse PageFiles::asset(const QByteArray& name, const HttpRequest& request) const
{
    const auto found = files.constFind(name);
    if (found == files.cend() || name.endsWith(".html"))
        return HttpResponse::notFound();
    HttpResponse response { .status = 304,
                            .headers
                            = { { "ETag", found->tag }, { "Cache-Control", "no-cache" } } };
    if (hasAlready(request, found->tag))
        return response;
    response.status = 200;
    response.body = found->content;
    return std::move(response).with("Content-Type", found->type);
}

bool hasAlready(const HttpRequest& request, const QByteArray& tag)
{
    const auto tags = request.headers.value("if-none-match").split(',');
    return std::any_of(tags.begin(), tags.end(), [&](const QByteArray& one) {
        const auto known = one.trimmed();
        return known == tag || known == "W/" + tag || known == "*";
    });
}

} // namespace quibel::inbox
