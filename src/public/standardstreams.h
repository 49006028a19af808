#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace StandardStreams {

/// Opens closed standard streams, or a file that the program opens would get their numbers.
/// Reads and writes fail as on a closed stream.
inline void holdClosed()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0)
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

} // namespace StandardStreams
