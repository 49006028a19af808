#include "isolation.h"

#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t kNoWriteForOthers = S_IWGRP | S_IWOTH;

void openStandardDescriptors()
{
    int descriptor = 0;
    do {
        descriptor = ::open("/dev/null", O_RDWR); // takes the lowest free number
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0)
        ::close(descriptor);
}

} // namespace

void isolateFromStarter()
{
    openStandardDescriptors();
    ::clearenv();
    // Qt's own event loop handles a request faster than glib's.
    ::setenv("QT_NO_GLIB", "1", 1);
    ::umask(::umask(0) | kNoWriteForOthers);
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
}
