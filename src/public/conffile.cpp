#include "conffile.h"

#include "regularfile.h"

#include <QFile>
#include <QFileInfo>

#include <cstdio>

#include <sys/stat.h>

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
    QFile file;
    struct statx status = {};
    const int descriptor = RegularFile::open(QFile::encodeName(m_path), O_RDONLY, status);
    constexpr auto mode = QIODevice::ReadOnly | QIODevice::Text;
    if (descriptor < 0 || !file.open(descriptor, mode, QFileDevice::AutoCloseHandle)
        || status.stx_size > RegularFile::kMaxBytes)
        return std::nullopt;
    return file.read(RegularFile::kMaxBytes);
}

bool ConfFile::isWritable() const
{
    struct statx status = {};
    const int file = RegularFile::open(QFile::encodeName(m_path), O_RDWR, status);
    ::close(file);
    return file >= 0;
}

// Not QSaveFile: it loses the owner, and empties the file on a full disk.
bool ConfFile::replace(const QByteArray &content) const
{
    if (content.size() > RegularFile::kMaxBytes)
        return false; // the next start would refuse to read it
    QFile original(QFileInfo(m_path).canonicalFilePath());
    if (original.fileName().isEmpty() || !original.open(QIODevice::ReadOnly))
        return false;
    // The name is fixed, so that the draft of a killed process is found.
    QFile draft(original.fileName() + QLatin1String(".quillon-draft"));
    const QByteArray from = QFile::encodeName(draft.fileName());
    const QByteArray to = QFile::encodeName(original.fileName());
    static_cast<void>(std::remove(from.constData()));
    if (!draft.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        return false;

    // Not QFile::rename(), which does not replace a file.
    const bool replaced = copyOwnerAndMode(original, draft)
                          && draft.write(content) == content.size() && ::fsync(draft.handle()) == 0
                          && std::rename(from.constData(), to.constData()) == 0;
    if (!replaced)
        draft.remove();
    return replaced;
}
