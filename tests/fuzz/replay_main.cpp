// Runs a fuzz target's LLVMFuzzerTestOneInput on every file of the corpus
// folders (or files) named on the command line, so that every build replays
// the corpus without libFuzzer. Fails when it finds no input at all.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

std::vector<std::filesystem::path> inputs(const std::filesystem::path &arg) {
    std::vector<std::filesystem::path> found;
    if (std::filesystem::is_directory(arg)) {
        for (const auto &entry : std::filesystem::directory_iterator(arg)) {
            if (entry.is_regular_file()) {
                found.push_back(entry.path());
            }
        }
        std::sort(found.begin(), found.end());
    } else if (std::filesystem::is_regular_file(arg)) {
        found.push_back(arg);
    }
    return found;
}

}  // namespace

int main(int argc, char **argv) {
    std::size_t replayed = 0;
    for (int i = 1; i < argc; ++i) {
        for (const std::filesystem::path &path : inputs(argv[i])) {
            std::ifstream in(path, std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()), bytes.size());
            ++replayed;
        }
    }
    std::printf("replayed %zu inputs\n", replayed);
    return replayed == 0 ? 1 : 0;
}
