// Files that a test makes.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace Orvexa::Test {

/// A folder that goes away with the object.
class TempFolder {
public:
    TempFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "kalvatri-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& GetPath() const { return path_; }
    /// The path of a file in this folder.
    std::string File(const std::string& name) const { return (path_ / name).string(); }
    /// Names of all files, hidden ones included.
    std::set<std::string> List() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_))
            names.insert(entry.path().filename().string());
        return names;
    }

private:
    std::filesystem::path path_;
};

using FileBytes = std::vector<std::uint8_t>;

inline FileBytes ReadFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return FileBytes(std::istreambuf_iterator<char>(stream), {});
}

template <class Bytes>
void WriteFile(const std::filesystem::path& file, const Bytes& bytes) {
    std::ofstream stream(file, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(std::data(bytes)), static_cast<std::streamsize>(std::size(bytes)));
}

}  // namespace Orvexa::Test
