#pragma once

#include <QByteArray>

/// What is shown of a log, whose bytes come in whatever pieces they are read.
class LogView
{
public:
    LogView() = default;
    virtual ~LogView() = default;
    Q_DISABLE_COPY(LogView)

    /// What can be shown now; what is not complete waits for more.
    virtual QByteArray add(const QByteArray &bytes) = 0;

    /// What waits, as if the log ended here, but without a line feed.
    virtual QByteArray rest() = 0;
};
