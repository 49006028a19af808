// floor SOCKET LOG LENGTH...: the work of a request in bare system calls. It sends back what it
// receives, and for each read it appends a line of each length to the log.

#include "measure.h"

#include <sys/epoll.h>
#include <unistd.h>

namespace {

void watch(int epoll, int descriptor)
{
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    require(epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) == 0, "epoll_ctl");
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
