#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <utility>

/// A file that an administrator owns and the daemon rewrites. It is never created, and it is
/// replaced atomically: at any instant it holds the old content or the new one. Owner, group and
/// mode are kept, other attributes and ACLs are not. A symbolic link stays a symbolic link.
class ConfFile
{
public:
    explicit ConfFile(QString path)
        : m_path(std::move(path))
    {
    }

    /// Whether anything is at the path; a symbolic link is followed.
    bool exists() const;

    /// Returns the content; nothing when the file cannot be opened, is not a
    /// regular file or is larger than 1 MiB.
    std::optional<QByteArray> read() const;

    /// Whether there is a regular file at the path that can be opened for reading and writing.
    bool isWritable() const;

    /// Replaces the content; fails for more than 1 MiB. On failure the old content
    /// is kept. Writes a draft beside the file, so the directory must be writable. Removes a
    /// draft that is there already: a file, a link or an empty directory.
    bool replace(const QByteArray &content) const;

private:
    const QString m_path;
};
