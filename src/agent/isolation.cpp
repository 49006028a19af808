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
    tightenUmask();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}
