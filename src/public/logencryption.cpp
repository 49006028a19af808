#include "logencryption.h"

namespace {

constexpr char secretKey[] = {'k', 'v', 'x', '-', 'j', 'o', 'u', 'r', 'n', 'a', 'l'};

// XOR with each byte of the key in turn equals XOR with this one byte.
constexpr char foldedKey()
{
    char folded = 0;
    for (const char byte : secretKey)
        folded ^= byte;
    return folded;
}

QByteArray xored(QByteArray bytes)
{
    for (char &byte : bytes)
        byte ^= foldedKey();
    return bytes;
}

} // namespace

QByteArray LogEncryption::encryptionMessage(const QByteArray &message)
{
    if (message.isEmpty())
        return message;
    return xored(message).toBase64().prepend(encryptedIdentity.data(), encryptedIdentity.size());
}

QByteArray LogEncryption::encryptionMessage(const QString &message)
{
    return encryptionMessage(message.toLocal8Bit());
}

QByteArray LogEncryption::encryptionMessage(const QStringList &messages)
{
    return encryptionMessage(messages.join(QLatin1Char(',')));
}

QByteArray LogEncryption::decryptionMessage(const QByteArray &message)
{
    return xored(message);
}
