#pragma once

#include "inbox/http/HttpRequest.h"
#include "inbox/http/HttpResponse.h"

#include <QByteArray>
#include <QHash>

namespace quibel::inbox {

/// The files that the page is made of, which are part of the program.
class PageFiles
{
public:
    PageFiles();

    /// A whole page, by its file name; it is not kept by the browser, so that nobody finds it
    /// with its contents after signing out.
    [[nodiscard]] HttpResponse page(const QByteArray& name) const;
    /// What a page loads; the answer says when there is no such file.
    [[nodiscard]] HttpResponse asset(const QByteArray& name, const HttpRequest& request) const;

private:
    struct File
    {
        QByteArray type;
        QByteArray content;
        QByteArray tag; ///< In quotation marks, as it stands in the header ETag.
    };

    QHash<QByteArray, File> files;
};

/// Whether the client says that it has what `tag` stands for already.
///
/// Source: RFC 9110, 13.1.2.
[[nodiscard]] bool hasAlready(const HttpRequest& request, const QByteArray& tag);

} // namespace quibel::inbox
