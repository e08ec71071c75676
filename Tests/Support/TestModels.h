// The tests' tiny networks with a manifest of their own.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "Tests/Support/Paths.h"
#include "Tests/Support/TempFolder.h"

namespace Orvexa::Test {

class TestModels {
public:
    /// The common manifest with the changes of a JSON merge patch, in which null removes a key.
    explicit TestModels(const std::string& patch = "{}") {
        const std::filesystem::path models = SourcePath("Tests/Support/Models");
        for (const auto& entry : std::filesystem::directory_iterator(models)) {
            if (entry.path().extension() == ".onnx")
                std::filesystem::create_symlink(entry, GetRoot() / entry.path().filename());
        }
        const FileBytes common = ReadFile(models / "models.json");
        nlohmann::json manifest = nlohmann::json::parse(common.begin(), common.end());
        manifest.merge_patch(nlohmann::json::parse(patch));
        WriteManifest(manifest.dump());
    }
    const std::filesystem::path& GetRoot() const { return folder_.GetPath(); }
    void WriteManifest(const std::string& text) const { WriteFile(GetRoot() / "models.json", text); }

private:
    TempFolder folder_;
};

}  // namespace Orvexa::Test
