// Replaces libFuzzer for compilers without it: runs every seed, then mutations of the seeds, in the
// same order each time, so that a crash can be reproduced in a debugger.
//
// usage: fuzz_NAME SECONDS CORPUS-FOLDER

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Input = std::vector<std::uint8_t>;

std::vector<Input> readFolder(const char* folder) {
    std::vector<std::filesystem::path> files(std::filesystem::directory_iterator(folder), {});
    std::sort(files.begin(), files.end());
    std::vector<Input> inputs;
    for (const auto& path : files) {
        std::ifstream file(path, std::ios::binary);
        inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return inputs;
}

class Mutator {
public:
    explicit Mutator(const std::vector<Input>& seeds) : m_seeds(seeds) {}

    Input next() {
        Input input = any();
        for (std::size_t count = 1 + below(6); count > 0; --count) {
            mutate(input);
        }
        input.resize(std::min<std::size_t>(input.size(), 1 << 16));
        return input;
    }

private:
    std::size_t below(std::size_t limit) { return m_random() % limit; }
    const Input& any() { return m_seeds[below(m_seeds.size())]; }

    void mutate(Input& input) {
        if (input.empty()) {
            input.push_back(0);
        }
        const auto at = input.begin() + static_cast<std::ptrdiff_t>(below(input.size()));
        const auto end =
            at + std::min(input.end() - at, static_cast<std::ptrdiff_t>(1 + below(32)));
        const Input piece(at, end);
        switch (below(6)) {
            case 0:
                *at ^= static_cast<std::uint8_t>(1U << below(8));
                break;
            case 1:
                *at = static_cast<std::uint8_t>(m_random());
                break;
            case 2:
                std::fill(at, end, static_cast<std::uint8_t>(below(2) * 255));
                break;
            case 3:
                input.erase(at, end);
                break;
            case 4:
                input.insert(at, piece.begin(), piece.end());
                break;
            default:
                const Input& other = any();
                input.erase(at, input.end());
                input.insert(input.end(), other.begin(), other.end());
        }
    }

    std::mt19937_64 m_random{1};
    const std::vector<Input>& m_seeds;
};

}  // namespace

int main(int argc, char** argv) {
    const std::vector<Input> seeds = readFolder(argc == 3 ? argv[2] : ".");
    if (argc != 3 || seeds.empty()) {
        std::cerr << argv[0] << ": no seeds\n";
        return 2;
    }
    for (const Input& seed : seeds) {
        LLVMFuzzerTestOneInput(seed.data(), seed.size());
    }
    using std::chrono::steady_clock;
    const auto end = steady_clock::now() + std::chrono::seconds(std::stoi(argv[1]));
    Mutator mutator(seeds);
    long long runs = 0;
    for (; steady_clock::now() < end; ++runs) {
        const Input input = mutator.next();
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::cout << argv[0] << ": " << runs << " inputs\n";
    return 0;
}
