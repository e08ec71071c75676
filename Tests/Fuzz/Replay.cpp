// Runs a fuzzer without a fuzzing engine: over every file of a corpus, and over random changes of each, the same ones
// every time.
//   Replay CORPUS [CHANGES]

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "Tests/Fuzz/Fuzz.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// Headers are where a byte matters most, so half of the changes go there.
Bytes Changed(Bytes bytes, const Bytes& other, std::mt19937& random) {
    constexpr std::size_t kHeader = 96;
    for (std::size_t changes = 1 + random() % 4; changes > 0 && !bytes.empty(); --changes) {
        const std::size_t range = random() % 2 == 0 ? std::min(bytes.size(), kHeader) : bytes.size();
        bytes[random() % range] = static_cast<std::uint8_t>(random());
    }
    switch (random() % 8) {
        case 0: bytes.resize(bytes.empty() ? 0 : random() % bytes.size()); break;
        case 1: {  // continues like another file
            const std::size_t start = other.empty() ? 0 : random() % other.size();
            bytes.resize(bytes.empty() ? 0 : random() % bytes.size());
            bytes.insert(bytes.end(), other.begin() + static_cast<std::ptrdiff_t>(start), other.end());
            break;
        }
        default: break;
    }
    return bytes;
}

}  // namespace

int main(int argc, char** argv) {
    Orvexa::Fuzz::Require(argc >= 2, "the first argument is the folder of the corpus");
    const int changes = argc > 2 ? std::stoi(argv[2]) : 0;
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    Orvexa::Fuzz::Require(!files.empty(), "the corpus has files");

    std::vector<Bytes> corpus;
    for (const auto& file : files) {
        std::ifstream stream(file, std::ios::binary);
        corpus.emplace_back(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
    std::mt19937 random(20240521);
    for (std::size_t i = 0; i < corpus.size(); ++i) {
        std::fprintf(stderr, "%s\n", files[i].filename().c_str());
        LLVMFuzzerTestOneInput(corpus[i].data(), corpus[i].size());
        for (int change = 0; change < changes; ++change) {
            const Bytes bytes = Changed(corpus[i], corpus[random() % corpus.size()], random);
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        }
    }
    return 0;
}
