#include "inbox/storage/Screenshots.h"

#include "inbox/storage/Database.h"
#include "inbox/storage/StoredValues.h"
#include "inbox/storage/WriteTransaction.h"

#include <QCryptographicHash>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

Screenshots::Screenshots(Database& openDatabase)
    : database(openDatabase)
{
}

StorageResult<QString> Screenshots::add(const ScreenshotDocument& document, QSize size)
{
    WriteTransaction transaction(database);
    if (auto error = transaction.begin())
        return *error;

    const auto hash = QString::fromLatin1(
        QCryptographicHash::hash(document.picture, QCryptographicHash::Sha256).toHex());
    const auto kept = database.change(
        u"INSERT INTO pictures (sha256, bytes) VALUES (?, ?) ON CONFLICT DO NOTHING"_s,
        { hash, document.picture });
    if (const auto* error = std::get_if<StorageError>(&kept))
        return *error;

    const auto id = newIdentifier();
    const auto done
        = database.change(uR"(INSERT INTO screenshots (id, branch_id, picture, width, height,
            byte_size, capture_type, captured_at, received_at)
            VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?))"_s,
                          { id,
                            presentText(document.branchID),
                            hash,
                            size.width(),
                            size.height(),
                            document.picture.size(),
                            presentText(document.captureType),
                            presentText(document.capturedAt),
                            storedNow() });
    if (const auto* error = std::get_if<StorageError>(&done))
        return *error;
    if (auto error = transaction.commit())
        return *error;
    return id;
}

StorageResult<std::optional<QByteArray>> Screenshots::picture(const QString& accountID,
                                                              const QString& sha256)
{
    const auto found = database.rows(uR"(SELECT bytes FROM pictures WHERE sha256 = ? AND EXISTS (
            SELECT 1 FROM screenshots JOIN branches ON branches.id = branch_id
            WHERE picture = pictures.sha256 AND account_id = ?))"_s,
                                     { presentText(sha256), presentText(accountID) });
    if (const auto* error = std::get_if<StorageError>(&found))
        return *error;
    const auto& rows = std::get<QList<Row>>(found);
    return rows.isEmpty() ? std::nullopt : std::optional(rows.first().first().toByteArray());
}

} // namespace quibel::inbox
