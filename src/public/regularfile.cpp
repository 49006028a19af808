#include "regularfile.h"

#include <QFileInfo>

bool RegularFile::isSmallRegularFile(const QString &path)
{
    const QFileInfo file(path);
    return file.isFile() && file.size() <= kMaxBytes;
}
