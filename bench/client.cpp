// The one client of everything that listens on a local socket.
//   frames SOCKET COUNT             microseconds of one request
//   http SOCKET COUNT               the same, asked by HTTP
//   pipelined SOCKET COUNT DEPTH    requests a second, DEPTH in one write
//   waiting SOCKET COUNT WAITING    microseconds of one request while others wait, and of one
//                                   who waits: to be taken, answered and let go
//   start SOCKET PROGRAM...         microseconds from exec to an accepted connection, then to an
//                                   answer

#include "measure.h"

#include <csignal>
#include <string_view>
#include <thread>
#include <utility>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr std::string_view kAsk("\2\0\0\0\14\0\0\0{\"type\":\"5\"}", 20);
constexpr char kGet[] = "GET / HTTP/1.1\r\nHost: bench\r\n\r\n";
constexpr int kKnockMilliseconds = 100;
constexpr std::chrono::microseconds kPollInterval{50};

class Peer
{
public:
    explicit Peer(const char *path)
        : m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
        , m_isConnected(callWith(connect, m_socket, path) == 0)
    {
    }
    Peer(Peer &&other) noexcept
        : m_socket(std::exchange(other.m_socket, -1))
        , m_isConnected(other.m_isConnected)
        , m_received(std::move(other.m_received))
    {
    }
    Peer(const Peer &) = delete;
    ~Peer() { close(m_socket); }

    bool isConnected() const { return m_isConnected; }

    bool isReadable() const
    {
        pollfd descriptor = {m_socket, POLLIN, 0};
        return poll(&descriptor, 1, kKnockMilliseconds) == 1;
    }

    void send(std::string_view bytes) const
    {
        require(write(m_socket, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
                "write");
    }

    void takeFrame()
    {
        constexpr std::size_t headerBytes = 8;
        readUpTo(headerBytes);
        std::int32_t length = 0;
        std::memcpy(&length, m_received.data() + 4, sizeof length);
        take(headerBytes + static_cast<std::size_t>(length));
    }

    void takeHttp()
    {
        std::size_t end = 0;
        while ((end = m_received.find("\r\n\r\n")) == std::string::npos)
            readMore();
        const std::size_t length = m_received.find("Content-Length: ") + 16;
        take(end + 4 + std::stoul(m_received.substr(length)));
    }

    void ask()
    {
        send(kAsk);
        takeFrame();
    }

    /// Returns when the other side has seen it.
    void leave() const
    {
        char byte = 0;
        shutdown(m_socket, SHUT_WR);
        require(read(m_socket, &byte, 1) == 0, "read at the end");
    }

private:
    void readMore()
    {
        char bytes[65536];
        const ssize_t size = read(m_socket, bytes, sizeof bytes);
        require(size > 0, "read");
        m_received.append(bytes, static_cast<std::size_t>(size));
    }

    void readUpTo(std::size_t size)
    {
        while (m_received.size() < size)
            readMore();
    }

    void take(std::size_t size)
    {
        readUpTo(size);
        m_received.erase(0, size);
    }

    int m_socket;
    bool m_isConnected;
    std::string m_received;
};

void frames(const char *path, int count)
{
    Peer peer(path);
    std::printf("%.3f\n", medianOf(count, [&peer] { peer.ask(); }));
    peer.leave();
}

void http(const char *path, int count)
{
    Peer peer(path);
    std::printf("%.3f\n", medianOf(count, [&peer] {
                    peer.send(kGet);
                    peer.takeHttp();
                }));
}

void pipelined(const char *path, int count, int depth)
{
    std::string asked;
    for (int i = 0; i < depth; ++i)
        asked += kAsk;
    Peer peer(path);
    const double batch = medianOf(count / depth, [&] {
        peer.send(asked);
        for (int i = 0; i < depth; ++i)
            peer.takeFrame();
    });
    std::printf("%.0f\n", 1e6 * depth / batch);
    peer.leave();
}

/// One who waits is taken when a further one comes.
// NOLINTNEXTLINE(bugprone-easily-swappable-parameters): in the order of the arguments
void waiting(const char *path, int count, int number)
{
    Peer first(path);
    first.ask();
    std::vector<Peer> others;
    for (int i = 0; i < number; ++i) {
        others.emplace_back(path);
        others.back().send(kAsk);
    }
    std::printf("%.3f\n", medianOf(count, [&first] { first.ask(); }));
    first.leave();

    auto other = others.begin();
    std::printf("%.3f\n", medianOf(number, [&] {
                    const Peer knock(path);
                    other->takeFrame();
                    (other++)->leave();
                }));
    // Answered when all who knocked were let go: one whose end was not seen yet is taken once more.
    Peer last(path);
    last.send(kAsk);
    while (!last.isReadable())
        const Peer knock(path);
    last.takeFrame();
    last.leave();
}

void start(const char *path, char *program[])
{
    const auto begin = Clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        execv(program[0], program);
        die(program[0]);
    }
    for (;;) {
        Peer peer(path);
        if (peer.isConnected()) {
            std::printf("%.3f\n", microsecondsSince(begin));
            peer.ask();
            std::printf("%.3f\n", microsecondsSince(begin));
            break;
        }
        require(waitpid(pid, nullptr, WNOHANG) == 0, "ended");
        std::this_thread::sleep_for(kPollInterval);
    }
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

} // namespace

int main(int argc, char *argv[])
{
    const std::string what = argc < 4 ? "" : argv[1];
    if (what == "frames")
        frames(argv[2], std::stoi(argv[3]));
    else if (what == "http")
        http(argv[2], std::stoi(argv[3]));
    else if (what == "pipelined" && argc == 5)
        pipelined(argv[2], std::stoi(argv[3]), std::stoi(argv[4]));
    else if (what == "waiting" && argc == 5)
        waiting(argv[2], std::stoi(argv[3]), std::stoi(argv[4]));
    else if (what == "start")
        start(argv[2], argv + 3);
    else
        return 2;
    return 0;
}
