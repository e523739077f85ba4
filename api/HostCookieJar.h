#pragma once

#include <QHash>
#include <QNetworkCookie>
#include <QNetworkCookieJar>

// Keeps the cookies of each host apart. A thousand cameras hold a session cookie each, and a
// single jar weighs every one of them against every request; here a request sees only its own
// host's cookies, and a cookie never goes to another host than the one that set it.
class HostCookieJar : public QNetworkCookieJar
{
    Q_OBJECT

public:
    explicit HostCookieJar(QObject *parent = nullptr);
    ~HostCookieJar() override;

    QList<QNetworkCookie> cookiesForUrl(const QUrl &url) const override;
    bool setCookiesFromUrl(const QList<QNetworkCookie> &cookieList, const QUrl &url) override;

private:
    QHash<QString, QNetworkCookieJar *> m_jars;
};
