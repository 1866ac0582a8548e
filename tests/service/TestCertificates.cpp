#include "tests/service/TestCertificates.h"

#include <QDateTime>
#include <QFile>
#include <QProcess>
#include <QSslCertificate>
#include <QSslKey>

using namespace Qt::StringLiterals;

namespace quibel::testing {

namespace {

const auto thisMachine = u"subjectAltName=DNS:localhost,IP:127.0.0.1"_s;
const auto anotherMachine = u"subjectAltName=DNS:elsewhere.invalid"_s;

const QStringList newKey {
    u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s, u"ec_paramgen_curve:prime256v1"_s, u"-nodes"_s
};

void runOpenssl(const QStringList& arguments)
{
    QProcess openssl;
    openssl.start(u"openssl"_s, arguments);
    if (!openssl.waitForFinished() || openssl.exitCode() != 0)
        qFatal("openssl %s: %s",
               qPrintable(arguments.join(u' ')),
               openssl.readAllStandardError().constData());
}

} // namespace

TestCertificates::TestCertificates()
{
    makeSelfSigned(u"authority"_s, { u"-addext"_s, u"basicConstraints=critical,CA:TRUE"_s });
    makeSelfSigned(u"selfSigned"_s, { u"-addext"_s, thisMachine });
    writeConfiguration();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    issue(u"good"_s, thisMachine, now.addDays(2));
    issue(u"renewed"_s, thisMachine, now.addDays(2));
    issue(u"expired"_s, thisMachine, now.addDays(-1));
    issue(u"wrongHost"_s, anotherMachine, now.addDays(2));
}

QSslCertificate TestCertificates::authority() const
{
    return QSslCertificate::fromPath(authorityFile()).value(0);
}

QSslConfiguration TestCertificates::good() const
{
    return configuration(u"good"_s);
}

QSslConfiguration TestCertificates::expired() const
{
    return configuration(u"expired"_s);
}

QSslConfiguration TestCertificates::wrongHost() const
{
    return configuration(u"wrongHost"_s);
}

QSslConfiguration TestCertificates::selfSigned() const
{
    return configuration(u"selfSigned"_s);
}

void TestCertificates::makeSelfSigned(const QString& name, const QStringList& options) const
{
    runOpenssl(QStringList { u"req"_s,
                             u"-x509"_s,
                             u"-days"_s,
                             u"2"_s,
                             u"-subj"_s,
                             u"/CN=quibel test "_s + name,
                             u"-keyout"_s,
                             file(name + u".key"_s),
                             u"-out"_s,
                             file(name + u".pem"_s) }
               + newKey + options);
}

void TestCertificates::writeConfiguration() const
{
    QFile configuration(file(u"ca.conf"_s));
    QFile database(file(u"issued"_s));
    if (!configuration.open(QIODevice::WriteOnly) || !database.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(configuration.fileName()));
    configuration.write(QStringLiteral("[ca]\n"
                                       "default_ca = test\n"
                                       "[test]\n"
                                       "database = %1\n"
                                       "new_certs_dir = %2\n"
                                       "rand_serial = yes\n"
                                       "unique_subject = no\n"
                                       "default_md = sha256\n"
                                       "copy_extensions = copy\n"
                                       "policy = any\n"
                                       "[any]\n"
                                       "commonName = supplied\n")
                            .arg(database.fileName(), directory.path())
                            .toUtf8());
}

void TestCertificates::issue(const QString& name, const QString& hosts, const QDateTime& end) const
{
    const QString request = file(name + u".csr"_s);
    runOpenssl(QStringList { u"req"_s,
                             u"-subj"_s,
                             u"/CN=quibel test "_s + name,
                             u"-addext"_s,
                             hosts,
                             u"-keyout"_s,
                             file(name + u".key"_s),
                             u"-out"_s,
                             request }
               + newKey);
    // Not "openssl x509 -days -1", which newer versions refuse.
    const QString format = u"yyyyMMddHHmmss'Z'"_s;
    runOpenssl({ u"ca"_s,
                 u"-batch"_s,
                 u"-notext"_s,
                 u"-config"_s,
                 file(u"ca.conf"_s),
                 u"-in"_s,
                 request,
                 u"-startdate"_s,
                 end.addDays(-4).toString(format),
                 u"-enddate"_s,
                 end.toString(format),
                 u"-cert"_s,
                 authorityFile(),
                 u"-keyfile"_s,
                 file(u"authority.key"_s),
                 u"-out"_s,
                 file(name + u".pem"_s) });
}

QSslConfiguration TestCertificates::configuration(const QString& name) const
{
    QFile key(file(name + u".key"_s));
    if (!key.open(QIODevice::ReadOnly))
        qFatal("no key %s", qPrintable(key.fileName()));
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setLocalCertificateChain(QSslCertificate::fromPath(file(name + u".pem"_s)));
    tls.setPrivateKey(QSslKey(&key, QSsl::Ec));
    tls.setPeerVerifyMode(QSslSocket::VerifyNone);
    return tls;
}

} // namespace quibel::testing
