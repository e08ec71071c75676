#include "Python/Convert.h"

#include <memory>
#include <utility>

#include "Cli/ChainRunner.h"
#include "Cli/Errors.h"
#include "Host/Conf/PixFmtDescription.h"

namespace Kalvatri::Python {

using namespace Orvexa;

namespace {

constexpr char kShapes[] = "a picture is an array of uint8 in the shape H x W, H x W x 3 (RGB) or H x W x 4 (RGBA)";

std::string TextOf(const py::handle& object) { return py::str(object).cast<std::string>(); }

// PIL images in other modes can have arrays of the same shape as RGB ones.
void CheckMode(const py::handle& object, const std::string& doing) {
    if (!py::hasattr(object, "mode") || py::isinstance<py::array>(object)) return;
    const std::string mode = TextOf(object.attr("mode"));
    if (mode != "L" && mode != "RGB" && mode != "RGBA")
        ThrowUsage(doing, "the picture's mode is " + mode + "; convert(\"RGB\") gives one that can be worked on");
}

struct Layout {
    PixFmt pixFmt;
    std::uint32_t width, height;
    py::ssize_t channels;
};

Layout GetLayout(const py::array& array, const std::string& doing) {
    if (!py::dtype::of<std::uint8_t>().is(array.dtype()) && !py::isinstance<py::array_t<std::uint8_t>>(array))
        ThrowUsage(doing, std::string(kShapes) + "; this one's type is " + TextOf(array.dtype()));
    const bool isGrey = array.ndim() == 2;
    const bool isColour = array.ndim() == 3 && (array.shape(2) == 3 || array.shape(2) == 4);
    if (!isGrey && !isColour)
        ThrowUsage(doing, std::string(kShapes) + "; this one's shape is " + TextOf(array.attr("shape")));
    const py::ssize_t height = array.shape(0), width = array.shape(1);
    if (height == 0 || width == 0) ThrowUsage(doing, "the picture has no pixels");
    if (height > Proc::kMaxFrameSide || width > Proc::kMaxFrameSide)
        ThrowUsage(doing, "a side of the picture has more than " + std::to_string(Proc::kMaxFrameSide) + " pixels");
    const py::ssize_t channels = isGrey ? 1 : array.shape(2);
    return {channels == 1   ? PixFmt::Gray8
            : channels == 3 ? PixFmt::Rgb24
                            : PixFmt::Rgba,
            static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), channels};
}

// Whether the pixels of each row are contiguous, and the rows are in order.
bool IsInOrder(const py::array& array, const Layout& layout) {
    const bool isPacked = layout.channels == 1 || array.strides(2) == 1;
    const bool isRow = layout.width == 1 || array.strides(1) == layout.channels;
    return isPacked && isRow && (layout.height == 1 || array.strides(0) >= layout.width * layout.channels);
}

}  // namespace

Core::ioPath ToPath(const py::handle& object) {
    if (!py::isinstance<py::str>(object) && !py::isinstance<py::bytes>(object) && !py::hasattr(object, "__fspath__"))
        return {};
    const py::bytes name = py::module_::import("os").attr("fsencode")(object);
    return Core::ioPath(std::string(name));
}

Core::Json ToJson(const py::handle& object, const std::string& what) {
    if (py::isinstance<py::bool_>(object)) return object.cast<bool>();
    if (py::isinstance<py::int_>(object)) {
        // An integer beyond 64 bits is represented by its text.
        const auto number = py::reinterpret_steal<py::object>(PyNumber_Long(object.ptr()));
        int overflow = 0;
        const long long value = PyLong_AsLongLongAndOverflow(number.ptr(), &overflow);
        return overflow == 0 ? Core::Json(value) : Core::Json(TextOf(number));
    }
    if (py::isinstance<py::float_>(object)) return object.cast<double>();
    if (py::isinstance<py::str>(object)) return object.cast<std::string>();
    if (py::hasattr(object, "__fspath__")) return ToPath(object).string();
    if (py::hasattr(object, "tolist")) return ToJson(object.attr("tolist")(), what);  // numpy's arrays and scalars
    if (py::isinstance<py::dict>(object)) {
        Core::Json json = Core::Json::object();
        for (const auto& [key, value] : py::reinterpret_borrow<py::dict>(object))
            json[TextOf(key)] = ToJson(value, what);
        return json;
    }
    if (py::isinstance<py::list>(object) || py::isinstance<py::tuple>(object)) {
        Core::Json json = Core::Json::array();
        for (const py::handle& item : object) json.push_back(ToJson(item, what));
        return json;
    }
    ThrowUsage("reading the chain of effects", what +
                                                   ": expected a number, a text, a list or a dictionary instead of " +
                                                   TextOf(py::type::handle_of(object).attr("__name__")));
}

