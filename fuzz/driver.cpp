// Stands in for libFuzzer where the compiler has none. Runs each seed, each beginning of it, and
// copies of it with one byte changed.
//
// usage: TARGET FOLDER

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size);

namespace {

constexpr char kChanges[] = {'\x01', '\x04', '\x80'}; // to be XORed with a byte

void run(const std::string &input)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char *>(input.data()), input.size());
}

void runVariantsOf(const std::string &seed)
{
    run(seed);
    for (size_t position = 0; position < seed.size(); ++position) {
        run(seed.substr(0, position));
        for (const char change : kChanges) {
            std::string input = seed;
            input[position] = static_cast<char>(input[position] ^ change);
            run(input);
        }
    }
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2)
        return EXIT_FAILURE;
    bool hasSeeds = false;
    for (const auto &entry : std::filesystem::directory_iterator(argv[1])) {
        hasSeeds = true;
        // At once: the last name that is printed is that of the seed that failed.
        std::printf("%s\n", entry.path().c_str());
        static_cast<void>(std::fflush(stdout));
        std::ifstream file(entry.path(), std::ios::binary);
        runVariantsOf({std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()});
    }
    return hasSeeds ? EXIT_SUCCESS : EXIT_FAILURE;
}
