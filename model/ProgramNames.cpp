#include "ProgramNames.h"

#include <QCoreApplication>

void ProgramNames::apply()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Plexano"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("plexano.com"));
    QCoreApplication::setApplicationName(QStringLiteral("Activation-Service"));
}