py::object FromJson(const Core::Json& json) {
    switch (json.type()) {
        case Core::Json::value_t::boolean: return py::bool_(json.get<bool>());
        case Core::Json::value_t::number_integer: return py::int_(json.get<std::int64_t>());
        case Core::Json::value_t::number_unsigned: return py::int_(json.get<std::uint64_t>());
        case Core::Json::value_t::number_float: return py::float_(json.get<double>());
        case Core::Json::value_t::string: return py::str(json.get<std::string>());
        case Core::Json::value_t::array: {
            py::list list;
            for (const Core::Json& item : json) list.append(FromJson(item));
            return list;
        }
        case Core::Json::value_t::object: {
            py::dict dictionary;
            for (const auto& [key, value] : json.items()) dictionary[py::str(key)] = FromJson(value);
            return dictionary;
        }
        default: return py::none();
    }
}

Proc::FramePtr ToFrame(const py::handle& object, const Proc::FrameAllocator& allocator, const std::string& doing) {
    CheckMode(object, doing);
    const py::object given = py::reinterpret_borrow<py::object>(object);
    py::array array = py::array::ensure(given);
    if (!array) {
        PyErr_Clear();
        ThrowUsage(doing, std::string(kShapes) + "; this is a " + TextOf(py::type::handle_of(object).attr("__name__")));
    }
    const Layout layout = GetLayout(array, doing);
    if (!IsInOrder(array, layout)) array = py::array_t<std::uint8_t, py::array::c_style>::ensure(array);
    if (!array) throw py::error_already_set();
    const auto stride = layout.height == 1 ? layout.width * layout.channels : array.strides(0);
    // Never written to: the frame counts as shared. An effect that retains it may release it on any thread.
    auto* const pixels = const_cast<std::uint8_t*>(static_cast<const std::uint8_t*>(array.data()));
    std::shared_ptr<std::uint8_t> kept(pixels, [owner = array.release().ptr()](std::uint8_t*) {
        if (!Py_IsInitialized()) return;
        const py::gil_scoped_acquire lock;
        Py_DECREF(owner);
    });
    return WithContext(doing, ExitCode::WrongUsage, [&] {
        return allocator.WrapPixels(layout.pixFmt, {layout.width, layout.height}, std::move(kept), stride);
    });
}

py::array FromFrame(Proc::FramePtr frame, const Proc::FactoryPtr& factory) {
    {
        const py::gil_scoped_release unlocked;
        if (!Io::IsWritable(frame->GetPixFmt())) {
            const bool hasAlpha = PixFmtDescription::Get(frame->GetPixFmt()).HasAlpha();
            frame = InFormat(factory, std::move(frame), hasAlpha ? PixFmt::Rgba : PixFmt::Rgb24);
        }
        if (!Proc::IsExclusive(frame)) frame = Proc::CloneFrame(*frame, Proc::kCloneIndependent);
    }
    const Proc::Plane plane = frame->GetPlane(0);
    const auto channels = static_cast<py::ssize_t>(plane.GetBytesPerPixel());
    std::vector<py::ssize_t> shape = {static_cast<py::ssize_t>(plane.GetHeight()),
                                      static_cast<py::ssize_t>(plane.GetPixelsPerRow())};
    std::vector<py::ssize_t> strides = {static_cast<py::ssize_t>(plane.GetStride()), channels};
    if (channels > 1) {
        shape.push_back(channels);
        strides.push_back(1);
    }
    const py::capsule owner(new Proc::FramePtr(std::move(frame)),
                            [](void* held) { delete static_cast<Proc::FramePtr*>(held); });
    return {py::dtype::of<std::uint8_t>(), std::move(shape), std::move(strides), plane.GetData(), owner};
}

void Warn(const std::string& doing, const Io::Notes& notes) {
    const py::object category = py::module_::import("kalvatri").attr("KalvatriWarning");
    for (const std::string& note : notes) {
        if (PyErr_WarnEx(category.ptr(), ToLine(doing + note).c_str(), 1) != 0) throw py::error_already_set();
    }
}

}  // namespace Kalvatri::Python
