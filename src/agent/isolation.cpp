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

void ignore(int number)
{
    struct sigaction action = {};
    action.sa_handler = SIG_IGN;
    ::sigaction(number, &action, nullptr);
}

void tightenUmask()
{
    const mode_t given = ::umask(0);
    ::umask(given | kNoWriteForOthers);
}

} // namespace

void isolateFromStarter()
{
    openStandardDescriptors();
    ::clearenv();
    // Qt's own event loop handles a request faster, and we do not need glib's.
    ::setenv("QT_NO_GLIB", "1", 1);
    tightenUmask();
    ignore(SIGPIPE);
    ignore(SIGXFSZ);
}
