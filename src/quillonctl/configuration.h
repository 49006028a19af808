#pragma once

#include "confkeys.h"

#include <QJsonObject>
#include <QVariantMap>

#include <optional>
#include <utility>

/// How the daemon's file compares with what the daemon has loaded.
struct FileComparison
{
    std::optional<bool> differs; ///< nothing when the file cannot be read
    QByteArray fault; ///< why the file cannot be loaded; empty if it can
    QByteArray advice; ///< what to do; empty if nothing

    QByteArray text() const { return fault.isEmpty() ? advice : fault + "; " + advice; }
};

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

    /// Why the daemon loads nothing from this content of a file; empty when it loads it.
    static QByteArray faultIn(const QByteArray &content);

    /// False when the daemon runs without a configuration.
    bool isLoaded() const { return !m_map.isEmpty(); }

    FileComparison compareWithFile() const;

    /// The base URL that the daemon uses; empty when it has none.
    QString serverInUse() const;

    /// The index of the chosen default server; -1 when none is chosen.
    int chosenIndex() const;

    /// The index of the default server whose address is shown like this; -1 without one.
    int indexOf(const QString &shown) const;

    /// The server in use in words, on one line; safe for a terminal.
    QByteArray serverText() const;

    /// What the daemon reports, and whether it has loaded a configuration.
    QJsonObject toJson() const;

    /// Several lines for people; safe for a terminal.
    QByteArray toText() const;

private:
    bool usesDefault() const { return m_map.value(confDefaultName).toBool(); }

    QVariantMap m_map;
};
