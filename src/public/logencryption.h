#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QStringList>

/// What every scrambled text begins with; the rest of it is base64.
inline const QLatin1String encryptedIdentity{"LogEncryption"};

/// Scrambles texts that must not stand readable in the log: the marker, then
/// the base64 of the bytes XORed with a fixed key. It keeps a casual reader
/// from seeing addresses and messages; it is no encryption, anyone can undo
/// it. May be called from any thread.
class LogEncryption
{
public:
    LogEncryption() = delete;

    /// Marker and base64; empty, without the marker, for an empty message.
    static QByteArray encryptionMessage(const QByteArray &message);
    /// The same of the text in the locale's encoding.
    static QByteArray encryptionMessage(const QString &message);
    /// The same of the texts joined with a comma.
    static QByteArray encryptionMessage(const QStringList &messages);

    /// Undoes the XOR on every byte and nothing else: the caller has taken the
    /// marker away and decoded the base64.
    static QByteArray decryptionMessage(const QByteArray &message);
};
