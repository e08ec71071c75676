// The process that decodes photographs and runs effects for a preview.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Cli/BatchProcess.h"
#include "Cli/Preview/PreviewWork.h"

namespace Kalvatri {

/// Requests of one lane follow each other; the lanes run side by side, thumbnails with the lowest priority.
enum class Lane : std::uint8_t { Main, Thumbnail };
inline constexpr std::size_t kLanes = 2;

/// From a parent to its worker: {"id", "lane", "kind": one of these, ...}, or {"cancel": id}.
inline constexpr char kRender[] = "render";    ///< a `RenderRequest`
inline constexpr char kPhoto[] = "photo";      ///< what is known about a photograph
inline constexpr char kFaces[] = "faces";      ///< the faces of a photograph
inline constexpr char kPicture[] = "picture";  ///< the size of the picture in "file"

/// From a worker to its parent: {"id", "status", "head", "bytes"} and so many bytes. The status is one of HTTP's.
struct WorkerAnswer {
    std::uint64_t id = 0;
    int status = 0;
    Json head;
    std::vector<std::uint8_t> bytes;
};
/// Waits for an answer; false when the worker has ended.
bool Receive(Channel& worker, WorkerAnswer& answer);

/// The life of the worker, until its parent hangs up.
void ServeRenderings(Channel& parent, const PreviewWork& work);

}  // namespace Kalvatri
