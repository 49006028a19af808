#include "logencryption.h"

namespace {

constexpr char secretKey[] = {'k', 'v', 'x', '-', 'j', 'o', 'u', 'r', 'n', 'a', 'l'};

QByteArray xored(QByteArray bytes)
{
    for (char &byte : bytes) {
        for (const char key : secretKey)
            byte ^= key;
    }
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
