#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

// Shared by the programs of the benchmark.

using Clock = std::chrono::steady_clock;

inline double microsecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

inline double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Median time of that many calls, in microseconds.
template<typename Call>
double medianOf(int calls, Call call)
{
    std::vector<double> times(static_cast<std::size_t>(calls));
    for (double &time : times) {
        const auto start = Clock::now();
        call();
        time = microsecondsSince(start);
    }
    return median(times);
}

[[noreturn]] inline void die(const char *what)
{
    std::perror(what);
    std::exit(1);
}

inline void require(bool done, const char *what)
{
    if (!done)
        die(what);
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

/// Appends a line to a log that is not kept open, by the four system calls that this takes.
inline void appendLine(const char *path, const std::string &line)
{
    struct statx status = {};
    statx(AT_FDCWD, path, 0, STATX_BASIC_STATS | STATX_BTIME, &status);
    const int log = open(path, O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    require(write(log, line.data(), line.size()) == static_cast<ssize_t>(line.size()), "write");
    close(log);
}
