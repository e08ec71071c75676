// The process that decodes photographs and runs effects for a preview.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Cli/BatchProcess.h"
#include "Cli/Preview/PreviewWork.h"

namespace Kalvatri {

/// Requests in one lane run one after another; the lanes run in parallel, thumbnails with the lowest priority.
enum class Lane : std::uint8_t { Main, Thumbnail };
inline constexpr std::size_t kLanes = 2;

/// From a parent to its worker: {"id", "lane", "kind": one of these, ...}, or {"cancel": id}.
inline constexpr char kRender[] = "render";    ///< a `RenderRequest`
inline constexpr char kPhoto[] = "photo";      ///< what is known about a photograph
inline constexpr char kFaces[] = "faces";      ///< the faces of a photograph
inline constexpr char kPicture[] = "picture";  ///< the size of the picture in "file"

/// From a worker to its parent: {"id", "status", "head", "bytes"}, followed by that many bytes. The status is an HTTP
/// status code.
struct WorkerAnswer {
    std::uint64_t id = 0;
    int status = 0;
    Json head;
    std::vector<std::uint8_t> bytes;
};
/// Waits for an answer; false when the worker has ended.
bool Receive(Channel& worker, WorkerAnswer& answer);

/// The main loop of the worker, until its parent closes the channel.
void ServeRenderings(Channel& parent, const PreviewWork& work);

}  // namespace Kalvatri
