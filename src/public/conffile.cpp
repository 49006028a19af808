#include "conffile.h"

#include "regularfile.h"

#include <QFile>
#include <QFileInfo>

#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

namespace {

bool copyOwnerAndMode(const QFile &original, const QFile &copy)
{
    struct stat status = {};
    return ::fstat(original.handle(), &status) == 0
           && ::fchown(copy.handle(), status.st_uid, status.st_gid) == 0
           && ::fchmod(copy.handle(), status.st_mode & ACCESSPERMS) == 0;
}

} // namespace

bool ConfFile::exists() const
{
    return QFile::exists(m_path);
}

std::optional<QByteArray> ConfFile::read() const
{
    QFile file(m_path);
    if (!RegularFile::isSmallRegularFile(m_path)
        || !file.open(QIODevice::ReadOnly | QIODevice::Text))
        return std::nullopt;
    return file.read(RegularFile::kMaxBytes);
}

bool ConfFile::isWritable() const
{
    QFile file(m_path);
    return QFileInfo(m_path).isFile()
           && file.open(QIODevice::ReadWrite | QIODevice::Text | QIODevice::ExistingOnly);
}

// Not QSaveFile: it loses the owner, and its commit() replaces the file by an empty
// one on a full disk.
bool ConfFile::replace(const QByteArray &content) const
{
    if (content.size() > RegularFile::kMaxBytes)
        return false; // the next start would refuse to read it
    QFile original(target());
    QFile draft(draftPath());
    const QByteArray from = QFile::encodeName(draft.fileName());
    const QByteArray to = QFile::encodeName(original.fileName());
    static_cast<void>(std::remove(from.constData())); // what a killed process left, if anything
    constexpr auto flags = QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered;
    if (!original.open(QIODevice::ReadOnly) || !draft.open(flags))
        return false;

    // Not QFile::rename(), which does not replace a file.
    const bool replaced = copyOwnerAndMode(original, draft)
                          && draft.write(content) == content.size() && ::fsync(draft.handle()) == 0
                          && std::rename(from.constData(), to.constData()) == 0;
    if (!replaced)
        draft.remove();
    return replaced;
}

QString ConfFile::target() const
{
    const QString resolved = QFileInfo(m_path).canonicalFilePath();
    return resolved.isEmpty() ? m_path : resolved;
}

// The name is fixed, so that the next replace() finds the draft of a killed process.
QString ConfFile::draftPath() const
{
    return target() + QLatin1String(".quillon-draft");
}
