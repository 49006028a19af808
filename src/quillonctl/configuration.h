#pragma once

#include <QJsonObject>
#include <QVariantMap>

#include <optional>
#include <utility>

/// The server configuration as the daemon reports it, with its text and JSON forms.
class Configuration
{
public:
    /// Nothing when a member is missing or has a type that the daemon never sends.
    static std::optional<Configuration> fromMessage(const QJsonObject &message);

    /// @param loaded as from ServerConf::parse(); empty when no configuration is loaded
    explicit Configuration(QVariantMap loaded)
        : m_map(std::move(loaded))
    {
    }

    bool operator==(const Configuration &other) const { return toJson() == other.toJson(); }

    /// Whether the daemon's file has another configuration; nothing when it cannot be read.
    std::optional<bool> differsFromFile() const;

    /// Says that the file differs from this configuration of the daemon, and what to do.
    QByteArray differenceText() const;

    /// The base URL that the daemon uses; empty when it has none.
    QString serverInUse() const;

    /// The index of the chosen default server; -1 when none is chosen.
    int chosenIndex() const;

    /// The server in use in words, on one line; safe for a terminal.
    QByteArray serverText() const;

    /// What the daemon reports, and whether it has loaded a configuration.
    QJsonObject toJson() const;

    /// Several lines for people; safe for a terminal.
    QByteArray toText() const;

private:
    QVariantMap m_map;
};
