#include "regularfile.h"

#include <QFileInfo>

bool RegularFile::isReadableWhole(const QString &path)
{
    const QFileInfo file(path);
    return file.isFile() && file.size() <= kMaxBytes;
}
