// Conversion of Python objects to this system's and back. All functions require the interpreter's lock.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

#include "Host/Core/Json.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Proc/VideoFrame.h"

namespace Kalvatri::Python {

namespace py = pybind11;

/// The path given by a string or an object with `__fspath__`; empty for other objects.
Orvexa::Core::ioPath ToPath(const py::handle& object);

/// Converts numbers, strings, paths, lists and dictionaries, including numpy's. `what` names the value in errors, which
/// are `CommandError` for wrong usage.
Orvexa::Core::Json ToJson(const py::handle& object, const std::string& what);
py::object FromJson(const Orvexa::Core::Json& json);

/// A picture: an array of uint8 with the shape H x W, H x W x 3 or H x W x 4, or an object with the array interface.
/// Its pixels are used in place if each row is contiguous, and copied otherwise. `doing` is used in errors.
Orvexa::Proc::FramePtr ToFrame(const py::handle& object, const Orvexa::Proc::FrameAllocator& allocator,
                               const std::string& doing);
/// An array that is the only owner of the frame's pixels; its rows may be padded.
py::array FromFrame(Orvexa::Proc::FramePtr frame, const Orvexa::Proc::FactoryPtr& factory);

/// Issues the notes as Python warnings.
void Warn(const std::string& doing, const Orvexa::Io::Notes& notes);

}  // namespace Kalvatri::Python
