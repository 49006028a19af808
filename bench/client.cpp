// client SOCKET COUNT: sends that many requests and prints the median time of one in microseconds.

#include "calls.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace {

constexpr std::string_view kAsk("\2\0\0\0\14\0\0\0{\"type\":\"5\"}", 20);
constexpr std::size_t kHeaderBytes = 8;

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

/// Fills the times and returns their median.
double medianOf(std::vector<double> times, int peer)
{
    using Clock = std::chrono::steady_clock;
    for (double &time : times) {
        const auto start = Clock::now();
        ask(peer);
        time = std::chrono::duration<double, std::micro>(Clock::now() - start).count();
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3)
        return 2;
    const int peer = socket(AF_UNIX, SOCK_STREAM, 0);
    require(callWith(connect, peer, argv[1]) == 0, argv[1]);
    std::printf("%.3f\n", medianOf(std::vector<double>(std::stoul(argv[2])), peer));

    // Until the daemon has let this client go, it would not take the next one.
    char byte = 0;
    shutdown(peer, SHUT_WR);
    require(read(peer, &byte, 1) == 0, "read at the end");
    return 0;
}
