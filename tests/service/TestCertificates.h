#pragma once

#include <QSslConfiguration>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace quibel::testing {

/// A certificate authority of its own, with what it issues to a service on this machine. Made anew
/// by each object with the `openssl` program; gone with it.
///
/// Errors: the process ends when `openssl` fails.
class TestCertificates
{
public:
    TestCertificates();

    /// The authority's certificate, for clients that shall trust it.
    [[nodiscard]] QString authorityFile() const { return file(QStringLiteral("authority.pem")); }
    [[nodiscard]] QSslCertificate authority() const;

    /// "good.pem" and "good.key" and so on: the files of each of the configurations below.
    [[nodiscard]] QString file(const QString& name) const { return directory.filePath(name); }

    /// Configurations of a service, each with another certificate.
    [[nodiscard]] QSslConfiguration good() const; ///< For 127.0.0.1 and localhost.
    [[nodiscard]] QSslConfiguration expired() const;
    [[nodiscard]] QSslConfiguration wrongHost() const;  ///< For another host.
    [[nodiscard]] QSslConfiguration selfSigned() const; ///< Not by the authority.

private:
    void makeSelfSigned(const QString& name, const QStringList& options) const;
    void issue(const QString& name, const QString& hosts, const QDateTime& end) const;
    void writeConfiguration() const;
    [[nodiscard]] QSslConfiguration configuration(const QString& name) const;

    QTemporaryDir directory;
};

} // namespace quibel::testing
