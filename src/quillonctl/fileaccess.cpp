#include "fileaccess.h"

#include <QFileInfo>

#include <cerrno>

QString FileAccess::refusal(const QString &path, int error)
{
    QString reason =
        error == ENOTSUP ? QStringLiteral("not a regular file") : qt_error_string(error);
    if (error == EACCES) {
        const QString owner = QFileInfo(path).owner();
        reason += QStringLiteral("; run this as %1, who may read it")
                      .arg(owner.isEmpty() ? QStringLiteral("root") : owner);
    }
    return QStringLiteral("cannot read %1: %2").arg(path, reason);
}
