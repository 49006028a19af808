#pragma once

#include "exitstatus.h"

#include <QByteArray>
#include <QString>

struct Options;

/// The commands that talk with the daemon about its configuration. Each prints
/// its result, as text or as one JSON document, and complains on standard error.
namespace ConfigCommands {

/// Shows the configuration.
ExitStatus show(const Options &options);

/// Chooses a default server, then shows the configuration. Succeeds only when
/// the daemon itself tells that the server is in use.
ExitStatus use(const Options &options);

/// What asks the daemon for its configuration.
QByteArray configurationRequest();

/// The JSON document of a failure; every failure of these commands has these members.
QByteArray failureDocument(ExitStatus status, const QString &word, const QString &message);

} // namespace ConfigCommands
