#pragma once

#include "inbox/storage/Account.h"

#include <QByteArray>

namespace quibel::inbox {

/// Somebody who is signed in to the page, with one browser.
struct WebSession
{
    Account account;
    QByteArray hash;      ///< By which the session is stored; its secret is in the cookie only.
    QByteArray csrfToken; ///< What every change must bring along, and only the page can know.
};

} // namespace quibel::inbox
