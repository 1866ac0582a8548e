#include "account/ServiceAddress.h"
#include "tests/fakes/FakePreferences.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace quibel {

class ServiceAddressTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void saysWhichSourceTheAddressCameFrom_data()
    {
        using Source = ServiceAddress::Source;
        QTest::addColumn<QString>("preference");
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QString>("url");
        QTest::addColumn<Source>("source");
        const QString builtIn = QStringLiteral(QUIBEL_DEFAULT_BASE_URL);
        QTest::newRow("preference") << u"https://a.test"_s << u"https://b.test"_s
                                    << u"https://a.test"_s << Source::preference;
        QTest::newRow("environment")
            << QString() << u"https://b.test"_s << u"https://b.test"_s << Source::environment;
        QTest::newRow("built in") << QString() << QString() << builtIn << Source::builtIn;
        QTest::newRow("preference that does not parse")
            << u"https://[a"_s << u"https://b.test"_s << u"https://b.test"_s << Source::environment;
        QTest::newRow("nothing else parses")
            << u"https://[a"_s << u"http://b b"_s << builtIn << Source::builtIn;
    }

    void saysWhichSourceTheAddressCameFrom()
    {
        QFETCH(const QString, preference);
        QFETCH(const QString, variable);
        QFETCH(const QString, url);
        QFETCH(const ServiceAddress::Source, source);
        FakePreferences preferences;
        if (!preference.isEmpty())
            preferences.setText(u"quibel.apiBaseURL"_s, preference);
        QProcessEnvironment environment;
        environment.insert(u"QUIBEL_API_BASE_URL"_s, variable);
        const auto found = findServiceAddress(preferences, environment);
        QVERIFY(found);
        QCOMPARE(found->url, QUrl(url));
        QCOMPARE(found->source, source);
    }
};

} // namespace quibel

QTEST_GUILESS_MAIN(quibel::ServiceAddressTest)
#include "ServiceAddressTest.moc"
