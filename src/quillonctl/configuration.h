#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

/// The server configuration as the daemon tells it, and how it is shown.
struct Configuration
{
    bool isLoaded = false; ///< false when the daemon has found no usable file at its start
    bool usesDefault = false;
    int defaultIndex = 0;
    QString customAddress;
    QStringList defaultServers;
    QJsonObject told; ///< the whole message

    /// Nothing when a member is missing or has another type than the daemon gives it.
    static std::optional<Configuration> fromMessage(const QJsonObject &message);

    /// The address the daemon talks to; empty when it has none.
    QString serverInUse() const;

    /// What the daemon told, without its type, and whether it has a configuration; for a program.
    QJsonObject toJson() const;

    /// Several lines in UTF-8 for a person; safe to show on a terminal.
    QByteArray toText() const;
};
