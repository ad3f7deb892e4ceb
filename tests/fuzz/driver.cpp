// Stands in for libFuzzer where the compiler has none: runs every seed, then mutations of them, in
// the same order each time. The input at hand is always in the file PROGRAM.input, so it is there
// after a crash.
//
// usage: fuzz_NAME SECONDS CORPUS-FOLDER          fuzz_NAME FILE...  (each file once)

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
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

constexpr std::size_t kMaxInput = 1 << 16;

Input readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return Input(std::istreambuf_iterator<char>(file), {});
}

/// A file that always holds the input at hand: a mapping, so that it outlives a crash at no cost.
class Witness {
public:
    explicit Witness(const std::string& path)
        : m_file(::open(path.c_str(), O_RDWR | O_CREAT, 0644)) {
        if (m_file >= 0 && ::ftruncate(m_file, sizeof(std::size_t) + kMaxInput) == 0) {
            void* const memory = ::mmap(nullptr, sizeof(std::size_t) + kMaxInput,
                                        PROT_READ | PROT_WRITE, MAP_SHARED, m_file, 0);
            m_bytes = memory != MAP_FAILED ? static_cast<std::uint8_t*>(memory) : nullptr;
        }
    }
    void run(const Input& input) {
        if (m_bytes != nullptr && input.size() <= kMaxInput) {
            const std::size_t size = input.size();
            std::memcpy(m_bytes, &size, sizeof(size));
            std::copy(input.begin(), input.end(), m_bytes + sizeof(size));
        }
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }

private:
    int m_file;
    std::uint8_t* m_bytes = nullptr;
};

class Mutator {
public:
    explicit Mutator(std::vector<Input> seeds) : m_seeds(std::move(seeds)) {}

    Input next() {
        Input input = m_seeds[below(m_seeds.size())];
        for (std::size_t count = 1 + below(6); count > 0; --count) {
            mutate(input);
        }
        input.resize(std::min(input.size(), kMaxInput));
        return input;
    }

private:
    std::size_t below(std::size_t limit) { return limit == 0 ? 0 : m_random() % limit; }

    void mutate(Input& input) {
        const auto noise = static_cast<std::uint8_t>(m_random());
        if (input.empty()) {
            input.push_back(noise);
            return;
        }
        const std::size_t at = below(input.size());
        const auto here = input.begin() + static_cast<std::ptrdiff_t>(at);
        const auto there =
            here + static_cast<std::ptrdiff_t>(std::min(input.size() - at, 1 + below(32)));
        const Input piece(here, there);
        const Input& other = m_seeds[below(m_seeds.size())];
        switch (below(7)) {
            case 0:
                *here ^= static_cast<std::uint8_t>(1U << below(8));
                break;
            case 1:
                *here = noise;
                break;
            case 2:
                std::fill(here, there, below(2) == 0 ? std::uint8_t{0} : std::uint8_t{0xFF});
                break;
            case 3:
                input.erase(here, there);
                break;
            case 4:
                input.insert(input.begin() + static_cast<std::ptrdiff_t>(below(input.size())),
                             piece.begin(), piece.end());
                break;
            case 5:
                input.insert(here, noise);
                break;
            default:
                input.erase(here, input.end());
                input.insert(input.end(),
                             other.begin() + static_cast<std::ptrdiff_t>(below(other.size())),
                             other.end());
        }
    }

    std::mt19937_64 m_random{1};
    std::vector<Input> m_seeds;
};

}  // namespace

int main(int argc, char** argv) {
    const std::string program = std::filesystem::path(argv[0]).filename();
    Witness witness(program + ".input");
    if (argc < 3 || std::filesystem::is_regular_file(argv[1])) {
        for (int i = 1; i < argc; ++i) {
            witness.run(readFile(argv[i]));
        }
        return argc > 1 ? 0 : 2;
    }
    std::vector<std::filesystem::path> files(std::filesystem::directory_iterator(argv[2]), {});
    std::sort(files.begin(), files.end());
    std::vector<Input> seeds;
    for (const auto& file : files) {
        seeds.push_back(readFile(file));
        witness.run(seeds.back());
    }
    if (seeds.empty()) {
        std::cerr << program << ": no seeds in " << argv[2] << "\n";
        return 2;
    }
    using std::chrono::steady_clock;
    const auto end = steady_clock::now() + std::chrono::seconds(std::stoi(argv[1]));
    Mutator mutator(std::move(seeds));
    long long runs = 0;
    for (; runs % 256 != 0 || steady_clock::now() < end; ++runs) {
        witness.run(mutator.next());
    }
    std::cout << program << ": " << runs << " inputs\n";
    return 0;
}
