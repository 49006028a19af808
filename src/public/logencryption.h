#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QStringList>

/// Marks a scrambled text; base64 follows.
inline const QLatin1String encryptedIdentity{"LogEncryption"};

/// Scrambles texts that must not be readable in the log: the marker, then the
/// base64 of the bytes XORed with a fixed key. This hides addresses and messages
/// from a casual reader. It is not encryption: anyone can undo it. Thread-safe.
class LogEncryption
{
public:
    LogEncryption() = delete;

    /// Returns marker and base64; nothing for an empty message.
    static QByteArray encryptionMessage(const QByteArray &message);
    /// The same for the text in the locale's encoding.
    static QByteArray encryptionMessage(const QString &message);
    /// The same for the texts joined with a comma.
    static QByteArray encryptionMessage(const QStringList &messages);

    /// Undoes only the XOR. The caller first removes the marker and decodes the base64.
    static QByteArray decryptionMessage(const QByteArray &message);
};
