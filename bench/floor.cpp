// floor SOCKET LOG LENGTH...: the work of a request in bare system calls. It sends back what it
// receives, and for each read it appends a line of each length to the log.

#include "calls.h"

#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void watch(int epoll, int descriptor)
{
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    require(epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) == 0, "epoll_ctl");
}

/// Appends a line to a log that is not kept open, by the four system calls that this takes.
void appendLine(const char *path, const std::string &line)
{
    struct statx status = {};
    statx(AT_FDCWD, path, 0, STATX_BASIC_STATS | STATX_BTIME, &status);
    const int log = open(path, O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    require(write(log, line.data(), line.size()) == static_cast<ssize_t>(line.size()), "write");
    close(log);
}

void answer(int client, const char *path, const std::vector<std::string> &lines)
{
    char bytes[65536];
    const ssize_t size = read(client, bytes, sizeof bytes);
    if (size <= 0) {
        close(client);
        return;
    }
    for (const std::string &line : lines)
        appendLine(path, line);
    require(write(client, bytes, static_cast<std::size_t>(size)) == size, "write");
}

} // namespace

int main(int argc, char *argv[])
{
    std::vector<std::string> lines;
    for (int i = 3; i < argc; ++i)
        lines.push_back(std::string(std::stoul(argv[i]) - 1, 'x') + '\n');

    const int server = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0);
    require(callWith(bind, server, argv[1]) == 0 && listen(server, 50) == 0, argv[1]);
    const int epoll = epoll_create1(0);
    watch(epoll, server);
    std::puts("ready");
    require(std::fflush(stdout) == 0, "fflush");
    for (;;) {
        epoll_event event = {};
        if (epoll_wait(epoll, &event, 1, -1) != 1)
            continue;
        if (event.data.fd == server)
            watch(epoll, accept4(server, nullptr, nullptr, SOCK_NONBLOCK));
        else
            answer(event.data.fd, argv[2], lines);
    }
}
