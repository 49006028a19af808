// Stands in for libFuzzer where there is only an ordinary compiler: runs the seeds, then what
// random changes make of them. The same seeds give the same inputs in each run.
//
// usage: TARGET SECONDS FOLDER

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size);

namespace {

constexpr size_t kMaxBytes = 4096;
constexpr size_t kMaxChanges = 8;

using Clock = std::chrono::steady_clock;
using Input = std::string;

// For the signal handler.
Input current; // clazy:exclude=non-pod-global-static

/// Calls only what a signal handler may.
void showInput(int /*signal*/)
{
    static constexpr std::string_view kDigits = "0123456789abcdef";
    static constexpr char kIntroduction[] = "the input in hexadecimal: ";
    const auto put = [](const char *bytes, size_t size) {
        if (::write(STDERR_FILENO, bytes, size) < 0)
            ::_exit(EXIT_FAILURE);
    };
    put(kIntroduction, sizeof kIntroduction - 1);
    for (const char byte : current) {
        const auto value = static_cast<unsigned char>(byte);
        put(&kDigits.at(value / 16), 1);
        put(&kDigits.at(value % 16), 1);
    }
    put("\n", 1);
}

std::vector<Input> readSeeds(const char *folder)
{
    std::vector<std::filesystem::path> paths;
    for (const auto &entry : std::filesystem::directory_iterator(folder))
        paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());

    std::vector<Input> seeds;
    for (const auto &path : paths) {
        std::ifstream file(path, std::ios::binary);
        seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return seeds;
}

class Mutator
{
public:
    // NOLINTNEXTLINE(cert-msc51-cpp,cert-msc32-c): the same changes in each run
    explicit Mutator(const std::vector<Input> &seeds)
        : m_seeds(seeds)
    {
    }

    Input next()
    {
        Input input = anySeed();
        for (size_t changes = 1 + below(kMaxChanges); changes > 0; --changes)
            change(input);
        input.resize(std::min(input.size(), kMaxBytes));
        return input;
    }

private:
    void change(Input &input)
    {
        const size_t position = below(input.size() + 1);
        const size_t size = 1 + below(16);
        const Input &other = anySeed();
        switch (below(5)) {
        case 0:
            input.insert(position, size, anyByte());
            break;
        case 1:
            input.erase(position, size);
            break;
        case 2:
            input.insert(position, input, below(input.size() + 1), size);
            break;
        case 3:
            input.replace(position, size, other, below(other.size() + 1), 4 * size);
            break;
        default:
            input.replace(position, 1, 1, anyByte());
            break;
        }
    }

    // Not a distribution of the library: each library makes other numbers of the same seed.
    size_t below(size_t limit) { return m_random() % limit; }
    char anyByte() { return static_cast<char>(below(256)); }
    const Input &anySeed() { return m_seeds[below(m_seeds.size())]; }

    const std::vector<Input> &m_seeds;
    std::mt19937 m_random;
};

void run(const Input &input)
{
    current = input;
    LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char *>(current.data()), current.size());
}

} // namespace

int main(int argc, char *argv[])
{
    const std::vector<Input> seeds = argc == 3 ? readSeeds(argv[2]) : std::vector<Input>();
    if (seeds.empty()) {
        static_cast<void>(std::fputs("how many seconds, and a folder with seeds\n", stderr));
        return EXIT_FAILURE;
    }
    static_cast<void>(std::signal(SIGABRT, showInput));

    for (const Input &seed : seeds)
        run(seed);
    Mutator mutator(seeds);
    long count = 0;
    const auto end = Clock::now() + std::chrono::seconds(std::strtol(argv[1], nullptr, 10));
    for (; Clock::now() < end; ++count)
        run(mutator.next());
    std::printf("%zu seeds, %ld inputs made of them\n", seeds.size(), count);
}
