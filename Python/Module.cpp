// The Python module: the functions of the command line, for arrays instead of files.
#include <glog/logging.h>

#include <memory>
#include <optional>

#include "Cli/CatalogueJson.h"
#include "Cli/Errors.h"
#include "Cli/ReadPicture.h"
#include "Host/Core/Threads.h"
#include "Host/Proc/Faces.h"
#include "Python/PythonChain.h"

namespace Kalvatri::Python {

using namespace Orvexa;

const Session& GetSession() {
    // Never destroyed: arrays may outlive everything else.
    static const Session& session = []() -> const Session& {
        auto allocator = Core::MakeRefCounted<Proc::FrameAllocator>();
        const Proc::FactoryPtr factory = LoadEffects({}, allocator);
        return *new Session{std::move(allocator), factory, Catalogue(*factory)};
    }();
    return session;
}

namespace {

constexpr char kReading[] = "reading the picture";

PyObject* effectError = nullptr;
PyObject* settingsError = nullptr;

void Translate(std::exception_ptr pointer) {
    try {
        if (pointer) std::rethrow_exception(pointer);
    } catch (const CommandError& error) {
        PyErr_SetString(error.GetExitCode() == ExitCode::WrongUsage ? settingsError : effectError, error.what());
    } catch (const Core::Exception& error) {
        PyErr_SetString(effectError, ToLine(Describe(error)).c_str());
    }
}

PyObject* AddException(py::module_& module, const char* name, const char* text, PyObject* base) {
    PyObject* made = PyErr_NewExceptionWithDoc((std::string("kalvatri.") + name).c_str(), text, base, nullptr);
    if (made == nullptr) throw py::error_already_set();
    module.attr(name) = py::reinterpret_borrow<py::object>(made);
    return made;
}

py::object Apply(const py::object& pictures, const py::object& effect, const py::object& inputs,
                 const py::object& progress, bool isStrict, const py::kwargs& settings) {
    const bool isName = py::isinstance<py::str>(effect);
    if (!isName && (!settings.empty() || !inputs.is_none()))
        ThrowUsage("reading the chain of effects", "settings and inputs belong to the steps of a chain, not beside it");
    if (py::isinstance<PythonChain>(effect)) return effect.cast<PythonChain&>().Run(pictures, progress);
    if (!isName) return PythonChain(effect, isStrict).Run(pictures, progress);
    py::dict step;
    step["effect"] = effect;
    for (const auto& [key, value] : settings) step[key] = value;
    if (!inputs.is_none()) step["inputs"] = inputs;
    return PythonChain(step, isStrict).Run(pictures, progress);
}

py::list FindFaces(const py::object& picture, double threshold, const py::object& minFace) {
    const Session& session = GetSession();
    const Proc::FramePtr frame = ToFrame(picture, *session.allocator, kReading);
    Proc::SettingsEffectFaceDetection detection;
    WithContext("finding faces", ExitCode::WrongUsage, [&] {
        Proc::SetField(detection, "threshold", Proc::FormatDouble(threshold));
        if (!minFace.is_none()) Proc::SetField(detection, "minFace", py::str(minFace).cast<std::string>());
    });
    std::vector<Proc::Face> faces;
    {
        const py::gil_scoped_release unlocked;
        faces = WithContext("finding faces", [&] { return Proc::FindFaces(session.factory, frame, detection); });
    }
    py::list list;
    for (const Proc::Face& face : faces) list.append(FromJson(ParseJson(Proc::TextCodec<Proc::Face>::Format(face))));
    return list;
}

py::tuple Read(const py::object& path, std::uint64_t maxPixels, bool allowTruncated, bool srgb,
               const std::string& rawWhiteBalance, const py::object& rawBrightness) {
    const Core::ioPath file = ToPath(path);
    if (file.empty()) ThrowUsage(kReading, "expected the name of a file");
    Io::ReadOptions options;
    options.maxPixels = maxPixels;
    options.allowTruncated = allowTruncated;
    options.toSrgb = srgb;
    WithContext("reading the options", ExitCode::WrongUsage, [&] {
        options.raw.whiteBalance = ParseRawWhiteBalance(rawWhiteBalance);
        if (!rawBrightness.is_none())
            options.raw.brightness = ParseRawBrightness(py::str(rawBrightness).cast<std::string>());
    });
    const Session& session = GetSession();
    Io::LoadedImage image;
    {
        const py::gil_scoped_release unlocked;
        image =
            WithContext("reading " + file.string(), [&] { return Io::ReadImage(file, session.allocator, options); });
    }
    Warn(file.string() + ": ", image.notes);
    return py::make_tuple(FromFrame(std::move(image.frame), session.factory),
                          std::const_pointer_cast<Io::ImageMetadata>(image.metadata));
}

void Write(const py::object& path, const py::object& picture, const std::shared_ptr<Io::ImageMetadata>& metadata,
           int quality, const py::object& format) {
    const Core::ioPath file = ToPath(path);
    if (file.empty()) ThrowUsage("writing the picture", "expected the name of a file");
    const std::string suffix = format.is_none() ? file.extension().string() : py::str(format).cast<std::string>();
    const Io::FileFormat kind = WithContext("choosing the format of " + file.string(), ExitCode::WrongUsage,
                                            [&] { return Io::FindFormat(suffix); });
    if (quality < Io::WriteOptions::kMinQuality || quality > Io::WriteOptions::kMaxQuality)
        ThrowUsage("writing " + file.string(), "the quality is not in the range " +
                                                   std::to_string(Io::WriteOptions::kMinQuality) + ".." +
                                                   std::to_string(Io::WriteOptions::kMaxQuality));
    const Session& session = GetSession();
    const Proc::FramePtr frame = ToFrame(picture, *session.allocator, kReading);
    Io::Notes notes;
    {
        const py::gil_scoped_release unlocked;
        notes = WithContext("writing " + file.string(), [&] {
            return Io::WriteImage(file, kind, frame, {quality, metadata}, session.factory);
        });
    }
    Warn(file.string() + ": ", notes);
}

}  // namespace

PYBIND11_MODULE(_kalvatri, module) {
    FLAGS_logtostderr = true;
    FLAGS_minloglevel = google::GLOG_FATAL;
    module.attr("__version__") = KALVATRI_VERSION;
    effectError = AddException(module, "EffectError", "An effect, or a file, could not do what it was asked for.",
                               PyExc_RuntimeError);
    settingsError =
        AddException(module, "SettingsError", "An argument that makes no sense, and what would.", PyExc_ValueError);
    AddException(module, "KalvatriWarning", "What was lost on the way, or could not be done.", PyExc_UserWarning);
    py::register_exception_translator(Translate);

    py::class_<Io::ImageMetadata, std::shared_ptr<Io::ImageMetadata>>(
        module, "Metadata", "EXIF, XMP, IPTC, colour profile and resolution of a picture that was read, for write().");
    py::class_<PythonChain>(module, "Chain",
                            "A chain of effects that is used for many pictures. It keeps its effects and their memory.")
        .def(py::init<const py::object&, bool>(), py::arg("steps"), py::kw_only(), py::arg("strict") = false)
        .def("__call__", &PythonChain::Run, py::arg("array"), py::pos_only(), py::kw_only(),
             py::arg("progress") = py::none(), "Runs the chain on a picture.");
    module.def("apply", Apply, py::arg("array"), py::arg("effect"), py::pos_only(), py::kw_only(),
               py::arg("inputs") = py::none(), py::arg("progress") = py::none(), py::arg("strict") = false,
               "Runs an effect with the settings that are given as keywords, or a chain, on a picture.");
    module.def(
        "effects", [] { return FromJson(ListToJson(GetSession().catalogue)); },
        "All effects, as `kalvatri list --json` prints them.");
    module.def(
        "describe",
        [](const std::string& effect) {
            const EffectEntry& entry =
                WithContext("describing an effect", ExitCode::WrongUsage,
                            [&]() -> const EffectEntry& { return GetSession().catalogue.Find(effect); });
            return FromJson(DescribeToJson(entry));
        },
        py::arg("effect"), "An effect and its settings, as `kalvatri describe EFFECT --json` prints them.");
    module.def("faces", FindFaces, py::arg("array"), py::pos_only(), py::kw_only(), py::arg("threshold") = 0.4,
               py::arg("min_face") = py::none(), "The faces of a picture, the largest first.");
    module.def("read", Read, py::arg("path"), py::kw_only(), py::arg("max_pixels") = Io::ReadOptions().maxPixels,
               py::arg("allow_truncated") = false, py::arg("srgb") = false, py::arg("raw_white_balance") = "camera",
               py::arg("raw_brightness") = py::none(), "A picture file as an upright array, and its metadata.");
    module.def("write", Write, py::arg("path"), py::arg("array"), py::arg("metadata") = py::none(), py::kw_only(),
               py::arg("quality") = Io::WriteOptions().quality, py::arg("format") = py::none(),
               "Writes a picture file, whole or not at all, in the format of its suffix.");
    module.def(
        "set_threads",
        [](int threads) {
            if (threads < 1) ThrowUsage("setting the threads", "at least one is needed");
            Core::SetLibraryThreads(threads);
        },
        py::arg("threads"), "The threads that work on a picture, one a processor if this is not called.");
}

}  // namespace Kalvatri::Python
