#pragma once

#include <QString>

class QByteArray;

/// A log that is read while another program appends to it, deletes it and makes it anew.
///
/// Reads through bare descriptors, since the toolkit's file waits on a pipe
/// until its buffer is full.
class LogFile
{
    Q_DISABLE_COPY(LogFile)

public:
    /// @param path "-" is standard input
    explicit LogFile(const QString &path);
    ~LogFile();

    /// Starts, or starts anew, at the beginning of what stands at the path now.
    /// False with the reason in errno; ENOTSUP where the daemon's log should be and is no file.
    bool open();

    bool isOpen() const { return m_descriptor >= 0; }

    /// Gives the next bytes, none at the end of what there is. Waits on a pipe.
    /// False with the reason in errno.
    bool read(QByteArray &bytes) const;

    /// Goes to the end of what there is.
    void skip() const;

    /// True when the rest of this log stands in another file or at its beginning: open it again.
    bool isReplaced() const;

private:
    void close();

    const QByteArray m_path;
    int m_descriptor = -1;
};
