#include "HostCookieJar.h"

#include <QNetworkCookie>
#include <QtTest>

class HostCookieJarTest : public QObject
{
    Q_OBJECT

private slots:
    void eachHostGetsOnlyItsOwnCookies()
    {
        HostCookieJar jar;
        const QUrl first(QStringLiteral("http://10.77.0.10/login"));
        const QUrl second(QStringLiteral("http://[fd77::11]/login"));
        QVERIFY(jar.setCookiesFromUrl({QNetworkCookie("session", "one")}, first));
        QVERIFY(jar.setCookiesFromUrl({QNetworkCookie("session", "two")}, second));
        // A cookie that names another host as its domain is refused, as a single jar does.
        QNetworkCookie foreign("session", "stolen");
        foreign.setDomain(QStringLiteral("10.77.0.10"));
        jar.setCookiesFromUrl({foreign}, second);

        const auto valuesFor = [&](const char *url) {
            QStringList values;
            for (const QNetworkCookie &cookie : jar.cookiesForUrl(QUrl(QString::fromLatin1(url))))
                values << QString::fromLatin1(cookie.value());
            return values;
        };
        QCOMPARE(valuesFor("http://10.77.0.10/properties/system"), QStringList{"one"});
        QCOMPARE(valuesFor("http://[fd77::11]/live/status"), QStringList{"two"});
        QCOMPARE(valuesFor("http://10.77.0.12/"), QStringList{});

        jar.setCookiesFromUrl({QNetworkCookie("session", "renewed")}, first);
        QCOMPARE(valuesFor("http://10.77.0.10/"), QStringList{"renewed"});
    }
};

QTEST_GUILESS_MAIN(HostCookieJarTest)
#include "tst_HostCookieJar.moc"
