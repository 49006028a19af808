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
        descriptor = ::open("/dev/null", O_RDWR); // takes the lowest number that is free
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0)
        ::close(descriptor);
}

/// A pipe that nobody reads would block the first warning that finds it full.
/// Opened anew, since the flag would otherwise be set for the starter too.
void unblockStandardError()
{
    struct stat status = {};
    if (::fstat(STDERR_FILENO, &status) != 0 || !S_ISFIFO(status.st_mode))
        return;
    const int own = ::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK);
    if (own < 0)
        return;
    ::dup2(own, STDERR_FILENO);
    ::close(own);
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
    // The toolkit's own event loop: a request costs it less, and nothing of ours needs glib.
    ::setenv("QT_NO_GLIB", "1", 1);
    tightenUmask();
    unblockStandardError();
    ignore(SIGPIPE);
    ignore(SIGXFSZ);
}
