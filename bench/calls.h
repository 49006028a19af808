#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>

// Shared by the programs of the benchmark.

inline void require(bool done, const char *what)
{
    if (done)
        return;
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

/// Calls bind() or connect(), which take a socket and an address.
template<typename Call>
int callWith(Call call, int socket, const char *path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    return call(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address);
}
