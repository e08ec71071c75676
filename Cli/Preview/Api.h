// The requests that the page may make, apart from its own files.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "Cli/Chain.h"
#include "Cli/Preview/Jobs.h"
#include "Cli/Preview/PreviewWork.h"
#include "Cli/Preview/RenderQueue.h"
#include "Cli/Preview/Uploads.h"

namespace Kalvatri {

struct ApiRequest {
    std::string method;
    std::string path;  ///< below api/
    std::map<std::string, std::string> parameters;
    std::string body;
};

struct ApiReply {
    int status;
    std::string type;
    std::string body;
};

/// Thread safe.
class Api {
public:
    /// The references must outlive the object.
    Api(const PreviewWork& work, RenderQueue& queue, Jobs& jobs);

    /// The size limit in bytes for the body of a request with that path.
    static std::size_t GetMaxBody(std::string_view path);
    /// Never throws except for lack of memory: errors are in the reply, {"error": one line}.
    ApiReply Answer(const ApiRequest& request);

private:
    using Pictures = std::map<std::string, UploadPtr>;

    ApiReply Route(const ApiRequest& request);
    ApiReply ListPhotos() const;
    ApiReply AnswerOnPhoto(std::string_view path);
    ApiReply Render(const Json& json);
    ApiReply AddPicture(const ApiRequest& request);
    ApiReply WriteCommand(const Json& json);
    ApiReply WriteRecipe(const Json& json);
    ApiReply Save(const Json& json);
    ApiReply RunBatch(const Json& json);
    ApiReply AnswerOnJob(const ApiRequest& request);

    std::size_t GetPhoto(const Json& json) const;
    std::size_t CheckPhoto(std::int64_t number) const;
    Chain GetChain(const Json& json) const;
    Pictures GetUploads(const Chain& chain) const;
    /// Replaces the names of uploads and photographs by those of files.
    Json MakeFileChain(Chain chain, const Pictures& uploads) const;
    std::string GetOutput(const std::string& target) const;
    void CheckFree(const std::string& target, bool isOverwriting) const;
    void WriteUploads(Chain& chain, const std::string& target) const;
    ApiReply StartJob(const JobRequest& request, Pictures uploads);

    const PreviewWork& work_;
    RenderQueue& queue_;
    Jobs& jobs_;
    Uploads uploads_;
    const std::string catalogue_;  // as JSON
};

}  // namespace Kalvatri
