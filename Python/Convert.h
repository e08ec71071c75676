// Python's objects as this system's and back. All functions need the interpreter's lock.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>

#include "Host/Core/Json.h"
#include "Host/Io/ImageFiles.h"
#include "Host/Proc/VideoFrame.h"

namespace Kalvatri::Python {

namespace py = pybind11;

/// The path that a text or an object with `__fspath__` stands for; empty for other objects.
Orvexa::Core::ioPath ToPath(const py::handle& object);

/// Numbers, texts, paths, lists and dictionaries; numpy's, too. `what` names the value in errors, which are
/// `CommandError` for wrong usage.
Orvexa::Core::Json ToJson(const py::handle& object, const std::string& what);
py::object FromJson(const Orvexa::Core::Json& json);

/// A picture: an array of uint8 in the shape H x W, H x W x 3 or H x W x 4, or what has the array interface. Its pixels
/// are looked at where they are if those of a row follow each other, and copied otherwise. `doing` is for errors.
Orvexa::Proc::FramePtr ToFrame(const py::handle& object, const Orvexa::Proc::FrameAllocator& allocator,
                               const std::string& doing);
/// An array with the frame's pixels, which belong to the array alone; its rows may be padded.
py::array FromFrame(Orvexa::Proc::FramePtr frame, const Orvexa::Proc::FactoryPtr& factory);

/// Gives the notes as Python's warnings.
void Warn(const std::string& doing, const Orvexa::Io::Notes& notes);

}  // namespace Kalvatri::Python
