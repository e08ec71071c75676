// Folders of models for tests.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>

#include "Host/Core/Path.h"
#include "Tests/Support/Paths.h"
#include "Tests/Support/TempFolder.h"

namespace Orvexa::Test {

inline const Core::ioPath kModels = SourcePath("Tests/Support/Models");

// The tests' models with a manifest of their own.
class Models {
public:
    /// The common manifest with the changes of a JSON merge patch, in which null removes a key.
    explicit Models(const std::string& patch = "{}") {
        for (const auto& entry : std::filesystem::directory_iterator(kModels)) {
            if (entry.path().extension() == ".onnx")
                std::filesystem::create_symlink(entry, GetRoot() / entry.path().filename());
        }
        const FileBytes common = ReadFile(kModels / "models.json");
        nlohmann::json manifest = nlohmann::json::parse(common.begin(), common.end());
        manifest.merge_patch(nlohmann::json::parse(patch));
        WriteManifest(manifest.dump());
    }
    const Core::ioPath& GetRoot() const { return folder_.GetPath(); }
    void WriteManifest(const std::string& text) const { WriteFile(GetRoot() / "models.json", text); }

private:
    TempFolder folder_;
};

}  // namespace Orvexa::Test
