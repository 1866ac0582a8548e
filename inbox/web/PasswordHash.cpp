#include "inbox/web/PasswordHash.h"

#include <QByteArray>

#include <array>

#include <sodium.h>

namespace quibel::inbox {

namespace {

constexpr auto operations = crypto_pwhash_argon2id_OPSLIMIT_INTERACTIVE;
constexpr auto memory = crypto_pwhash_argon2id_MEMLIMIT_INTERACTIVE;

QByteArray toBytes(const QString& password)
{
    return password.normalized(QString::NormalizationForm_KC).toUtf8();
}

unsigned long long lengthOf(const QByteArray& bytes)
{
    return static_cast<unsigned long long>(bytes.size());
}

} // namespace

std::optional<QString> hashPassword(const QString& password)
{
    const auto bytes = toBytes(password);
    std::array<char, crypto_pwhash_STRBYTES> hash {};
    if (sodium_init() < 0
        || crypto_pwhash_str_alg(hash.data(),
                                 bytes.constData(),
                                 lengthOf(bytes),
                                 operations,
                                 memory,
                                 crypto_pwhash_ALG_ARGON2ID13)
            != 0)
        return {};
    return QString::fromLatin1(hash.data());
}

bool verifyPassword(const QString& hash, const QString& password)
{
    const auto bytes = toBytes(password);
    return sodium_init() >= 0
        && crypto_pwhash_str_verify(hash.toLatin1().constData(), bytes.constData(), lengthOf(bytes))
        == 0;
}

bool needsRehash(const QString& hash)
{
    return crypto_pwhash_str_needs_rehash(hash.toLatin1().constData(), operations, memory) != 0;
}

} // namespace quibel::inbox
