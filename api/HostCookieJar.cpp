#include "HostCookieJar.h"

#include <QUrl>

HostCookieJar::HostCookieJar(QObject *parent)
    : QNetworkCookieJar(parent)
{
}

HostCookieJar::~HostCookieJar() = default;

QList<QNetworkCookie> HostCookieJar::cookiesForUrl(const QUrl &url) const
{
    const QNetworkCookieJar *jar = m_jars.value(url.host());
    return jar ? jar->cookiesForUrl(url) : QList<QNetworkCookie>();
}

bool HostCookieJar::setCookiesFromUrl(const QList<QNetworkCookie> &cookieList, const QUrl &url)
{
    QNetworkCookieJar *&jar = m_jars[url.host()];
    if (!jar)
        jar = new QNetworkCookieJar(this);
    return jar->setCookiesFromUrl(cookieList, url);
}
