#pragma once

#include <QByteArray>
#include <QString>

/// Reads a log while another program appends to it, deletes it and creates it again.
/// Uses a bare descriptor, because QFile waits on a pipe until its buffer is full.
class LogFile
{
    Q_DISABLE_COPY(LogFile)

public:
    /// @param path "-" is standard input
    explicit LogFile(const QString &path);
    ~LogFile() { close(); }

    /// Opens what is at the path now, at its beginning. Returns false with the reason in
    /// errno; ENOTSUP when something other than a file is where the daemon writes its log.
    bool open();

    /// Continues after the last complete line: the daemon may be writing another, and the rest of
    /// that could look like a message. Does nothing while no log is open.
    void skipToEnd() const;

    /// Reads the next bytes, at most 64 KiB; none at the end. Blocks on a pipe.
    /// Returns false with the reason in errno.
    bool read(QByteArray &bytes);

    /// Reads the next bytes like read(). If a new log has replaced this one, continues with the
    /// new one, after a line feed if this one ends within a line. Returns no bytes at the end of
    /// the current log, and while there is no log.
    bool follow(QByteArray &bytes);

private:
    bool isReplaced() const;
    void close();

    const QByteArray m_path;
    int m_descriptor = -1;
    char m_lastByte = '\n';
};
