#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// A file that an administrator owns and the daemon rewrites. It is never
/// created, and replaced as a whole: at any instant it holds the old content or
/// the new one. Mode, owner and group stay, a symbolic link stays a link.
class ConfFile
{
public:
    explicit ConfFile(QString path);

    /// Whether anything stands at the path (behind a link, where it leads).
    bool exists() const;

    /// The content; nothing when there is no regular file of at most 1 MiB at
    /// the path, or it cannot be opened.
    std::optional<QByteArray> read() const;

    /// Whether there is a regular file at the path that can be opened for
    /// reading and writing.
    bool isWritable() const;

    /// Puts the content in the place of the old one, which stays when this
    /// fails. Works in the file's directory, so that has to be writable too.
    bool replace(const QByteArray &content) const;

    /// Removes what a replace() left behind whose process was killed in it.
    void removeLeftover() const;

private:
    QString target() const;
    QString draftPath() const;

    const QString m_path;
};
