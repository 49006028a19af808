#pragma once

#include "logtext.h"
#include "paths.h"

#include <QString>

#include <chrono>

/// What the command line asks for, every value checked; each command reads its own members.
struct Options
{
    bool json = false;
    bool wait = false;
    std::chrono::milliseconds timeout{3000};
    int serverIndex = 0;
    QString configurationFile = Paths::configuration;

    QString file = Paths::logFile; ///< "-" is standard input
    bool follow = false;
    LogText::Level level = LogText::Level::Debug;
    QByteArray since; ///< in the log's own time format; empty is no limit
};
