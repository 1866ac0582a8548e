#include "inbox/http/TlsCredentials.h"

#include <QFile>

#include <gnutls/gnutls.h>
#include <gnutls/x509.h>

namespace quibel::inbox {

using namespace Qt::StringLiterals;

namespace {

struct Chain
{
    gnutls_x509_crt_t* certificates = nullptr;
    unsigned count = 0;

    Chain() = default;
    Q_DISABLE_COPY_MOVE(Chain)
    ~Chain()
    {
        for (unsigned i = 0; i < count; ++i)
            gnutls_x509_crt_deinit(certificates[i]);
        gnutls_free(certificates);
    }
};

struct PrivateKey
{
    gnutls_x509_privkey_t key = nullptr;

    PrivateKey() { gnutls_x509_privkey_init(&key); }
    Q_DISABLE_COPY_MOVE(PrivateKey)
    ~PrivateKey() { gnutls_x509_privkey_deinit(key); }
};

gnutls_datum_t toDatum(QByteArray& bytes)
{
    return { .data = reinterpret_cast<unsigned char*>(bytes.data()),
             .size = static_cast<unsigned>(bytes.size()) };
}

QString words(int error)
{
    return QString::fromUtf8(gnutls_strerror(error));
}

std::variant<QByteArray, QString> contents(const QString& name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return u"cannot read %1: %2"_s.arg(name, file.errorString());
    return file.readAll();
}

std::variant<TlsCredentials::Pair, QString> readPair(const TlsCredentials::Files& files)
{
    auto certificateBytes = contents(files.certificate);
    if (const auto* error = std::get_if<QString>(&certificateBytes))
        return *error;
    auto keyBytes = contents(files.key);
    if (const auto* error = std::get_if<QString>(&keyBytes))
        return *error;

    Chain chain;
    const auto chainData = toDatum(std::get<QByteArray>(certificateBytes));
    if (const auto problem = gnutls_x509_crt_list_import2(
            &chain.certificates, &chain.count, &chainData, GNUTLS_X509_FMT_PEM, 0);
        problem < 0)
        return u"there is no certificate in %1: %2"_s.arg(files.certificate, words(problem));

    const PrivateKey key;
    const auto keyData = toDatum(std::get<QByteArray>(keyBytes));
    if (const auto problem
        = gnutls_x509_privkey_import2(key.key, &keyData, GNUTLS_X509_FMT_PEM, nullptr, 0);
        problem < 0)
        return u"there is no key without a password in %1: %2"_s.arg(files.key, words(problem));

    gnutls_certificate_credentials_t made = nullptr;
    if (const auto problem = gnutls_certificate_allocate_credentials(&made); problem < 0)
        return words(problem);
    TlsCredentials::Pair pair(made, &gnutls_certificate_free_credentials);
    const auto error = gnutls_certificate_set_x509_key(
        made, chain.certificates, static_cast<int>(chain.count), key.key);
    if (error == GNUTLS_E_CERTIFICATE_KEY_MISMATCH)
        return u"the key in %1 is not that of the certificate in %2"_s.arg(files.key,
                                                                           files.certificate);
    if (error < 0)
        return u"the certificate in %1 cannot be used: %2"_s.arg(files.certificate, words(error));
    return pair;
}

} // namespace

std::variant<std::shared_ptr<TlsCredentials>, QString> TlsCredentials::load(const Files& files)
{
    auto read = readPair(files);
    if (const auto* error = std::get_if<QString>(&read))
        return *error;
    return std::shared_ptr<TlsCredentials>(new TlsCredentials(files, std::get<Pair>(read)));
}

TlsCredentials::TlsCredentials(Files pemFiles, Pair firstPair)
    : files(std::move(pemFiles))
    , pair(std::move(firstPair))
{
}

std::optional<QString> TlsCredentials::reload()
{
    auto read = readPair(files);
    if (const auto* error = std::get_if<QString>(&read))
        return *error;
    const std::lock_guard lock(mutex);
    pair = std::get<Pair>(read);
    return {};
}

TlsCredentials::Pair TlsCredentials::current() const
{
    const std::lock_guard lock(mutex);
    return pair;
}

} // namespace quibel::inbox
