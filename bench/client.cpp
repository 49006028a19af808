// The client of everything that listens on a local socket.
//   request SOCKET COUNT        prints the microseconds of one request
//   start SOCKET PROGRAM...     prints the microseconds from exec to an accepted connection

#include "measure.h"

#include <csignal>
#include <cstdint>
#include <string_view>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::string_view kAsk("\2\0\0\0\14\0\0\0{\"type\":\"5\"}", 20);
constexpr std::size_t kHeaderBytes = 8;
constexpr std::chrono::microseconds kPollInterval{50};

/// Returns a socket, or -1 when nobody listens.
int connectTo(const char *path)
{
    const int peer = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (callWith(connect, peer, path) == 0)
        return peer;
    close(peer);
    return -1;
}

void ask(int peer)
{
    require(write(peer, kAsk.data(), kAsk.size()) == static_cast<ssize_t>(kAsk.size()), "write");
    char answer[65536];
    std::size_t size = 0;
    for (std::size_t expected = kHeaderBytes; size < expected;) {
        const ssize_t more = read(peer, answer + size, sizeof answer - size);
        require(more > 0, "read");
        size += static_cast<std::size_t>(more);
        std::uint32_t length = 0;
        std::memcpy(&length, answer + kHeaderBytes - sizeof length, sizeof length);
        expected = size < kHeaderBytes ? kHeaderBytes : kHeaderBytes + length;
    }
}

void measureRequest(const char *path, int count)
{
    const int peer = connectTo(path);
    std::printf("%.3f\n", medianOf(count, [peer] { ask(peer); }));

    // Until the daemon has let this client go, it would not take the next one.
    char byte = 0;
    shutdown(peer, SHUT_WR);
    require(read(peer, &byte, 1) == 0, "read at the end");
}

void measureStart(const char *path, char *program[])
{
    const auto begin = Clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        execv(program[0], program);
        die(program[0]);
    }
    while (connectTo(path) < 0) {
        require(waitpid(pid, nullptr, WNOHANG) == 0, "ended");
        std::this_thread::sleep_for(kPollInterval);
    }
    std::printf("%.3f\n", microsecondsSince(begin));
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

} // namespace

int main(int argc, char *argv[])
{
    const std::string what = argc < 4 ? "" : argv[1];
    if (what == "request")
        measureRequest(argv[2], std::stoi(argv[3]));
    else if (what == "start")
        measureStart(argv[2], argv + 3);
    else
        return 2;
    return 0;
}
