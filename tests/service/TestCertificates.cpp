#include "tests/service/TestCertificates.h"

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
    issue(u"good"_s, thisMachine, 2);
    issue(u"renewed"_s, thisMachine, 2);
    issue(u"expired"_s, thisMachine, -1);
    issue(u"wrongHost"_s, anotherMachine, 2);
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

void TestCertificates::issue(const QString& name, const QString& hosts, int days) const
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
    runOpenssl({ u"x509"_s,
                 u"-req"_s,
                 u"-in"_s,
                 request,
                 u"-days"_s,
                 QString::number(days),
                 u"-copy_extensions"_s,
                 u"copy"_s,
                 u"-CA"_s,
                 authorityFile(),
                 u"-CAkey"_s,
                 file(u"authority.key"_s),
                 u"-CAcreateserial"_s,
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
